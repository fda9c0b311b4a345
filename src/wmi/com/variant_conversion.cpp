#include "wmi/com/variant_conversion.h"

#include <type_traits>
#include <vector>

#include "errors/status.h"

namespace quorvane::com {
namespace {

std::wstring FromBstr(BSTR text) {
  return text ? std::wstring(text, SysStringLen(text)) : L"";
}

struct Bounds {
  LONG lower = 0;
  LONG upper = -1;
};

Bounds BoundsOf(SAFEARRAY* array) {
  Bounds bounds;
  ThrowIfFailed(SafeArrayGetLBound(array, 1, &bounds.lower));
  ThrowIfFailed(SafeArrayGetUBound(array, 1, &bounds.upper));
  return bounds;
}

// Reads every element of a one-dimensional SAFEARRAY of plain values.
template <typename T>
std::vector<T> Elements(SAFEARRAY* array) {
  std::vector<T> items;
  const Bounds bounds = BoundsOf(array);
  for (LONG i = bounds.lower; i <= bounds.upper; ++i) {
    T item{};
    ThrowIfFailed(SafeArrayGetElement(array, &i, &item));
    items.push_back(item);
  }
  return items;
}

// Each fetched string is owned the moment it is fetched, so a later failure leaks nothing.
std::vector<std::wstring> TextElements(SAFEARRAY* array) {
  std::vector<std::wstring> texts;
  const Bounds bounds = BoundsOf(array);
  for (LONG i = bounds.lower; i <= bounds.upper; ++i) {
    UniqueBstr item;
    ThrowIfFailed(SafeArrayGetElement(array, &i, item.put()));
    texts.push_back(item.str());
  }
  return texts;
}

std::vector<WmiObjectPtr> ObjectElements(SAFEARRAY* array, const ObjectWrapper& wrap) {
  std::vector<WmiObjectPtr> objects;
  const Bounds bounds = BoundsOf(array);
  for (LONG i = bounds.lower; i <= bounds.upper; ++i) {
    ComPtr<IUnknown> item;
    ThrowIfFailed(SafeArrayGetElement(array, &i, item.ReleaseAndGetAddressOf()));
    objects.push_back(wrap(item.Get()));
  }
  return objects;
}

WmiValue ArrayFromVariant(const VARIANT& variant, const ObjectWrapper& wrap) {
  SAFEARRAY* array = variant.parray;
  switch (variant.vt & VT_TYPEMASK) {
    case VT_BSTR:
      return WmiValue::Array(TextElements(array));
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
    case VT_DISPATCH:
      return WmiValue::Array(ObjectElements(array, wrap));
    default:
      ThrowIfWmiFailed(status::kWbemTypeMismatch);
      return WmiValue();
  }
}

ScopedSafeArray NewVector(VARTYPE type, std::size_t size) {
  ScopedSafeArray array(SafeArrayCreateVector(type, 0, static_cast<ULONG>(size)));
  if (array.get() == nullptr) {
    throw ComError(E_OUTOFMEMORY);
  }
  return array;
}

// SafeArrayPutElement copies what it is given: strings are duplicated, interfaces referenced.
template <typename T>
SAFEARRAY* MakeArray(VARTYPE type, const std::vector<T>& items) {
  ScopedSafeArray array = NewVector(type, items.size());
  for (LONG i = 0; i < static_cast<LONG>(items.size()); ++i) {
    T item = items[static_cast<std::size_t>(i)];
    ThrowIfFailed(SafeArrayPutElement(array.get(), &i, &item));
  }
  return array.release();
}

SAFEARRAY* MakeTextArray(const std::vector<std::wstring>& texts) {
  ScopedSafeArray array = NewVector(VT_BSTR, texts.size());
  for (LONG i = 0; i < static_cast<LONG>(texts.size()); ++i) {
    const UniqueBstr text(texts[static_cast<std::size_t>(i)]);
    ThrowIfFailed(SafeArrayPutElement(array.get(), &i, text.get()));
  }
  return array.release();
}

SAFEARRAY* MakeObjectArray(const std::vector<WmiObjectPtr>& objects,
                           const ObjectUnwrapper& unwrap) {
  ScopedSafeArray array = NewVector(VT_UNKNOWN, objects.size());
  for (LONG i = 0; i < static_cast<LONG>(objects.size()); ++i) {
    const ComPtr<IUnknown> object = unwrap(objects[static_cast<std::size_t>(i)]);
    ThrowIfFailed(SafeArrayPutElement(array.get(), &i, object.Get()));
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
          variant.bstrVal = text.release();
        } else if constexpr (std::is_same_v<T, WmiObjectPtr>) {
          ComPtr<IUnknown> object = unwrap(stored);
          variant.vt = object ? VT_UNKNOWN : VT_NULL;
          variant.punkVal = object.Detach();
        } else if constexpr (std::is_same_v<T, std::vector<std::wstring>>) {
          variant.parray = MakeTextArray(stored);
          variant.vt = VT_ARRAY | VT_BSTR;
        } else if constexpr (std::is_same_v<T, std::vector<bool>>) {
          std::vector<VARIANT_BOOL> flags;
          for (const bool flag : stored) {
            flags.push_back(flag ? VARIANT_TRUE : VARIANT_FALSE);
          }
          variant.parray = MakeArray(VT_BOOL, flags);
          variant.vt = VT_ARRAY | VT_BOOL;
        } else if constexpr (std::is_same_v<T, std::vector<WmiObjectPtr>>) {
          variant.parray = MakeObjectArray(stored, unwrap);
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
