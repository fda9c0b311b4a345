#pragma once

// Scoped holders for the COM resources the WMI layer handles: BSTRs, VARIANTs and SAFEARRAYs.
// Interface pointers are held by Microsoft::WRL::ComPtr.
#include <windows.h>

#include <oleauto.h>
#include <wrl/client.h>

#include <string>

#include "entry/status.h"

namespace quorvane::com {

using Microsoft::WRL::ComPtr;

class UniqueBstr {
 public:
  UniqueBstr() = default;
  explicit UniqueBstr(const std::wstring& text)
      : value_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
    if (value_ == nullptr) {
      ThrowIfFailed(status::kOutOfMemory);
    }
  }
  UniqueBstr(const UniqueBstr&) = delete;
  UniqueBstr& operator=(const UniqueBstr&) = delete;
  ~UniqueBstr() { SysFreeString(value_); }

  BSTR get() const { return value_; }
  BSTR* out() {
    SysFreeString(value_);
    value_ = nullptr;
    return &value_;
  }
  std::wstring str() const { return value_ ? std::wstring(value_, SysStringLen(value_)) : L""; }

 private:
  BSTR value_ = nullptr;
};

// A BSTR for an optional text: empty text is passed as null.
inline BSTR OrNull(const UniqueBstr& text) {
  return SysStringLen(text.get()) ? text.get() : nullptr;
}

class ScopedVariant {
 public:
  ScopedVariant() { VariantInit(&value_); }
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;
  ~ScopedVariant() { VariantClear(&value_); }

  VARIANT* get() { return &value_; }
  const VARIANT& ref() const { return value_; }

 private:
  VARIANT value_;
};

class ScopedSafeArray {
 public:
  explicit ScopedSafeArray(SAFEARRAY* array = nullptr) : array_(array) {}
  ScopedSafeArray(const ScopedSafeArray&) = delete;
  ScopedSafeArray& operator=(const ScopedSafeArray&) = delete;
  ~ScopedSafeArray() {
    if (array_ != nullptr) {
      SafeArrayDestroy(array_);
    }
  }
  SAFEARRAY* get() const { return array_; }
  SAFEARRAY** out() { return &array_; }
  SAFEARRAY* release() {
    SAFEARRAY* array = array_;
    array_ = nullptr;
    return array;
  }

 private:
  SAFEARRAY* array_;
};

}  // namespace quorvane::com
