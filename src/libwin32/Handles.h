#pragma once

// Owners of Windows handles: one `using` per kind, no closing call anywhere else.

#include <windows.h>

#include <exception>
#include <utility>

namespace win32 {

// Owns one value of Traits::Type, closed by Traits::close; Traits::isValid tells a value from none.
template <class Traits>
class UniqueResource {
public:
    using Type = typename Traits::Type;

    UniqueResource() noexcept = default;
    explicit UniqueResource(Type value) noexcept : value_(value) {}
    UniqueResource(UniqueResource&& other) noexcept : value_(other.release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~UniqueResource() { reset(); }

    Type get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return Traits::isValid(value_); }
    Type release() noexcept { return std::exchange(value_, Type{}); }
    void reset(Type value = Type{}) noexcept {
        const Type old = std::exchange(value_, value);
        if (Traits::isValid(old)) {
            // The closing call of an error path must not hide the error that led there.
            const DWORD lastError = GetLastError();
            close(old);
            SetLastError(lastError);
        }
    }
    // The address of an empty owner, for calls that return through a pointer.
    Type* put() noexcept {
        reset();
        return &value_;
    }

private:
    // A closing function of a delay-loaded library may be one that cannot be had: the process's end closes then.
    static void close(Type value) noexcept {
        try {
            Traits::close(value);
        } catch (const std::exception&) {
        }
    }

    Type value_{};
};

struct HandleTraits {
    using Type = HANDLE;
    static bool isValid(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    static void close(HANDLE handle) { CloseHandle(handle); }
};
using UniqueHandle = UniqueResource<HandleTraits>;

struct FindTraits : HandleTraits {
    static void close(HANDLE handle) { FindClose(handle); }
};
using UniqueFind = UniqueResource<FindTraits>;

template <class Value>
struct LocalTraits {
    using Type = Value*;
    static bool isValid(Value* memory) { return memory != nullptr; }
    static void close(Value* memory) { LocalFree(memory); }
};
template <class Value>
using UniqueLocal = UniqueResource<LocalTraits<Value>>;

struct SecurityDescriptorTraits {
    using Type = PSECURITY_DESCRIPTOR;
    static bool isValid(PSECURITY_DESCRIPTOR descriptor) { return descriptor != nullptr; }
    static void close(PSECURITY_DESCRIPTOR descriptor) { LocalFree(descriptor); }
};
using UniqueSecurityDescriptor = UniqueResource<SecurityDescriptorTraits>;

struct ModuleTraits {
    using Type = HMODULE;
    static bool isValid(HMODULE module) { return module != nullptr; }
    static void close(HMODULE module) { FreeLibrary(module); }
};
using UniqueModule = UniqueResource<ModuleTraits>;

struct ServiceTraits {
    using Type = SC_HANDLE;
    static bool isValid(SC_HANDLE handle) { return handle != nullptr; }
    static void close(SC_HANDLE handle) { CloseServiceHandle(handle); }
};
using UniqueService = UniqueResource<ServiceTraits>;

struct KeyTraits {
    using Type = HKEY;
    static bool isValid(HKEY key) { return key != nullptr; }
    static void close(HKEY key) { RegCloseKey(key); }
};
using UniqueKey = UniqueResource<KeyTraits>;

} // namespace win32
