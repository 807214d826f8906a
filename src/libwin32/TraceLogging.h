#pragma once

#include <windows.h>

#include <evntprov.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace win32 {

// ETW levels. An event is written when its provider's enabled level plus one is above the event's level.
enum class TraceLevel : std::uint8_t { Error = 2, Warning = 3, Information = 4, Verbose = 5 };

// A named, typed field of an event. Names and values are borrowed until the event is written.
struct TraceField {
    TraceField(const char* fieldName, std::wstring_view text) : name(fieldName), value(text) {}
    TraceField(const char* fieldName, const std::wstring& text) : name(fieldName), value(std::wstring_view(text)) {}
    TraceField(const char* fieldName, const wchar_t* text) : name(fieldName), value(std::wstring_view(text)) {}
    TraceField(const char* fieldName, std::string_view utf8) : name(fieldName), value(utf8) {}
    TraceField(const char* fieldName, const std::string& utf8) : name(fieldName), value(std::string_view(utf8)) {}
    TraceField(const char* fieldName, const char* utf8) : name(fieldName), value(std::string_view(utf8)) {}
    TraceField(const char* fieldName, std::int32_t number) : name(fieldName), value(number) {}
    TraceField(const char* fieldName, long number) : name(fieldName), value(static_cast<std::int32_t>(number)) {}
    TraceField(const char* fieldName, std::uint32_t number) : name(fieldName), value(number) {}
    TraceField(const char* fieldName, unsigned long number)
        : name(fieldName), value(static_cast<std::uint32_t>(number)) {}
    TraceField(const char* fieldName, bool flag) : name(fieldName), value(flag) {}

    const char* name;
    std::variant<std::wstring_view, std::string_view, std::int32_t, std::uint32_t, bool> value;
};
using TraceFields = std::initializer_list<TraceField>;

// The self-describing form of TraceLogging: what tells a decoder the provider's name, the event's name and its fields.
std::vector<std::uint8_t> encodeProviderTraits(std::string_view providerName);
std::vector<std::uint8_t> encodeEventMetadata(std::string_view eventName, TraceFields fields);
// The values in field order, as they follow the metadata: strings end in a NUL. When they need more than `room` bytes
// the longest strings are cut, and end in "[...]".
std::vector<std::uint8_t> encodeEventData(TraceFields fields, std::size_t room);

// Bytes of an event: one that does not fit into a buffer of its session, 8 KiB unless it asked for more, is lost.
inline constexpr std::size_t maxEventSize = 7500;

// One provider registration: registered by start(), unregistered by stop() or at the end. Events of a provider that is
// not registered, or that no session has enabled at their level, are dropped after one comparison.
class TraceProvider {
public:
    // `name` must outlive the provider.
    TraceProvider(std::string_view name, const GUID& id);
    ~TraceProvider() { stop(); }
    TraceProvider(const TraceProvider&) = delete;
    TraceProvider& operator=(const TraceProvider&) = delete;

    // Registers with the callback that keeps the enabled level; keywords keep no event of keyword 0 out. False when
    // registration fails.
    bool start();
    // Registers without a callback: every event goes to the system, which filters it. False when registration fails.
    bool startUnfiltered();
    void stop() noexcept;

    bool enabled(TraceLevel level) const noexcept { return levelPlusOne_ > static_cast<std::uint32_t>(level); }
    // Writes on channel 11 (TraceLogging), keyword 0. Never throws: a record that cannot be made is lost.
    void write(TraceLevel level, std::string_view eventName, TraceFields fields) noexcept;

private:
    static void NTAPI onEnable(const GUID* source, ULONG isEnabled, UCHAR level, ULONGLONG matchAny, ULONGLONG matchAll,
                               EVENT_FILTER_DESCRIPTOR* filter, void* context);
    bool registerProvider(PENABLECALLBACK callback);
    void setTraits() noexcept;

    GUID id_;
    std::vector<std::uint8_t> traits_;
    REGHANDLE handle_ = 0;
    volatile std::uint32_t levelPlusOne_ = 0;
};

} // namespace win32
