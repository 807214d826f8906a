#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelvane::pack {

// Why something is not packed, or not approved: a whole sentence without its full stop, in UTF-8.
class Refusal : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The value that stands at an offset. Throws Refusal when the bytes end before it does.
template <class Value>
Value valueAt(std::string_view bytes, std::size_t offset) {
    if (offset > bytes.size() || sizeof(Value) > bytes.size() - offset) throw Refusal("it is cut short");
    Value value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// The value in place of what stands at an offset, which must be there.
template <class Value>
void setValue(std::string& bytes, std::size_t offset, const Value& value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

template <class Value>
void append(std::string& bytes, const Value& value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

inline void append(std::string& bytes, std::wstring_view text) {
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

constexpr std::size_t alignedUp(std::size_t value, std::size_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

inline void pad(std::string& bytes, std::size_t alignment) { bytes.resize(alignedUp(bytes.size(), alignment)); }

} // namespace kelvane::pack
