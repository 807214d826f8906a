#include "libwin32/TraceLogging.h"

#include "libwin32/Handles.h"

#include <algorithm>
#include <cstring>

namespace win32 {
namespace {

constexpr std::uint8_t traceLoggingChannel = 11;
constexpr std::uint32_t everyLevel = 256;

// Types of fields in event metadata; the high bit says that a byte with the output type follows.
constexpr std::uint8_t inUnicodeString = 1;
constexpr std::uint8_t inAnsiString = 2;
constexpr std::uint8_t inInt32 = 7;
constexpr std::uint8_t inUint32 = 8;
constexpr std::uint8_t inBool32 = 13;
constexpr std::uint8_t hasOutType = 0x80;
constexpr std::uint8_t outUtf8 = 35;

// Control codes of the enable callback, and the kind of information that holds a provider's traits.
constexpr ULONG disableProvider = 0;
constexpr ULONG enableProvider = 1;
constexpr int providerSetTraits = 2;

// Kinds of data descriptors, in the field that the system calls Reserved or Type.
constexpr ULONG providerMetadataKind = 2;
constexpr ULONG eventMetadataKind = 1;

template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

void append(std::vector<std::uint8_t>& bytes, const void* data, std::size_t size) {
    const auto* first = static_cast<const std::uint8_t*>(data);
    bytes.insert(bytes.end(), first, first + size);
}

void appendName(std::vector<std::uint8_t>& bytes, std::string_view name) {
    append(bytes, name.data(), name.size());
    bytes.push_back(0);
}

// Both metadata blocks begin with their own size, in two bytes.
void storeSize(std::vector<std::uint8_t>& bytes) {
    const auto size = static_cast<std::uint16_t>(bytes.size());
    std::memcpy(bytes.data(), &size, sizeof size);
}

// A decoder reads no further than the first NUL.
template <class Unit>
std::basic_string_view<Unit> upToNul(std::basic_string_view<Unit> text) {
    return text.substr(0, text.find(Unit{}));
}

constexpr std::wstring_view cutMark(wchar_t) { return L"[...]"; }
constexpr std::string_view cutMark(char) { return "[...]"; }

// Not what a cut must not come before: the second half of a surrogate pair, a byte within a character of UTF-8.
constexpr bool startsCharacter(wchar_t unit) { return unit < 0xDC00 || unit > 0xDFFF; }
constexpr bool startsCharacter(char unit) { return (unit & 0xC0) != 0x80; }

// The text in at most `most` bytes, its NUL left out.
template <class Unit>
void appendText(std::vector<std::uint8_t>& bytes, std::basic_string_view<Unit> text, std::size_t most) {
    text = upToNul(text);
    std::basic_string_view<Unit> mark;
    if (text.size() * sizeof(Unit) > most) {
        mark = cutMark(Unit{});
        std::size_t length = most / sizeof(Unit) - std::min(mark.size(), most / sizeof(Unit));
        while (length > 0 && !startsCharacter(text[length]))
            --length;
        text = text.substr(0, length);
    }
    append(bytes, text.data(), text.size() * sizeof(Unit));
    append(bytes, mark.data(), mark.size() * sizeof(Unit));
    bytes.insert(bytes.end(), sizeof(Unit), 0);
}

// How many bytes the longest texts may keep so that all of these sizes together need no more than `room`.
std::size_t fairShare(std::vector<std::size_t> sizes, std::size_t room) {
    std::ranges::sort(sizes);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const std::size_t share = room / (sizes.size() - i);
        if (sizes[i] > share) return share;
        room -= sizes[i];
    }
    return maxEventSize;
}

// The bytes that one text may take.
std::size_t mostOfText(TraceFields fields, std::size_t room) {
    std::vector<std::size_t> texts;
    std::size_t others = 0;
    for (const TraceField& field : fields) {
        std::visit(Overloaded{
                       [&](std::wstring_view text) { texts.push_back(upToNul(text).size() * sizeof(wchar_t)); },
                       [&](std::string_view text) { texts.push_back(upToNul(text).size()); },
                       [&](auto) { others += sizeof(std::uint32_t); },
                   },
                   field.value);
    }
    others += texts.size() * sizeof(wchar_t); // their NULs
    return fairShare(std::move(texts), room - std::min(room, others));
}

EVENT_DATA_DESCRIPTOR describe(const std::vector<std::uint8_t>& bytes, ULONG kind) {
    EVENT_DATA_DESCRIPTOR descriptor{};
    EventDataDescCreate(&descriptor, bytes.data(), static_cast<ULONG>(bytes.size()));
    descriptor.Reserved = kind;
    return descriptor;
}

} // namespace

