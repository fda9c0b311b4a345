// What quorvane.dll's COM code hands to WMI beyond what the host's call log shows: security
// blankets, connection and query flags, method signatures, the text form's context.
#include <objbase.h>

#include <algorithm>

#include "public/public_fixture.h"
#include "simhost/com/served_host.h"

namespace quorvane::testing {
namespace {

using sim::com::ClearServedComDetails;
using sim::com::ServedComDetails;

constexpr wchar_t kLocalBlanket[] =
    L"SetBlanket authentication=10 authorization=0 principal=null level=3 impersonation=3 "
    L"identity=null capabilities=0";
constexpr wchar_t kRemoteBlanket[] =
    L"SetBlanket authentication=10 authorization=0 principal=null level=6 impersonation=3 "
    L"identity=null capabilities=0";

std::vector<std::wstring> DetailsWith(const std::wstring& part) {
  std::vector<std::wstring> found;
  for (const auto& detail : ServedComDetails()) {
    if (detail.find(part) != std::wstring::npos) {
      found.push_back(detail);
    }
  }
  return found;
}

bool Ends(const std::wstring& text, const std::wstring& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class ComBackendTest : public ::testing::Test {
 protected:
  // Not tracked: these tests run through COM only, so there is no direct run to compare with.
  ComBackendTest() : host_(sim::SimulatedHost::Create()) {
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 3});
    ClearServedComDetails();
  }

  // Every blanket the library set ends as `expected`, and there was at least one on services.
  void ExpectBlankets(const wchar_t* expected) {
    const auto blankets = DetailsWith(L"SetBlanket");
    ASSERT_FALSE(DetailsWith(L"Services root\\virtualization\\v2 SetBlanket").empty());
    for (const auto& blanket : blankets) {
      EXPECT_TRUE(Ends(blanket, expected)) << std::string(blanket.begin(), blanket.end());
    }
  }

  sim::SimulatedHost host_;
  std::wstring machine_;
};

TEST_F(ComBackendTest, LocalConnectionsAuthenticateAtTheCallLevel) {
  auto root = Own(host_.CreateQuorvane());
  auto machines = Own(root->CreateMachineEnumerator());
  ExpectBlankets(kLocalBlanket);
  EXPECT_EQ(
      DetailsWith(L"ConnectServer"),
      std::vector<std::wstring>(2,
                                L"ConnectServer flags=0x80 user=null password=null authority=null "
                                L"context=null"));
  const auto queries = DetailsWith(L"ExecQuery");
  ASSERT_FALSE(queries.empty());
  EXPECT_TRUE(std::all_of(queries.begin(), queries.end(),
                          [](const std::wstring& q) { return q == L"ExecQuery flags=0x30"; }));
}

TEST_F(ComBackendTest, RemoteConnectionsUsePacketPrivacyAndPassTheCredentials) {
  auto root = Own(host_.CreateQuorvane(L"HV-HOST01", L"admin", L"pw"));
  auto machines = Own(root->CreateMachineEnumerator());
  ExpectBlankets(kRemoteBlanket);
  EXPECT_EQ(DetailsWith(L"ConnectServer").front(),
            L"ConnectServer flags=0x80 user=text password=text authority=null context=null");
}

TEST_F(ComBackendTest, DefiningAMachineSignaturesSpawnedInstancesAndTheirTexts) {
  auto root = Own(host_.CreateQuorvane());
  ExpectBlankets(kLocalBlanket);
  ClearServedComDetails();
  auto builder = Own(root->CreateMachineBuilder());
  builder->SetName(L"db");
  builder->Commit();
  // The class object that SpawnInstance fetches gets the blanket as well as the instance.
  EXPECT_EQ(DetailsWith(L"Object Msvm_VirtualSystemSettingData SetBlanket").size(), 2u);
  EXPECT_EQ(DetailsWith(L"GetMethod DefineSystem"),
            std::vector<std::wstring>{L"GetMethod DefineSystem in=asked out=asked"});
  const std::vector<std::wstring> context = {
      L"Context LocalOnly=FALSE", L"Context IncludeQualifiers=TRUE",
      L"Context IncludeClassOrigin=TRUE", L"Context ExcludeSystemProperties=FALSE"};
  const auto details = ServedComDetails();
  const auto first = std::search(details.begin(), details.end(), context.begin(), context.end());
  ASSERT_NE(first, details.end()) << "the text form's context, in order";
  ASSERT_NE(first + 4, details.end());
  EXPECT_EQ(*(first + 4), L"GetText format=2 context=set");
}

TEST_F(ComBackendTest, RecoveryCheckpointRenameIsWrittenBackUpdateOnly) {
  auto root = Own(host_.CreateQuorvane());
  auto snapshots = Own(root->CreateSnapshotManagement(machine_.c_str()));
  snapshots->CreateRecoverySnapshot(true, nullptr);
  EXPECT_EQ(DetailsWith(L"PutInstance"), std::vector<std::wstring>{L"PutInstance flags=0x1"});
}

// The connection sits in the global interface table as IWbemServices (the served objects are
// free-threaded), so a thread in an apartment of its own uses it through the table's main path.
struct ThreadWork {
  IQuorvane* root;
  std::wstring name;
};

DWORD WINAPI ListFromAnotherThread(void* context) {
  auto* work = static_cast<ThreadWork*>(context);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  try {
    auto machines = Own(work->root->CreateMachineEnumerator());
    work->name = machines->Next() ? machines->GetName() : L"none";
  } catch (const DefaultException& e) {
    work->name = e.GetMessageDescription();
  }
  CoUninitialize();
  return 0;
}

TEST_F(ComBackendTest, AnotherThreadUsesTheConnection) {
  auto root = Own(host_.CreateQuorvane());
  ThreadWork work{root.get(), L""};
  HANDLE thread = CreateThread(nullptr, 0, ListFromAnotherThread, &work, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  EXPECT_EQ(work.name, L"web");
}

}  // namespace
}  // namespace quorvane::testing
