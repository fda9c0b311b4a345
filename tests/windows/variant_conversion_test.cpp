// VARIANT <-> value conversion without loss, for every kind WMI hands over.
#include "wmi/com/variant_conversion.h"
#include "quorvane/exceptions.h"

#include <gtest/gtest.h>

namespace quorvane::com {
namespace {

WmiValue RoundTrip(const WmiValue& value) {
  ScopedVariant variant;
  ToVariant(value, *variant.get(), [](const WmiObjectPtr&) { return ComPtr<IUnknown>(); });
  return FromVariant(variant.ref(), [](IUnknown*) { return WmiObjectPtr(); });
}

TEST(VariantConversionTest, ScalarsAndArraysSurviveTheTrip) {
  const WmiValue values[] = {
      WmiValue(),
      WmiValue::Boolean(true),
      WmiValue::UInt8(200),
      WmiValue::Int16(-300),
      WmiValue::Int32(-7),
      WmiValue::Real32(1.5f),
      WmiValue::Real64(-2.25),
      WmiValue::String(L"text with \u00e9"),
      WmiValue::UInt64(18446744073709551615ull),
      WmiValue::Array(std::vector<std::wstring>{L"a", L"", L"c"}),
      WmiValue::Array(std::vector<std::uint8_t>{0, 255}),
      WmiValue::Array(std::vector<std::int16_t>{-1, 2}),
      WmiValue::Array(std::vector<std::int32_t>{-1, 2}),
      WmiValue::Array(std::vector<bool>{true, false}),
      WmiValue::Array(std::vector<double>{0.5}),
      WmiValue::Array(std::vector<std::wstring>{}),
  };
  for (const auto& value : values) {
    EXPECT_EQ(RoundTrip(value), value);
  }
}

TEST(VariantConversionTest, KindsOfWhatComHandsOver) {
  ScopedVariant variant;
  variant.get()->vt = VT_UI4;
  variant.get()->ulVal = 0xFFFFFFFFu;
  EXPECT_EQ(FromVariant(variant.ref(), nullptr), WmiValue::Int32(-1));
  ScopedVariant wide;
  wide.get()->vt = VT_UI8;
  wide.get()->ullVal = 42;
  EXPECT_EQ(FromVariant(wide.ref(), nullptr), WmiValue::String(L"42"));
  ScopedVariant unknown;
  unknown.get()->vt = VT_CY;
  EXPECT_THROW(FromVariant(unknown.ref(), nullptr), DefaultException);

  // Any VARIANT_BOOL other than VARIANT_FALSE is true, as COM reads one, not only -1.
  ScopedVariant flags;
  flags.get()->vt = VT_ARRAY | VT_BOOL;
  flags.get()->parray = SafeArrayCreateVector(VT_BOOL, 0, 3);
  ASSERT_NE(flags.get()->parray, nullptr);
  const VARIANT_BOOL items[] = {1, VARIANT_FALSE, VARIANT_TRUE};
  for (LONG i = 0; i < 3; ++i) {
    ASSERT_EQ(SafeArrayPutElement(flags.get()->parray, &i, const_cast<VARIANT_BOOL*>(&items[i])),
              S_OK);
  }
  EXPECT_EQ(FromVariant(flags.ref(), nullptr),
            WmiValue::Array(std::vector<bool>{true, false, true}));
}

// An object that only counts its references (it lives on the stack: no virtual destructor).
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class Counted final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid != __uuidof(IUnknown)) {
      *out = nullptr;
      return E_NOINTERFACE;
    }
    *out = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  ULONG references = 1;
};

TEST(VariantConversionTest, ObjectsInAVariantHoldAReferenceEachUntilItIsCleared) {
  Counted first;
  Counted second;
  Counted* objects[] = {&first, &second};
  std::size_t next = 0;
  const auto unwrap = [&](const WmiObjectPtr&) { return ComPtr<IUnknown>(objects[next++]); };
  {
    ScopedVariant array;
    ToVariant(WmiValue::Array(std::vector<WmiObjectPtr>(2)), *array.get(), unwrap);
    EXPECT_EQ(array.ref().vt, VT_ARRAY | VT_UNKNOWN);
    EXPECT_EQ(first.references, 2u);
    EXPECT_EQ(second.references, 2u);
    std::size_t wrapped = 0;
    FromVariant(array.ref(), [&](IUnknown* object) {
      EXPECT_EQ(object, objects[wrapped++]);
      return WmiObjectPtr();
    });
    EXPECT_EQ(wrapped, 2u);
    EXPECT_EQ(first.references, 2u) << "reading takes no reference of its own";
  }
  EXPECT_EQ(first.references, 1u);
  EXPECT_EQ(second.references, 1u);

  next = 0;
  {
    ScopedVariant single;
    ToVariant(WmiValue::Object(WmiObjectPtr()), *single.get(), unwrap);
    EXPECT_EQ(first.references, 2u);
  }
  EXPECT_EQ(first.references, 1u);
}

}  // namespace
}  // namespace quorvane::com
