// The simulated host as any WMI client sees it through COM, without the library: what a
// property's type and qualifiers are, copies and text of objects, semi-synchronous calls, and
// instances that only the host's methods delete.
#include "platform/windows_api.h"

#include <objbase.h>
#include <wbemidl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/com_holders.h"
#include "quorvane/simulated_host.h"

namespace quorvane::testing {
namespace {

using com::ComPtr;
using com::ScopedVariant;
using com::UniqueBstr;

constexpr HRESULT Wbem(WBEMSTATUS status) {
  return static_cast<HRESULT>(status);
}

class ServedObjectsTest : public ::testing::Test {
 protected:
  ServedObjectsTest() : host_(sim::SimulatedHost::Create()) {
    const std::wstring id = host_.AddMachine({.name = L"web", .enabledState = 3});
    path_ = L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\",Name=\"" + id + L"\"";
    // The host is served as this process's WMI once a root is made on it.
    delete host_.CreateQuorvane();
  }

  void SetUp() override {
    ComPtr<IWbemLocator> locator;
    ASSERT_EQ(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                               reinterpret_cast<void**>(locator.GetAddressOf())),
              S_OK);
    const UniqueBstr nameSpace(std::wstring(L"root\\virtualization\\v2"));
    ASSERT_EQ(locator->ConnectServer(nameSpace.get(), nullptr, nullptr, nullptr, 0, nullptr,
                                     nullptr, services_.GetAddressOf()),
              S_OK);
  }

  ComPtr<IWbemClassObject> Get(const std::wstring& path) {
    const UniqueBstr text(path);
    ComPtr<IWbemClassObject> object;
    EXPECT_EQ(services_->GetObject(text.get(), 0, nullptr, object.GetAddressOf(), nullptr), S_OK);
    return object;
  }

