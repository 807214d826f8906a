#pragma once

#include "libwin32/Handles.h"

#include <combaseapi.h>
#include <oleauto.h>

#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace win32 {

// Owns one reference to a COM object.
template <class Interface>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr(const ComPtr& other) noexcept : pointer_(other.pointer_) {
        if (pointer_) pointer_->AddRef();
    }
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPtr() { reset(); }

    Interface* get() const noexcept { return pointer_; }
    Interface* operator->() const noexcept { return pointer_; }
    explicit operator bool() const noexcept { return pointer_ != nullptr; }
    void reset() noexcept {
        if (auto* old = std::exchange(pointer_, nullptr)) old->Release();
    }
    Interface** put() noexcept {
        reset();
        return &pointer_;
    }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }
    template <class Other>
    HRESULT queryInterface(ComPtr<Other>& other) const noexcept {
        return pointer_->QueryInterface(__uuidof(Other), other.putVoid());
    }

private:
    Interface* pointer_ = nullptr;
};

// COM for the calling thread; undone at the end only when it was this object that started it.
class ComInitializer {
public:
    ComInitializer() noexcept : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComInitializer() {
        if (SUCCEEDED(result_)) CoUninitialize();
    }
    ComInitializer(const ComInitializer&) = delete;
    ComInitializer& operator=(const ComInitializer&) = delete;
    HRESULT result() const noexcept { return result_; }
    // Another apartment model of the thread serves as well.
    bool usable() const noexcept { return SUCCEEDED(result_) || result_ == RPC_E_CHANGED_MODE; }

private:
    HRESULT result_;
};

// Owns a BSTR.
class Bstr {
public:
    Bstr() noexcept = default;
    // Throws std::bad_alloc.
    explicit Bstr(std::wstring_view text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
        if (!text_) throw std::bad_alloc();
    }
    Bstr(Bstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ~Bstr() { SysFreeString(text_); }
    Bstr& operator=(Bstr&& other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }
    BSTR get() const noexcept { return text_; }
    BSTR* put() noexcept { return &text_; }
    BSTR release() noexcept { return std::exchange(text_, nullptr); }
    std::wstring str() const { return text_ ? std::wstring(text_, SysStringLen(text_)) : std::wstring(); }

private:
    BSTR text_ = nullptr;
};

// Owns a VARIANT.
class Variant {
public:
    Variant() noexcept { VariantInit(&value_); }
    ~Variant() { VariantClear(&value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    VARIANT& operator*() noexcept { return value_; }
    VARIANT* operator->() noexcept { return &value_; }
    VARIANT* put() noexcept {
        VariantClear(&value_);
        return &value_;
    }

private:
    VARIANT value_;
};

// Owns a text that the system allocated for the caller.
struct TaskMemoryTraits {
    using Type = wchar_t*;
    static bool isValid(wchar_t* text) { return text != nullptr; }
    static void close(wchar_t* text) { CoTaskMemFree(text); }
};
using UniqueTaskMemory = UniqueResource<TaskMemoryTraits>;

} // namespace win32
