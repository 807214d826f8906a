// Puts a payload into the installer, and checks an installer that has one.
#include "OstravelPack/image/Bytes.h"
#include "OstravelPack/report/CommandLine.h"
#include "OstravelPack/report/Output.h"
#include "OstravelPack/report/Packing.h"
#include "OstravelPack/report/Verification.h"

#include <windows.h>

#include <exception>
#include <format>

using namespace kelvane::pack;

namespace {

enum Ending { Done = 0, Refused = 1, WrongCommandLine = 2, SignerNotTrusted = 3 };

Ending run(const CommandLine& line) {
    if (!line.payload.empty()) pack(line);
    return line.verify.empty() || verify(line.verify) ? Done : SignerNotTrusted;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
        return run(readCommandLine(count, arguments));
    } catch (const UsageError& error) {
        print(std::format("error: {}\n\n{}", error.what(), usage));
        return WrongCommandLine;
    } catch (const std::exception& error) {
        print(std::format("error: {}", error.what()));
        return Refused;
    }
}