  sim::SimulatedHost host_;
  std::wstring path_;
  ComPtr<IWbemServices> services_;
};

std::wstring TextOf(const VARIANT& value) {
  return value.vt == VT_BSTR ? std::wstring(value.bstrVal, SysStringLen(value.bstrVal)) : L"?";
}

TEST_F(ServedObjectsTest, PropertiesTellTheirTypeOriginAndQualifiers) {
  const auto vm = Get(path_);
  ASSERT_TRUE(vm);
  struct Expected {
    const wchar_t* name;
    CIMTYPE type;
    LONG flavor;
  };
  for (const Expected& expected : {
           Expected{L"EnabledState", CIM_UINT16, WBEM_FLAVOR_ORIGIN_LOCAL},
           Expected{L"OnTimeInMilliseconds", CIM_UINT64, WBEM_FLAVOR_ORIGIN_LOCAL},
           Expected{L"InstallDate", CIM_DATETIME, WBEM_FLAVOR_ORIGIN_LOCAL},
           Expected{L"ProcessID", CIM_UINT32, WBEM_FLAVOR_ORIGIN_PROPAGATED},  // off: none
           Expected{L"OperationalStatus", CIM_UINT16 | CIM_FLAG_ARRAY, WBEM_FLAVOR_ORIGIN_LOCAL},
           Expected{L"__PATH", CIM_STRING, WBEM_FLAVOR_ORIGIN_SYSTEM},
           Expected{L"__GENUS", CIM_SINT32, WBEM_FLAVOR_ORIGIN_SYSTEM},
       }) {
    ScopedVariant value;
    CIMTYPE type = 0;
    LONG flavor = -1;
    EXPECT_EQ(vm->Get(expected.name, 0, value.get(), &type, &flavor), S_OK) << expected.name;
    EXPECT_EQ(type, expected.type) << expected.name;
    EXPECT_EQ(flavor, expected.flavor) << expected.name;
  }

  ComPtr<IWbemQualifierSet> qualifiers;
  ASSERT_EQ(vm->GetPropertyQualifierSet(L"Name", qualifiers.GetAddressOf()), S_OK);
  qualifiers->BeginEnumeration(0);
  std::vector<std::wstring> seen;
  while (true) {
    UniqueBstr name;
    ScopedVariant value;
    LONG flavor = 0;
    const HRESULT next = qualifiers->Next(0, name.put(), value.get(), &flavor);
    if (next == WBEM_S_NO_MORE_DATA) {
      break;
    }
    ASSERT_EQ(next, S_OK);
    EXPECT_EQ(flavor & WBEM_FLAVOR_MASK_ORIGIN, WBEM_FLAVOR_ORIGIN_PROPAGATED);
    seen.push_back(name.str() + L"=" +
                   (value.ref().vt == VT_BOOL
                        ? std::wstring(value.ref().boolVal ? L"true" : L"false")
                        : TextOf(value.ref())));
  }
  qualifiers->EndEnumeration();
  EXPECT_EQ(seen, (std::vector<std::wstring>{L"CIMTYPE=string", L"key=true"}));

  ComPtr<IWbemQualifierSet> job;
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> cls = Get(L"Msvm_ComputerSystem");
  ASSERT_EQ(cls->GetMethod(L"RequestStateChange", 0, nullptr, signature.GetAddressOf()), S_OK);
  ASSERT_EQ(signature->GetPropertyQualifierSet(L"Job", job.GetAddressOf()), S_OK);
  ScopedVariant jobType;
  EXPECT_EQ(job->Get(L"CIMTYPE", 0, jobType.get(), nullptr), S_OK);
  EXPECT_EQ(TextOf(jobType.ref()), L"ref:CIM_ConcreteJob");
  EXPECT_EQ(job->Get(L"key", 0, jobType.put(), nullptr), Wbem(WBEM_E_NOT_FOUND));

  ComPtr<IWbemQualifierSet> none;
  EXPECT_EQ(vm->GetPropertyQualifierSet(L"__PATH", none.GetAddressOf()),
            Wbem(WBEM_E_SYSTEM_PROPERTY));
  EXPECT_EQ(vm->GetPropertyQualifierSet(L"NoSuchProperty", none.GetAddressOf()),
            Wbem(WBEM_E_NOT_FOUND));
}

TEST_F(ServedObjectsTest, ClonesChangeApartAndObjectsHaveTheirMofText) {
  const auto vm = Get(path_);
  ComPtr<IWbemClassObject> copy;
  ASSERT_EQ(vm->Clone(copy.GetAddressOf()), S_OK);
  ScopedVariant renamed;
  renamed.get()->vt = VT_BSTR;
  renamed.get()->bstrVal = SysAllocString(L"renamed");
  ASSERT_EQ(copy->Put(L"ElementName", 0, renamed.get(), 0), S_OK);
  ScopedVariant original;
  ASSERT_EQ(vm->Get(L"ElementName", 0, original.get(), nullptr, nullptr), S_OK);
  EXPECT_EQ(TextOf(original.ref()), L"web");

  UniqueBstr text;
  ASSERT_EQ(copy->GetObjectText(0, text.put()), S_OK);
  EXPECT_EQ(text.str().rfind(L"\ninstance of Msvm_ComputerSystem\n{\n", 0), 0u);
  EXPECT_NE(text.str().find(L"\tElementName = \"renamed\";\n"), std::wstring::npos);
}

TEST_F(ServedObjectsTest, SemiSynchronousCallsLeaveTheirOutcomeInTheCallResult) {
  const UniqueBstr path(path_);
  ComPtr<IWbemCallResult> result;
  ASSERT_EQ(services_->GetObject(path.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, nullptr,
                                 result.GetAddressOf()),
            S_OK);
  LONG status = -1;
  ASSERT_EQ(result->GetCallStatus(static_cast<LONG>(WBEM_INFINITE), &status), S_OK);
  EXPECT_EQ(status, S_OK);
  ComPtr<IWbemClassObject> vm;
  ASSERT_EQ(result->GetResultObject(static_cast<LONG>(WBEM_INFINITE), vm.GetAddressOf()), S_OK);
  ScopedVariant name;
  EXPECT_EQ(vm->Get(L"ElementName", 0, name.get(), nullptr, nullptr), S_OK);
  EXPECT_EQ(TextOf(name.ref()), L"web");

  // A failed call succeeds itself; its status is in the call result.
  const UniqueBstr missing(std::wstring(L"Msvm_ComputerSystem.Name=\"none\""));
  ComPtr<IWbemCallResult> failed;
  ASSERT_EQ(services_->GetObject(missing.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, nullptr,
                                 failed.GetAddressOf()),
            S_OK);
  ASSERT_EQ(failed->GetCallStatus(0, &status), S_OK);
  EXPECT_EQ(status, Wbem(WBEM_E_NOT_FOUND));
  ComPtr<IWbemClassObject> nothing;
  EXPECT_EQ(failed->GetResultObject(0, nothing.GetAddressOf()), Wbem(WBEM_E_NOT_FOUND));
  EXPECT_FALSE(nothing);

  // Semi-synchronously, the result goes only to the call result.
  EXPECT_EQ(services_->GetObject(path.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                 nothing.GetAddressOf(), failed.ReleaseAndGetAddressOf()),
            Wbem(WBEM_E_INVALID_PARAMETER));
  EXPECT_EQ(
      services_->GetObject(path.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, nullptr, nullptr),
      Wbem(WBEM_E_INVALID_PARAMETER));

  // A method's output parameters, the same way.
  ComPtr<IWbemClassObject> cls = Get(L"Msvm_ComputerSystem");
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> in;
  ASSERT_EQ(cls->GetMethod(L"RequestStateChange", 0, signature.GetAddressOf(), nullptr), S_OK);
  ASSERT_EQ(signature->SpawnInstance(0, in.GetAddressOf()), S_OK);
  ScopedVariant running;
  running.get()->vt = VT_I4;
  running.get()->lVal = 2;
  ASSERT_EQ(in->Put(L"RequestedState", 0, running.get(), 0), S_OK);
  const UniqueBstr method(std::wstring(L"RequestStateChange"));
  ComPtr<IWbemCallResult> started;
  ASSERT_EQ(services_->ExecMethod(path.get(), method.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                  in.Get(), nullptr, started.GetAddressOf()),
            S_OK);
  ComPtr<IWbemClassObject> out;
  ASSERT_EQ(started->GetResultObject(0, out.GetAddressOf()), S_OK);
  ScopedVariant returned;
  ASSERT_EQ(out->Get(L"ReturnValue", 0, returned.get(), nullptr, nullptr), S_OK);
  EXPECT_EQ(returned.ref().lVal, 4096);  // a job was started
}

TEST_F(ServedObjectsTest, InstancesOfAClassIncludeItsSubclassesAndKnowTheirAncestry) {
  const UniqueBstr base(std::wstring(L"CIM_ComputerSystem"));
  ComPtr<IEnumWbemClassObject> results;
  ASSERT_EQ(services_->CreateInstanceEnum(base.get(), 0, nullptr, results.GetAddressOf()), S_OK);
  std::vector<std::wstring> names;
  while (true) {
    ComPtr<IWbemClassObject> object;
    ULONG returned = 0;
    results->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.GetAddressOf(), &returned);
    if (returned == 0) {
      break;
    }
    ScopedVariant name;
    object->Get(L"ElementName", 0, name.get(), nullptr, nullptr);
    names.push_back(TextOf(name.ref()));
    EXPECT_EQ(object->InheritsFrom(L"cim_computersystem"), S_OK);
    EXPECT_EQ(object->InheritsFrom(L"Msvm_ComputerSystem"), WBEM_S_FALSE) << "not its own class";
  }
  EXPECT_NE(std::find(names.begin(), names.end(), L"web"), names.end());
  const UniqueBstr unknown(std::wstring(L"Msvm_NoSuchClass"));
  EXPECT_EQ(
      services_->CreateInstanceEnum(unknown.get(), 0, nullptr, results.ReleaseAndGetAddressOf()),
      Wbem(WBEM_E_INVALID_CLASS));
}

TEST_F(ServedObjectsTest, InstancesAreDeletedOnlyThroughTheHostsMethods) {
  const auto remove = [&](const std::wstring& path) {
    const UniqueBstr text(path);
    return services_->DeleteInstance(text.get(), 0, nullptr, nullptr);
  };
  EXPECT_EQ(remove(path_), Wbem(WBEM_E_PROVIDER_NOT_CAPABLE));
  EXPECT_EQ(remove(L"Msvm_NoSuchClass.Name=\"x\""), Wbem(WBEM_E_INVALID_CLASS));
  EXPECT_EQ(remove(L"Msvm_ComputerSystem.Name=\"open"), Wbem(WBEM_E_INVALID_OBJECT_PATH));
  EXPECT_TRUE(Get(path_)) << "still there";
}

}  // namespace
}  // namespace quorvane::testing
