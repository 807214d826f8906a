#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kelvane::system_requirements {

// A requirement that this host does not meet; what() is the message for the user.
class NotSupportedException : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Too little space on the system drive for an upgrade of the installed agent.
class NotSupportedExceptionDiskSpaceForUpgrade : public NotSupportedException {
    using NotSupportedException::NotSupportedException;
};

// With the number by which the package's user interface picks its dialog.
class NotSupportedExceptionForWixUi : public NotSupportedException {
public:
    NotSupportedExceptionForWixUi(std::uint32_t code, const std::string& message)
        : NotSupportedException(message), code_(code) {}
    std::uint32_t code() const { return code_; }

private:
    std::uint32_t code_;
};

} // namespace kelvane::system_requirements
