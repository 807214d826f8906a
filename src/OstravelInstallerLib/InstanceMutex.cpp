#include "OstravelInstallerLib/InstanceMutex.h"

#include "ProductLib/InstallerEvents.h"
#include "libwin32/Win32Error.h"

#include <sddl.h>

#include <array>
#include <format>

namespace kelvane::bst {
namespace {

constexpr wchar_t aliasPrefix[] = L"BST";
// Owner Administrators, who alone have access; in the namespace nothing below High integrity may write or execute.
constexpr wchar_t namespaceSecurity[] = L"O:BAD:(A;;GA;;;BA)S:(ML;;NWNX;;;HI)";
constexpr wchar_t mutexSecurity[] = L"O:BAD:(A;;GA;;;BA)";

class WellKnownSid {
public:
    explicit WellKnownSid(WELL_KNOWN_SID_TYPE type) {
        DWORD size = sizeof buffer_;
        win32::check(CreateWellKnownSid(type, nullptr, buffer_.data(), &size), "CreateWellKnownSid");
    }
    PSID get() { return buffer_.data(); }

private:
    alignas(SID) std::array<BYTE, SECURITY_MAX_SID_SIZE> buffer_{};
};

// Not inheritable attributes made from a descriptor in text form.
class SecurityAttributes {
public:
    explicit SecurityAttributes(const wchar_t* sddl) {
        win32::check(
            ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor_.put(), nullptr),
            "ConvertStringSecurityDescriptorToSecurityDescriptor");
        attributes_ = {sizeof attributes_, descriptor_.get(), FALSE};
    }
    SECURITY_ATTRIBUTES* get() { return &attributes_; }

private:
    win32::UniqueSecurityDescriptor descriptor_;
    SECURITY_ATTRIBUTES attributes_{};
};

// Both calls that add to a boundary descriptor may put another one in its place.
template <class Call>
bool addTo(UniqueBoundaryDescriptor& boundary, Call call, PSID sid) {
    HANDLE descriptor = boundary.release();
    const bool added = call(&descriptor, sid) != FALSE;
    boundary.reset(descriptor);
    return added;
}

UniquePrivateNamespace openInstanceNamespace(const std::wstring& boundaryName) {
    logEvent(LogLevel::Verbose, "GetPrivateNamespace");
    WellKnownSid administrators(WinBuiltinAdministratorsSid);
    WellKnownSid highLabel(WinHighLabelSid);
    const auto boundary = getBoundaryDescriptorForSid(boundaryName, administrators.get(), highLabel.get());
    return createOrOpenPrivateNamespace(namespaceSecurity, boundary.get(), aliasPrefix);
}

win32::Mutex openInstanceMutex(const std::wstring& mutexName) {
    logEvent(LogLevel::Verbose, "GetMutex");
    SecurityAttributes attributes(mutexSecurity);
    return win32::Mutex(std::format(L"{}\\{}", aliasPrefix, mutexName), attributes.get());
}

} // namespace

UniqueBoundaryDescriptor getBoundaryDescriptorForSid(const std::wstring& name, PSID sid, PSID integrityLabel) {
    UniqueBoundaryDescriptor boundary(CreateBoundaryDescriptorW(name.c_str(), 0));
    win32::check(static_cast<bool>(boundary), "CreateBoundaryDescriptor failed");
    win32::check(addTo(boundary, AddSIDToBoundaryDescriptor, sid), "AddSIDToBoundaryDescriptor failed");
    win32::check(addTo(boundary, AddIntegrityLabelToBoundaryDescriptor, integrityLabel),
                 "AddIntegrityLabelToBoundaryDescriptor failed");
    return boundary;
}

UniquePrivateNamespace createOrOpenPrivateNamespace(const wchar_t* securityDescriptor, HANDLE boundary,
                                                    const std::wstring& prefix) {
    SecurityAttributes attributes(securityDescriptor);
    for (bool again = true;; again = false) {
        UniquePrivateNamespace created(CreatePrivateNamespaceW(attributes.get(), boundary, prefix.c_str()));
        if (created) return created;
        win32::check(GetLastError() == ERROR_ALREADY_EXISTS, "CreatingPrivateNamespaceFailed");
        UniquePrivateNamespace opened(OpenPrivateNamespaceW(boundary, prefix.c_str()));
        // It may have gone with the run that had it.
        win32::check(opened || again, "OpeningPrivateNamespaceFailed");
        if (opened) return opened;
    }
}

InstanceMutex::InstanceMutex(const std::wstring& boundaryName, const std::wstring& mutexName)
    : namespace_(openInstanceNamespace(boundaryName)), mutex_(openInstanceMutex(mutexName)) {}

} // namespace kelvane::bst
