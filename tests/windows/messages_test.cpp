// Message texts A and B from the system's message table and WMI's status-text object.
#include <gtest/gtest.h>

#include "errors/status.h"

namespace quorvane {
namespace {

TEST(WindowsMessagesTest, SystemAndWmiTexts) {
  const std::wstring denied = SystemMessageText(status::kAccessDenied);
  EXPECT_FALSE(denied.empty());
  EXPECT_NE(denied.back(), L'\n');
  EXPECT_NE(denied.back(), L'\r');
  EXPECT_FALSE(WmiMessageText(status::kWbemNotFound).empty());
  EXPECT_EQ(SystemMessageText(ToHResult(0x80050000)), L"Unknown error 0x80050000");
  EXPECT_EQ(SystemMessageText(ToHResult(0x80040205)), L"IDispatch error #5");
}

}  // namespace
}  // namespace quorvane
