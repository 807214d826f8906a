// Event tracing: gives registered providers an enabling session and decodes what they write. The decoder knows only the
// published layout of self-describing events; an event that breaks it is recorded with "error".
// trace_level=N: the session's level (0: everything). trace=off: no session.
#include "hooks/Hooks.h"

#include <evntprov.h>
#include <evntrace.h>
#include <objbase.h>

#include <cstring>
#include <stdexcept>

namespace host {
namespace {

// Not in the compiler's headers.
constexpr ULONG enableProvider = 1;
constexpr int setTraits = 2;

struct Provider {
    GUID id;
    std::string traits;
};

bool traced() { return scripted(L"trace", L"on") == L"on"; }
UCHAR traceLevel() { return static_cast<UCHAR>(number(scripted(L"trace_level", L"0"))); }

std::wstring guidText(const GUID& id) {
    wchar_t text[40]{};
    StringFromGUID2(id, text, 40);
    return text;
}

// Takes values off the front of a block and refuses to read beyond it.
class Reader {
public:
    explicit Reader(std::string_view bytes) : rest_(bytes) {}
    bool done() const { return rest_.empty(); }

    std::string_view take(std::size_t size) {
        if (rest_.size() < size) throw std::runtime_error("the block ends too early");
        const auto part = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return part;
    }
    template <class T>
    T value() {
        T result;
        std::memcpy(&result, take(sizeof result).data(), sizeof result);
        return result;
    }
    std::string_view name() {
        const auto end = rest_.find('\0');
        if (end == rest_.npos) throw std::runtime_error("a name has no end");
        const auto text = take(end);
        take(1);
        return text;
    }
    std::wstring wideName() {
        std::wstring text;
        while (const auto unit = value<wchar_t>())
            text += unit;
        return text;
    }
    void tags() {
        while (value<std::uint8_t>() & 0x80) {
        }
    }

private:
    std::string_view rest_;
};

// A metadata block begins with its size, itself included.
Reader sizedBlock(std::string_view bytes) {
    Reader reader(bytes);
    if (reader.value<std::uint16_t>() != bytes.size()) throw std::runtime_error("a block's size is wrong");
    return reader;
}

struct Value {
    const char* type;
    std::string json;
};

Value decode(unsigned in, unsigned out, Reader& data) {
    constexpr unsigned utf8 = 35;
    switch (in) {
    case 1:
        return {"wide", jsonText(data.wideName())};
    case 2:
        return {out == utf8 ? "utf8" : "ansi", jsonText(fromUtf8(data.name()))};
    case 7:
        return {"int32", std::to_string(data.value<std::int32_t>())};
    case 8:
        return {"uint32", std::to_string(data.value<std::uint32_t>())};
    case 13:
        return {"bool", data.value<std::int32_t>() ? "true" : "false"};
    default:
        throw std::runtime_error("unknown field type " + std::to_string(in));
    }
}

void decodeEvent(Record& record, std::string_view traits, std::string_view metadata, std::string_view values) {
    Reader provider = sizedBlock(traits);
    record.add("provider", fromUtf8(provider.name()));
    Reader event = sizedBlock(metadata);
    event.tags();
    record.add("event", fromUtf8(event.name()));
    Reader data(values);
    std::string fields;
    std::string types;
    while (!event.done()) {
        const std::string name = jsonText(fromUtf8(event.name()));
        const auto in = event.value<std::uint8_t>();
        const auto out = in & 0x80 ? event.value<std::uint8_t>() : std::uint8_t{0};
        if (out & 0x80) event.tags();
        const Value value = decode(in & 0x7FU, out & 0x7FU, data);
        fields += (fields.empty() ? "" : ",") + name + ":" + value.json;
        types += (types.empty() ? "" : ",") + name + ":" + jsonText(fromUtf8(value.type));
    }
    record.addRaw("fields", "{" + fields + "}").addRaw("types", "{" + types + "}");
    if (!data.done()) throw std::runtime_error("values are left over");
}

ULONG WINAPI registerProvider(LPCGUID id, PENABLECALLBACK callback, PVOID context, PREGHANDLE handle) {
    auto* provider = new Provider{*id, {}};
    Record("provider").add("guid", guidText(*id)).add("callback", callback != nullptr);
    *handle = reinterpret_cast<REGHANDLE>(provider);
    if (callback && traced()) {
        callback(id, enableProvider, traceLevel(), 0, 0, nullptr, context);
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI setInformation(REGHANDLE handle, int kind, PVOID data, ULONG size) {
    if (kind != setTraits) return ERROR_NOT_SUPPORTED;
    reinterpret_cast<Provider*>(handle)->traits.assign(static_cast<const char*>(data), size);
    return ERROR_SUCCESS;
}

void recordEvent(const Provider& provider, const EVENT_DESCRIPTOR& event, std::string_view traits,
                 std::string_view metadata, std::string_view values) {
    Record record("event");
    record.add("guid", guidText(provider.id)).add("level", event.Level).add("channel", event.Channel);
    record.add("keyword", static_cast<long long>(event.Keyword));
    try {
        decodeEvent(record, traits, metadata, values);
        if (!provider.traits.empty() && provider.traits != traits) throw std::runtime_error("two different traits");
    } catch (const std::exception& error) {
        record.add("error", fromUtf8(error.what()));
    }
}

ULONG WINAPI writeTransfer(REGHANDLE handle, PCEVENT_DESCRIPTOR event, LPCGUID, LPCGUID, ULONG count,
                           PEVENT_DATA_DESCRIPTOR parts) {
    const auto* provider = reinterpret_cast<Provider*>(handle);
    if (!provider) return ERROR_INVALID_HANDLE;
    std::string blocks[3]; // values, event metadata, provider traits: by kind
    for (ULONG i = 0; i < count; ++i) {
        const auto kind = std::min<std::size_t>(parts[i].Reserved, 2);
        blocks[kind].append(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(parts[i].Ptr)), parts[i].Size);
    }
    // With its header it has to fit into a buffer of the session, which is logman's default.
    constexpr std::size_t header = 160;
    constexpr std::size_t sessionBuffer = 8192;
    if (header + blocks[0].size() + blocks[1].size() + blocks[2].size() > sessionBuffer) return ERROR_MORE_DATA;
    const bool enabled = traced() && (traceLevel() == 0 || event->Level <= traceLevel());
    if (enabled) recordEvent(*provider, *event, blocks[2], blocks[1], blocks[0]);
    return ERROR_SUCCESS;
}

// The provider stays allocated: a later write is the program's fault, not ours.
ULONG WINAPI unregisterProvider(REGHANDLE handle) {
    Record("unregistered").add("guid", guidText(reinterpret_cast<Provider*>(handle)->id));
    return ERROR_SUCCESS;
}

// The sessions that logman.exe keeps.
ULONG WINAPI queryAllTraces(PEVENT_TRACE_PROPERTIES* places, ULONG room, PULONG count) {
    *count = 0;
    WIN32_FIND_DATAW entry{};
    const HANDLE find = FindFirstFileW(endpointFile(L"sessions\\*").c_str(), &entry);
    for (BOOL more = find != INVALID_HANDLE_VALUE; more; more = FindNextFileW(find, &entry)) {
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
        if (++*count > room) continue;
        auto* bytes = reinterpret_cast<char*>(places[*count - 1]);
        const std::wstring file = readText(endpointFile(std::wstring(L"sessions\\") + entry.cFileName));
        wcscpy(reinterpret_cast<wchar_t*>(bytes + places[*count - 1]->LoggerNameOffset), entry.cFileName);
        wcscpy(reinterpret_cast<wchar_t*>(bytes + places[*count - 1]->LogFileNameOffset), file.c_str());
    }
    FindClose(find);
    return *count > room ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

const Registration hooks{REPLACE(QueryAllTracesW, queryAllTraces), REPLACE(EventRegister, registerProvider),
                         REPLACE(EventUnregister, unregisterProvider), REPLACE(EventWriteTransfer, writeTransfer),
                         PROVIDE(EventSetInformation, setInformation)};

} // namespace

} // namespace host
