#pragma once

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>

#include <string_view>
#include <utility>

#include "support/unique.h"

namespace orrery {

/// Owner of one reference to a COM object.
template <class Interface>
class ComPtr {
public:
    ComPtr() noexcept = default;
    /// Takes over a reference that the caller already holds.
    explicit ComPtr(Interface* owned) noexcept : object_(owned) {}
    ComPtr(ComPtr&& other) noexcept : object_(other.detach()) {}
    ComPtr& operator=(ComPtr&& other) noexcept
    {
        reset(other.detach());
        return *this;
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() { reset(); }

    explicit operator bool() const noexcept { return object_ != nullptr; }
    Interface* get() const noexcept { return object_; }
    Interface* operator->() const noexcept { return object_; }
    Interface* detach() noexcept { return std::exchange(object_, nullptr); }
    void reset(Interface* owned = nullptr) noexcept
    {
        if (Interface* const old = std::exchange(object_, owned))
            old->Release();
    }
    /// Releases what is held and gives the place where a call stores a new reference.
    Interface** put() noexcept
    {
        reset();
        return &object_;
    }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

private:
    Interface* object_ = nullptr;
};

struct BstrTraits {
    using Resource = BSTR;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource text) noexcept { SysFreeString(text); }
};
using UniqueBstr = Unique<BstrTraits>;

/// Makes a BSTR of a text; null when memory is short.
inline UniqueBstr MakeBstr(std::wstring_view text) noexcept
{
    return UniqueBstr{SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))};
}

/// The characters of a BSTR; a null BSTR is an empty text.
inline std::wstring_view TextOf(BSTR text) noexcept
{
    return text == nullptr ? std::wstring_view{} : std::wstring_view{text, SysStringLen(text)};
}

/// Owner of a VARIANT's content.
class UniqueVariant {
public:
    UniqueVariant() noexcept { VariantInit(&value_); }
    ~UniqueVariant() { VariantClear(&value_); }
    UniqueVariant(const UniqueVariant&) = delete;
    UniqueVariant& operator=(const UniqueVariant&) = delete;

    VARTYPE type() const noexcept { return value_.vt; }
    bool isMissing() const noexcept { return value_.vt == VT_EMPTY || value_.vt == VT_NULL; }
    const VARIANT& get() const noexcept { return value_; }
    VARIANT* put() noexcept
    {
        VariantClear(&value_);
        return &value_;
    }

private:
    VARIANT value_;
};

/// The calling thread's membership of a single-threaded apartment; a refused one is not given back.
class ComApartment {
public:
    ComApartment() noexcept : result_(CoInitialize(nullptr)) {}
    ~ComApartment()
    {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

private:
    HRESULT result_;
};

}  // namespace orrery
