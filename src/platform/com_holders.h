#pragma once

// Scoped holders for the COM resources the WMI layer handles: BSTRs, VARIANTs and SAFEARRAYs.
// Interface pointers are held by Microsoft::WRL::ComPtr. Every holder frees what it owns,
// gives it away only through release(), and receives only through put(), which frees what it
// held first.
#include "platform/windows_api.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <string>

#include "platform/com_error.h"

namespace quorvane::com {

using Microsoft::WRL::ComPtr;

class UniqueBstr {
 public:
  UniqueBstr() = default;
  // A copy of the text; running out of memory raises a COM status, as the COM runtime would.
  explicit UniqueBstr(const std::wstring& text)
      : value_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
    if (value_ == nullptr) {
      throw ComError(E_OUTOFMEMORY);
    }
  }
  UniqueBstr(UniqueBstr&& other) noexcept : value_(other.release()) {}
  UniqueBstr& operator=(UniqueBstr&& other) noexcept {
    reset(other.release());
    return *this;
  }
  UniqueBstr(const UniqueBstr&) = delete;
  UniqueBstr& operator=(const UniqueBstr&) = delete;
  ~UniqueBstr() { SysFreeString(value_); }

  BSTR get() const { return value_; }
  // Gives up ownership without freeing; the caller frees the string.
  [[nodiscard]] BSTR release() {
    BSTR value = value_;
    value_ = nullptr;
    return value;
  }
  void reset(BSTR value = nullptr) {
    if (value != value_) {
      SysFreeString(value_);
      value_ = value;
    }
  }
  // Frees the string held, then gives the address for a callee to store a new one into.
  BSTR* put() {
    reset();
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

  // The variant itself, to be filled in place; what it held is freed by the holder.
  VARIANT* get() { return &value_; }
  const VARIANT& ref() const { return value_; }
  // Clears what the variant held, then gives its address for a callee to fill.
  VARIANT* put() {
    VariantClear(&value_);
    return &value_;
  }
  // Gives the value away; the holder is left empty.
  [[nodiscard]] VARIANT release() {
    VARIANT value = value_;
    VariantInit(&value_);
    return value;
  }

 private:
  VARIANT value_;
};

class ScopedSafeArray {
 public:
  explicit ScopedSafeArray(SAFEARRAY* array = nullptr) : array_(array) {}
  ScopedSafeArray(ScopedSafeArray&& other) noexcept : array_(other.release()) {}
  ScopedSafeArray& operator=(ScopedSafeArray&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ScopedSafeArray(const ScopedSafeArray&) = delete;
  ScopedSafeArray& operator=(const ScopedSafeArray&) = delete;
  ~ScopedSafeArray() { reset(); }

  SAFEARRAY* get() const { return array_; }
  void reset(SAFEARRAY* array = nullptr) {
    if (array_ != nullptr && array_ != array) {
      SafeArrayDestroy(array_);
    }
    array_ = array;
  }
  SAFEARRAY** put() {
    reset();
    return &array_;
  }
  [[nodiscard]] SAFEARRAY* release() {
    SAFEARRAY* array = array_;
    array_ = nullptr;
    return array;
  }

 private:
  SAFEARRAY* array_;
};

}  // namespace quorvane::com
