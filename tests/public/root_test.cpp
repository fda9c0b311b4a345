#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

constexpr wchar_t kMarker[] = L"***###***fake***###***user***###***";

std::vector<std::wstring> ConnectUsers(const SimulatedHost& host) {
  std::vector<std::wstring> users;
  for (const auto& call : CallsOf(host, L"Connect")) {
    users.push_back(call.target + L" as " + call.Input(L"User"));
  }
  return users;
}

TEST(RootTest, LocalConnectsBothNamespacesWithoutCredentials) {
  auto host = NewHost();
  auto root = Own(host.CreateQuorvane());
  EXPECT_FALSE(root->IsRemoteWithCredentials());
  EXPECT_EQ(ConnectUsers(host),
            (std::vector<std::wstring>{L"\\\\.\\root\\virtualization\\v2 as ",
                                       L"\\\\.\\root\\microsoft\\windows\\hgs as "}));
}

TEST(RootTest, RemoteUserNamesAndTheMarker) {
  auto host = NewHost();
  EXPECT_TRUE(Own(host.CreateQuorvane(L"HV-HOST01", L"admin", L"pw"))->IsRemoteWithCredentials());
  host.ClearCallLog();
  EXPECT_FALSE(Own(host.CreateQuorvane(L"HV-HOST01", L"", L"pw"))->IsRemoteWithCredentials());
  EXPECT_EQ(CallsOf(host, L"Connect")[0].Input(L"User"), kMarker);
  host.ClearCallLog();
  Own(host.CreateQuorvane(L"HV-HOST01", nullptr, nullptr));
  EXPECT_EQ(CallsOf(host, L"Connect")[0].Input(L"User"), L"");
  host.ClearCallLog();
  Own(host.CreateQuorvane(nullptr, L"", L"pw"));
  EXPECT_EQ(CallsOf(host, L"Connect")[0].Input(L"User"), L"") << "no marker for the local host";
}

TEST(RootTest, MarkerRefusedRetriesWithTheEmptyUser) {
  auto host = NewHost();
  host.FailOperations(L"Connect", L"", 0x80041001u);
  auto root = Own(host.CreateQuorvane(L"HV-HOST01", L"", L"pw"));
  EXPECT_EQ(ConnectUsers(host),
            (std::vector<std::wstring>{
                L"\\\\HV-HOST01\\root\\virtualization\\v2 as " + std::wstring(kMarker),
                L"\\\\HV-HOST01\\root\\virtualization\\v2 as ",
                L"\\\\HV-HOST01\\root\\microsoft\\windows\\hgs as "}));
  // Without the marker the same failure goes to the caller.
  host.FailOperations(L"Connect", L"", 0x80041001u);
  EXPECT_EQ(Raised([&] { host.CreateQuorvane(L"HV-HOST01", L"admin", L"pw"); }).GetErrorCode(),
            0x80041001u);
}

TEST(RootTest, CredentialsRefusedLocallyReconnectWithoutThem) {
  auto host = NewHost();
  auto root = Own(host.CreateQuorvane(nullptr, L"admin", L"pw"));
  EXPECT_FALSE(root->IsRemoteWithCredentials());
  EXPECT_EQ(ConnectUsers(host),
            (std::vector<std::wstring>{L"\\\\.\\root\\virtualization\\v2 as admin",
                                       L"\\\\.\\root\\virtualization\\v2 as ",
                                       L"\\\\.\\root\\microsoft\\windows\\hgs as "}));
}

TEST(RootTest, RemoteFailuresThatAreNotRetried) {
  sim::HostOptions options;
  options.user = L"admin";
  options.password = L"secret";
  auto host = NewHost(options);
  EXPECT_THROW(host.CreateQuorvane(L"OTHER-HOST", L"admin", L"secret"), CannotConnectException);
  EXPECT_EQ(CallsOf(host, L"Connect").size(), 1u);
  EXPECT_THROW(host.CreateQuorvane(L"HV-HOST01", L"admin", L"wrong"), AccessDeniedException);
  EXPECT_NO_THROW(Own(host.CreateQuorvane(L"HV-HOST01", L"admin", L"secret")));
}

TEST(RootTest, HostWithoutHostGuardianStillWorks) {
  sim::HostOptions options;
  options.hostGuardian = false;
  auto host = NewHost(options);
  auto root = Own(host.CreateQuorvane());
  EXPECT_EQ(std::wstring(root->GetMaxVersion()), L"9.3");
  EXPECT_NE(Own(root->CreateMachineEnumerator()), nullptr);
}

TEST(RootTest, MaxVersionIsComparedAsText) {
  auto host = NewHost();
  auto root = Own(host.CreateQuorvane());
  EXPECT_STREQ(root->GetMaxVersion(), L"9.3");  // "10.0" sorts below "9.3"
  EXPECT_TRUE(root->SupportsVersion62());

  auto bare = NewHost(Bare());
  auto empty = Own(bare.CreateQuorvane());
  EXPECT_STREQ(empty->GetMaxVersion(), L"");
  EXPECT_FALSE(empty->SupportsVersion62());

  // Only 6.1 and 10.0 left: 6.1 wins as text, and 6.1 is not 6.2.
  for (const wchar_t* version : {L"8.0", L"8.1", L"8.2", L"8.3", L"9.0", L"9.1", L"9.2", L"9.3"}) {
    host.RemoveObject(
        std::wstring(L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:Version\\\\") +
        version + L"\"");
  }
  host.SetProperty(L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:Version\\\\10.0\"",
                   L"Version", L"6.1");
  EXPECT_FALSE(Own(host.CreateQuorvane())->SupportsVersion62());
}

// Code written against the factory runs unchanged on the simulated host's.
TEST(RootTest, FactoryOfTheSimulatedHost) {
  auto host = NewHost();
  host.AddMachine({.name = L"web"});
  const auto countMachines = [](IQuorvaneFactory& factory) {
    auto machines = Own(Own(factory.CreateLocal())->CreateMachineEnumerator());
    int count = 0;
    while (machines->Next()) {
      ++count;
    }
    return count;
  };
  auto factory = Own(host.CreateFactory());
  EXPECT_EQ(countMachines(*factory), 1);
  auto remote = Own(factory->CreateRemote(L"HV-HOST01", L"admin", L"pw"));
  EXPECT_TRUE(remote->IsRemoteWithCredentials());
  host.FailOperations(L"Connect", L"", 0x800706BAu);
  EXPECT_THROW(factory->CreateRemote(L"HV-HOST01", L"admin", L"pw"), CannotConnectException);
}

}  // namespace
}  // namespace quorvane::testing
