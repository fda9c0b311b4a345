#include "wmi/com/variant_conversion.h"

#include <type_traits>
#include <vector>

namespace quorvane::com {
namespace {

std::wstring FromBstr(BSTR text) {
  return text ? std::wstring(text, SysStringLen(text)) : L"";
}

// Reads every element of a one-dimensional SAFEARRAY.
template <typename T>
std::vector<T> Elements(SAFEARRAY* array) {
  std::vector<T> items;
  LONG lower = 0;
  LONG upper = -1;
  SafeArrayGetLBound(array, 1, &lower);
  SafeArrayGetUBound(array, 1, &upper);
  for (LONG i = lower; i <= upper; ++i) {
    T item{};
    ThrowIfFailed(SafeArrayGetElement(array, &i, &item));
    items.push_back(item);
  }
  return items;
}

WmiValue ArrayFromVariant(const VARIANT& variant, const ObjectWrapper& wrap) {
  SAFEARRAY* array = variant.parray;
  switch (variant.vt & VT_TYPEMASK) {
    case VT_BSTR: {
      std::vector<std::wstring> texts;
      for (BSTR item : Elements<BSTR>(array)) {
        texts.push_back(FromBstr(item));
        SysFreeString(item);
      }
      return WmiValue::Array(std::move(texts));
    }
    case VT_BOOL: {
      std::vector<bool> flags;
      for (VARIANT_BOOL item : Elements<VARIANT_BOOL>(array)) {
        flags.push_back(item != VARIANT_FALSE);
      }
      return WmiValue::Array(std::move(flags));
    }
    case VT_UI1:
      return WmiValue::Array(Elements<std::uint8_t>(array));
    case VT_I2:
      return WmiValue::Array(Elements<std::int16_t>(array));
    case VT_I4:
    case VT_UI4:
      return WmiValue::Array(Elements<std::int32_t>(array));
    case VT_R4:
      return WmiValue::Array(Elements<float>(array));
    case VT_R8:
      return WmiValue::Array(Elements<double>(array));
    case VT_UNKNOWN:
    case VT_DISPATCH: {
      std::vector<WmiObjectPtr> objects;
      for (IUnknown* item : Elements<IUnknown*>(array)) {
        objects.push_back(wrap(item));
        if (item != nullptr) {
          item->Release();
        }
      }
      return WmiValue::Array(std::move(objects));
    }
    default:
      ThrowIfWmiFailed(status::kWbemTypeMismatch);
      return WmiValue();
  }
}

template <typename T>
SAFEARRAY* MakeArray(VARTYPE type, const std::vector<T>& items) {
  ScopedSafeArray array(SafeArrayCreateVector(type, 0, static_cast<ULONG>(items.size())));
  if (array.get() == nullptr) {
    ThrowIfFailed(status::kOutOfMemory);
  }
  for (LONG i = 0; i < static_cast<LONG>(items.size()); ++i) {
    T item = items[static_cast<std::size_t>(i)];
    if constexpr (std::is_pointer_v<T>) {
      ThrowIfFailed(SafeArrayPutElement(array.get(), &i, item));  // interfaces go in themselves
    } else {
      ThrowIfFailed(SafeArrayPutElement(array.get(), &i, &item));
    }
  }
  return array.release();
}

}  // namespace

WmiValue FromVariant(const VARIANT& variant, const ObjectWrapper& wrap) {
  if (variant.vt & VT_ARRAY) {
    return ArrayFromVariant(variant, wrap);
  }
  switch (variant.vt) {
    case VT_EMPTY:
    case VT_NULL:
      return WmiValue();
    case VT_BOOL:
      return WmiValue::Boolean(variant.boolVal != VARIANT_FALSE);
    case VT_UI1:
      return WmiValue::UInt8(variant.bVal);
    case VT_I1:
      return WmiValue::Int16(variant.cVal);
    case VT_I2:
      return WmiValue::Int16(variant.iVal);
    case VT_UI2:
      return WmiValue::Int32(variant.uiVal);
    case VT_I4:
    case VT_INT:
      return WmiValue::Int32(variant.lVal);
    case VT_UI4:
    case VT_UINT:
      return WmiValue::Int32(static_cast<std::int32_t>(variant.ulVal));
    case VT_I8:
      return WmiValue::SInt64(variant.llVal);
    case VT_UI8:
      return WmiValue::UInt64(variant.ullVal);
    case VT_R4:
      return WmiValue::Real32(variant.fltVal);
    case VT_R8:
      return WmiValue::Real64(variant.dblVal);
    case VT_BSTR:
      return WmiValue::String(FromBstr(variant.bstrVal));
    case VT_UNKNOWN:
    case VT_DISPATCH:
      return WmiValue::Object(wrap(variant.punkVal));
    default:
      ThrowIfWmiFailed(status::kWbemTypeMismatch);
      return WmiValue();
  }
}

void ToVariant(const WmiValue& value, VARIANT& variant, const ObjectUnwrapper& unwrap) {
  VariantClear(&variant);
  variant.vt = VT_NULL;
  std::visit(
      [&](const auto& stored) {
        using T = std::decay_t<decltype(stored)>;
        if constexpr (std::is_same_v<T, bool>) {
          variant.vt = VT_BOOL;
          variant.boolVal = stored ? VARIANT_TRUE : VARIANT_FALSE;
        } else if constexpr (std::is_same_v<T, std::uint8_t>) {
          variant.vt = VT_UI1;
          variant.bVal = stored;
        } else if constexpr (std::is_same_v<T, std::int16_t>) {
          variant.vt = VT_I2;
          variant.iVal = stored;
        } else if constexpr (std::is_same_v<T, std::int32_t>) {
          variant.vt = VT_I4;
          variant.lVal = stored;
        } else if constexpr (std::is_same_v<T, float>) {
          variant.vt = VT_R4;
          variant.fltVal = stored;
        } else if constexpr (std::is_same_v<T, double>) {
          variant.vt = VT_R8;
          variant.dblVal = stored;
        } else if constexpr (std::is_same_v<T, std::wstring>) {
          UniqueBstr text(stored);
          variant.vt = VT_BSTR;
          variant.bstrVal = text.get();
          *text.out() = nullptr;  // ownership moves to the variant
        } else if constexpr (std::is_same_v<T, WmiObjectPtr>) {
          IUnknown* object = unwrap(stored);
          variant.vt = object ? VT_UNKNOWN : VT_NULL;
          variant.punkVal = object;
        } else if constexpr (std::is_same_v<T, std::vector<std::wstring>>) {
          ScopedSafeArray array(
              SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(stored.size())));
          if (array.get() == nullptr) {
            ThrowIfFailed(status::kOutOfMemory);
          }
          for (LONG i = 0; i < static_cast<LONG>(stored.size()); ++i) {
            UniqueBstr text(stored[static_cast<std::size_t>(i)]);
            ThrowIfFailed(SafeArrayPutElement(array.get(), &i, text.get()));  // copies the text
          }
          variant.parray = array.release();
          variant.vt = VT_ARRAY | VT_BSTR;
        } else if constexpr (std::is_same_v<T, std::vector<bool>>) {
          std::vector<VARIANT_BOOL> flags;
          for (const bool flag : stored) {
            flags.push_back(flag ? VARIANT_TRUE : VARIANT_FALSE);
          }
          variant.parray = MakeArray(VT_BOOL, flags);
          variant.vt = VT_ARRAY | VT_BOOL;
        } else if constexpr (std::is_same_v<T, std::vector<WmiObjectPtr>>) {
          std::vector<IUnknown*> objects;
          for (const auto& object : stored) {
            objects.push_back(unwrap(object));
          }
          variant.parray = MakeArray(VT_UNKNOWN, objects);  // the array takes references
          for (IUnknown* object : objects) {
            if (object != nullptr) {
              object->Release();
            }
          }
          variant.vt = VT_ARRAY | VT_UNKNOWN;
        } else if constexpr (!std::is_same_v<T, std::monostate>) {
          using Item = typename T::value_type;
          const VARTYPE type = std::is_same_v<Item, std::uint8_t>   ? VT_UI1
                               : std::is_same_v<Item, std::int16_t> ? VT_I2
                               : std::is_same_v<Item, std::int32_t> ? VT_I4
                               : std::is_same_v<Item, float>        ? VT_R4
                                                                    : VT_R8;
          variant.parray = MakeArray(type, stored);
          variant.vt = static_cast<VARTYPE>(VT_ARRAY | type);
        }
      },
      value.Get());
}

}  // namespace quorvane::com
