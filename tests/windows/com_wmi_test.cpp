// The COM backend against a WMI that no one here wrote: Wine's "root\cimv2".
#include <gtest/gtest.h>
#include "platform/windows_api.h"

#include "com_status_of.h"
#include "quorvane/exceptions.h"
#include "status_of.h"
#include "wmi/com/com_wmi.h"

namespace quorvane::com {
namespace {

using quorvane::testing::ComStatusOf;
using quorvane::testing::StatusOf;

class ComEnvironment : public ::testing::Environment {
 public:
  // The multithreaded apartment: under Wine the WMI interfaces have no proxies, so a second
  // thread must share the apartment to use the connection.
  void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  void TearDown() override { CoUninitialize(); }
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new ComEnvironment);

class ComWmiTest : public ::testing::Test {
 protected:
  std::shared_ptr<WmiService> service_ = WmiService::Connect({L"", L"", L"", L"root\\cimv2"});
};

TEST_F(ComWmiTest, QueriesWithAndWithoutResults) {
  const auto systems = service_->ExecQuery(L"SELECT * FROM Win32_OperatingSystem");
  ASSERT_EQ(systems.size(), 1u);
  EXPECT_FALSE(systems[0]->GetProperty(L"Caption").AsWideString().empty());
  EXPECT_EQ(systems[0]->GetRelPath(), L"Win32_OperatingSystem");
  EXPECT_TRUE(
      service_->ExecQuery(L"SELECT * FROM Win32_Process WHERE Name = \"no-such.exe\"").empty());
  const auto empty = [&] {
    try {
      service_->QueryFirst(L"Win32_Printer");
    } catch (const ObjectNotFoundException& e) {
      return std::wstring(e.GetMessageDescription());
    }
    return std::wstring();
  }();
  EXPECT_EQ(empty, L"Cannot found instance for: Win32_Printer");
}

TEST_F(ComWmiTest, PropertiesThroughTheValueConversion) {
  const auto system = service_->QueryFirst(L"Win32_OperatingSystem");
  EXPECT_EQ(system->GetProperty(L"OSType").Kind(), WmiKind::Int32);               // uint16
  EXPECT_EQ(system->GetProperty(L"FreePhysicalMemory").Kind(), WmiKind::String);  // uint64
  EXPECT_GT(system->GetProperty(L"FreePhysicalMemory").AsInteger(), 0);
  EXPECT_EQ(system->GetProperty(L"Primary").Kind(), WmiKind::Boolean);
  EXPECT_EQ(StatusOf([&] { system->GetProperty(L"NoSuchProperty"); }), 0x80041002u);
  EXPECT_FALSE(system->GetPropertyNames().empty());
}

TEST_F(ComWmiTest, MalformedQueryAndUnknownObjects) {
  EXPECT_EQ(StatusOf([&] { service_->ExecQuery(L"SELEC * FRM"); }), 0x80041017u);
  EXPECT_NE(StatusOf([&] { service_->GetObject(L"Win32_NoSuchClass"); }), 0u);
}

TEST_F(ComWmiTest, MethodsAndSpawnedInstances) {
  const auto process = service_->QueryFirst(L"Win32_Process");
  const auto method = process->CreateMethod(L"Create");
  ASSERT_NE(method->GetInParameters(), nullptr);
  EXPECT_EQ(ComStatusOf([&] { method->GetOutParameter(L"ReturnValue"); }),
            static_cast<HResult>(E_POINTER));
  EXPECT_NE(service_->SpawnInstance(L"Win32_Process"), nullptr);
  EXPECT_EQ(StatusOf([&] { service_->SpawnInstance(L"Win32_NoSuchClass"); }) & 0xFFFF0000u,
            0x80040000u);
}

DWORD WINAPI QueryFromAnotherThread(void* context) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  auto* service = static_cast<WmiService*>(context);
  DWORD found = 0;
  try {
    found = static_cast<DWORD>(service->ExecQuery(L"SELECT * FROM Win32_OperatingSystem").size());
  } catch (...) {
    found = 0;
  }
  CoUninitialize();
  return found;
}

TEST_F(ComWmiTest, AnotherThreadUsesTheConnectionThroughTheGlobalInterfaceTable) {
  HANDLE thread = CreateThread(nullptr, 0, QueryFromAnotherThread, service_.get(), 0, nullptr);
  ASSERT_NE(thread, nullptr);
  WaitForSingleObject(thread, INFINITE);
  DWORD found = 0;
  GetExitCodeThread(thread, &found);
  CloseHandle(thread);
  EXPECT_EQ(found, 1u);
}

}  // namespace
}  // namespace quorvane::com
