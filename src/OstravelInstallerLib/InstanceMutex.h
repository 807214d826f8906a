#pragma once

#include "libwin32/Handles.h"
#include "libwin32/Mutex.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace kelvane::bst {

struct BoundaryDescriptorTraits : win32::HandleTraits {
    static void close(HANDLE descriptor) { DeleteBoundaryDescriptor(descriptor); }
};
using UniqueBoundaryDescriptor = win32::UniqueResource<BoundaryDescriptorTraits>;

struct PrivateNamespaceTraits : win32::HandleTraits {
    // Closed, not destroyed: another run may be waiting for the mutex in it.
    static void close(HANDLE handle) { ClosePrivateNamespace(handle, 0); }
};
using UniquePrivateNamespace = win32::UniqueResource<PrivateNamespaceTraits>;

// A boundary that only processes with the given SID at the given integrity level get past. Throws Win32Error
// "CreateBoundaryDescriptor failed", "AddSIDToBoundaryDescriptor failed" or "AddIntegrityLabelToBoundaryDescriptor
// failed".
UniqueBoundaryDescriptor getBoundaryDescriptorForSid(const std::wstring& name, PSID sid, PSID integrityLabel);

// Throws Win32Error "CreatingPrivateNamespaceFailed" or, when it exists but may not be opened,
// "OpeningPrivateNamespaceFailed".
UniquePrivateNamespace createOrOpenPrivateNamespace(const wchar_t* securityDescriptor, HANDLE boundary,
                                                    const std::wstring& aliasPrefix);

// The lock that one run holds against all others on the machine: a mutex in a private namespace that only
// Administrators at High integrity can create or enter, so that nobody else can take the name first.
class InstanceMutex {
public:
    // Creates or opens namespace and mutex; throws Win32Error.
    InstanceMutex(const std::wstring& boundaryName, const std::wstring& mutexName);

    // True only when the mutex was acquired in this time; every other outcome is logged.
    bool wait(std::uint32_t timeoutMs) noexcept { return mutex_.wait(timeoutMs); }
    // Releases the mutex when it is owned. Throws Win32Error.
    void release() { mutex_.release(); }

private:
    UniquePrivateNamespace namespace_;
    win32::Mutex mutex_; // closed before the namespace
};

} // namespace kelvane::bst
