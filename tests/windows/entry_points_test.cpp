// The exported entry points on a Windows without Hyper-V (Wine has no virtualization namespace).
#include <gtest/gtest.h>

#include "quorvane/quorvane.h"

namespace quorvane {
namespace {

TEST(WindowsEntryPointsTest, NoHyperVNamespace) {
  try {
    quorvane::CreateQuorvaneLocal();
    FAIL() << "expected HyperVNotFoundException";
  } catch (const HyperVNotFoundException& e) {
    EXPECT_EQ(e.GetErrorCode(), 0x8004100Eu);
  }
  IQuorvane* root = nullptr;
  EXPECT_EQ(::CreateQuorvaneLocal(&root), 0x8004100Eu);
  EXPECT_EQ(root, nullptr);
}

TEST(WindowsEntryPointsTest, UnreachableRemoteHost) {
  try {
    quorvane::CreateQuorvaneRemote(L"no-such-host", L"user", L"password");
    FAIL() << "expected a library exception";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode() & 0xFFFF0000u, 0x80040000u) << std::hex << e.GetErrorCode();
  }
}

}  // namespace
}  // namespace quorvane