std::vector<std::uint8_t> encodeProviderTraits(std::string_view providerName) {
    std::vector<std::uint8_t> traits(sizeof(std::uint16_t));
    appendName(traits, providerName);
    storeSize(traits);
    return traits;
}

std::vector<std::uint8_t> encodeEventMetadata(std::string_view eventName, TraceFields fields) {
    std::vector<std::uint8_t> metadata(sizeof(std::uint16_t));
    metadata.push_back(0); // no tags
    appendName(metadata, eventName);
    for (const TraceField& field : fields) {
        appendName(metadata, field.name);
        std::visit(Overloaded{
                       [&](std::wstring_view) { metadata.push_back(inUnicodeString); },
                       [&](std::string_view) {
                           metadata.push_back(inAnsiString | hasOutType);
                           metadata.push_back(outUtf8);
                       },
                       [&](std::int32_t) { metadata.push_back(inInt32); },
                       [&](std::uint32_t) { metadata.push_back(inUint32); },
                       [&](bool) { metadata.push_back(inBool32); },
                   },
                   field.value);
    }
    storeSize(metadata);
    return metadata;
}

std::vector<std::uint8_t> encodeEventData(TraceFields fields, std::size_t room) {
    const std::size_t most = mostOfText(fields, room);
    std::vector<std::uint8_t> data;
    for (const TraceField& field : fields) {
        std::visit(Overloaded{
                       [&](std::wstring_view text) { appendText(data, text, most); },
                       [&](std::string_view text) { appendText(data, text, most); },
                       [&](bool flag) {
                           const std::int32_t wide = flag ? 1 : 0;
                           append(data, &wide, sizeof wide);
                       },
                       [&](auto number) { append(data, &number, sizeof number); },
                   },
                   field.value);
    }
    return data;
}

TraceProvider::TraceProvider(std::string_view name, const GUID& id) : id_(id), traits_(encodeProviderTraits(name)) {}

bool TraceProvider::registerProvider(PENABLECALLBACK callback) {
    if (EventRegister(&id_, callback, this, &handle_) != ERROR_SUCCESS) handle_ = 0;
    return handle_ != 0;
}

bool TraceProvider::start() {
    if (!registerProvider(&onEnable)) return false;
    setTraits();
    return true;
}

bool TraceProvider::startUnfiltered() {
    if (!registerProvider(nullptr)) return false;
    levelPlusOne_ = everyLevel;
    return true;
}

void TraceProvider::stop() noexcept {
    levelPlusOne_ = 0;
    if (handle_ != 0) EventUnregister(std::exchange(handle_, REGHANDLE{0}));
}

void NTAPI TraceProvider::onEnable(const GUID*, ULONG isEnabled, UCHAR level, ULONGLONG, ULONGLONG,
                                   EVENT_FILTER_DESCRIPTOR*, void* context) {
    auto* provider = static_cast<TraceProvider*>(context);
    if (isEnabled == disableProvider) {
        provider->levelPlusOne_ = 0;
    } else if (isEnabled == enableProvider) {
        provider->levelPlusOne_ = level == 0 ? everyLevel : level + 1U;
    }
}

void TraceProvider::setTraits() noexcept {
    HMODULE module = GetModuleHandleW(L"api-ms-win-eventing-provider-l1-1-0.dll");
    if (!module) module = GetModuleHandleW(L"advapi32.dll");
    if (!module) return;
    using SetInformation = ULONG(NTAPI*)(REGHANDLE, int, void*, ULONG);
    const auto setInformation =
        reinterpret_cast<SetInformation>(reinterpret_cast<void*>(GetProcAddress(module, "EventSetInformation")));
    if (setInformation) {
        setInformation(handle_, providerSetTraits, traits_.data(), static_cast<ULONG>(traits_.size()));
    }
}

void TraceProvider::write(TraceLevel level, std::string_view eventName, TraceFields fields) noexcept {
    if (!enabled(level)) return;
    const DWORD lastError = GetLastError();
    try {
        const auto metadata = encodeEventMetadata(eventName, fields);
        const auto data = encodeEventData(fields, maxEventSize - traits_.size() - metadata.size());
        EVENT_DATA_DESCRIPTOR descriptors[] = {describe(traits_, providerMetadataKind),
                                               describe(metadata, eventMetadataKind), describe(data, 0)};
        EVENT_DESCRIPTOR event{};
        event.Channel = traceLoggingChannel;
        event.Level = static_cast<UCHAR>(level);
        EventWriteTransfer(handle_, &event, nullptr, nullptr, data.empty() ? 2 : 3, descriptors);
    } catch (const std::exception&) {
        // Out of memory: the run goes on without this record.
    }
    SetLastError(lastError);
}

} // namespace win32
