#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::FaultKind;
using sim::SimulatedHost;

TEST(EntryPointsTest, PlainCreateReportsCodesAndLetsNothingEscape) {
  auto host = NewHost();
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, nullptr), 0xFFFFFFFFu);
  EXPECT_TRUE(host.CallLog().empty()) << "a null out must connect nothing";

  IQuorvane* root = nullptr;
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, &root), 0u);
  ASSERT_NE(root, nullptr);
  root->Release();

  host.FailOperations(L"Connect", L"", 0x800706BAu);
  EXPECT_EQ(host.CreateQuorvane(L"HV-HOST01", L"admin", L"pw", &root), 0x800706BAu);
  host.FailOperations(L"Connect", L"virtualization", 0x8004100Eu);
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, &root), 0x8004100Eu);
  host.FailOperations(L"ExecQuery", L"", 0x80070005u);
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, &root), 0x80070005u);
}

// A failure inside the host that is not a WMI status reaches the library only when the two
// share a process without COM between them: COM carries nothing but a status.
constexpr const char* kNotAcrossCom = "a host failure that is not a WMI status cannot cross COM";

TEST(EntryPointsTest, PlainCreateGivesTheLibraryCodeForOtherFailures) {
  if (kThroughCom) {
    GTEST_SKIP() << kNotAcrossCom;
  }
  auto host = NewHost();
  IQuorvane* root = nullptr;
  host.FailOperations(L"Connect", L"virtualization", 0x8007000Eu, 1, FaultKind::ComError);
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, &root), 0xFFFFFFFFu);
  host.FailOperations(L"ExecQuery", L"", 0u, 1, FaultKind::StandardException);
  EXPECT_EQ(host.CreateQuorvane(nullptr, nullptr, nullptr, &root), 0xFFFFFFFFu);
}

TEST(EntryPointsTest, ThrowingCreatePassesExceptionsOnAsThePartsSay) {
  auto host = NewHost();
  host.FailOperations(L"Connect", L"", 0x800706BAu);
  EXPECT_THROW(host.CreateQuorvane(L"HV-HOST01"), CannotConnectException);
  host.FailOperations(L"Connect", L"virtualization", 0x8004100Eu);
  EXPECT_THROW(host.CreateQuorvane(), HyperVNotFoundException);
}

TEST(EntryPointsTest, ThrowingCreateTurnsStandardExceptionsIntoUnknown) {
  if (kThroughCom) {
    GTEST_SKIP() << kNotAcrossCom;
  }
  auto host = NewHost();
  // A standard exception becomes "Unknown"; anything else goes on as it is.
  host.FailOperations(L"ExecQuery", L"", 0u, 1, FaultKind::StandardException);
  const auto unknown = Raised([&] { host.CreateQuorvane(); });
  EXPECT_EQ(unknown.GetErrorCode(), 0xFFFFFFFFu);
  EXPECT_STREQ(unknown.GetMessageDescription(), L"Unknown");
  host.FailOperations(L"Connect", L"virtualization", 0x8007000Eu, 1, FaultKind::ComError);
  bool otherEscaped = false;
  try {
    host.CreateQuorvane();
  } catch (const DefaultException&) {
    ADD_FAILURE() << "a COM error is not a library exception";
  } catch (...) {
    otherEscaped = true;
  }
  EXPECT_TRUE(otherEscaped);
}

TEST(EntryPointsTest, ExportedEntryPointsWithoutWmi) {
  if (kThroughCom) {
    GTEST_SKIP() << "this process's WMI is the served simulated host";
  }
  // This platform has no WMI: the locator cannot be created.
  IQuorvane* root = nullptr;
  EXPECT_EQ(::CreateQuorvaneLocal(&root), 0x80040154u);
  EXPECT_EQ(root, nullptr);
  EXPECT_EQ(::CreateQuorvaneRemote(L"host", L"user", L"pw", nullptr), 0xFFFFFFFFu);
  EXPECT_THROW(quorvane::CreateQuorvaneLocal(), DefaultException);

  auto factory = Own(quorvane::CreateQuorvaneFactory());
  ASSERT_NE(factory, nullptr);
  const auto raised = Raised([&] { factory->CreateRemote(L"host", nullptr, nullptr); });
  EXPECT_EQ(raised.GetErrorCode(), 0x80040154u);
  Own(::CreateQuorvaneFactory());
}

TEST(EntryPointsTest, GetExceptionInfo) {
  const VmNotFoundException e(0xFFFFFFFFu, L"Cannot find machine: x");
  std::uint32_t code = 7;
  const wchar_t* message = L"untouched";
  quorvane::GetExceptionInfo(nullptr, &code, &message);
  EXPECT_EQ(code, 7u);
  EXPECT_STREQ(message, L"untouched");
  ::GetExceptionInfo(&e, &code, nullptr);
  EXPECT_EQ(code, 0xFFFFFFFFu);
  quorvane::GetExceptionInfo(&e, nullptr, &message);
  EXPECT_STREQ(message, L"Cannot find machine: x");
}

}  // namespace
}  // namespace quorvane::testing
