#pragma once

#include "OstravelInstaller/context/BaseFolder.h"
#include "OstravelInstaller/context/PayloadPackage.h"
#include "libwin32/Handles.h"

#include <filesystem>
#include <functional>
#include <string>

namespace kelvane::bst {

// What the run has with it: its places and files. Filled when the run begins (RunDriver, ContextBuilder, dispatch) and
// given up at its end (FinishRun); the backup is PreserveConfiguration's.
struct Carried {
    explicit Carried(const BaseFolder& base) : baseFolder(base) {}

    const BaseFolder& baseFolder;
    std::filesystem::path logFile;
    std::function<bool()> flushLog; // what the log holds so far is in the file when it returns true

    std::wstring tempDir; // the working directory; empty once it is removed
    bool tempDirCreated = false;
    bool tempDirIsFallback = false;
    PayloadPackage payload;
    win32::UniqueHandle configBackup; // the configuration backup that this run or the one before it made, held
};

} // namespace kelvane::bst
