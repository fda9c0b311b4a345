#include "errors/status.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "quorvane/exceptions.h"

namespace quorvane {
namespace {

template <typename Expected, typename Action>
Expected CatchAs(Action action) {
  try {
    action();
  } catch (const Expected& e) {
    return e;
  } catch (...) {
    ADD_FAILURE() << "a different exception was raised";
    throw;
  }
  ADD_FAILURE() << "nothing was raised";
  throw std::logic_error("nothing was raised");
}

TEST(ThrowForStatusTest, PicksTheExceptionTypeByStatus) {
  const auto denied =
      CatchAs<AccessDeniedException>([] { ThrowForStatus(status::kAccessDenied, L"x"); });
  EXPECT_EQ(denied.GetErrorCode(), 0x80070005u);
  EXPECT_STREQ(denied.GetMessageDescription(), L"x");

  const auto rpc =
      CatchAs<CannotConnectException>([] { ThrowForStatus(status::kRpcServerUnavailable, L""); });
  EXPECT_EQ(rpc.GetErrorCode(), 0x800706BAu);

  const auto ns =
      CatchAs<HyperVNotFoundException>([] { ThrowForStatus(status::kWbemInvalidNamespace, L""); });
  EXPECT_EQ(ns.GetErrorCode(), 0x8004100Eu);

  // WBEM's own access-denied status is not E_ACCESSDENIED and stays a plain failure.
  try {
    ThrowForStatus(status::kWbemAccessDenied, L"");
  } catch (const AccessDeniedException&) {
    ADD_FAILURE() << "0x80041003 must not be reported as E_ACCESSDENIED";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 0x80041003u);
  }
}

TEST(ThrowIfFailedTest, SuccessCodesPassAndFailuresCarrySystemText) {
  EXPECT_NO_THROW(ThrowIfFailed(0));
  EXPECT_NO_THROW(ThrowIfFailed(1));  // S_FALSE
  const auto e = CatchAs<AccessDeniedException>([] { ThrowIfFailed(status::kAccessDenied); });
  EXPECT_STREQ(e.GetMessageDescription(), L"Access is denied.");
}

TEST(ThrowIfWmiFailedTest, UsesWmiTextAndFallsBackToSystemText) {
  const auto wmi = CatchAs<DefaultException>([] { ThrowIfWmiFailed(status::kWbemNotFound); });
  EXPECT_EQ(wmi.GetErrorCode(), 0x80041002u);
  EXPECT_STREQ(wmi.GetMessageDescription(), L"Not found ");

  const auto rpc =
      CatchAs<CannotConnectException>([] { ThrowIfWmiFailed(status::kRpcServerUnavailable); });
  EXPECT_STREQ(rpc.GetMessageDescription(), L"The RPC server is unavailable.");
}

TEST(MessageTextTest, SystemTextLosesItsLineEnd) {
  EXPECT_EQ(SystemMessageText(status::kFail), L"Unspecified error");
  EXPECT_EQ(SystemMessageText(status::kOutOfMemory),
            L"Not enough memory resources are available to complete this operation.");
}

TEST(MessageTextTest, FallbackFormatsWhenTheSystemHasNoText) {
  EXPECT_EQ(SystemMessageText(ToHResult(0x80040205)), L"IDispatch error #5");
  EXPECT_EQ(SystemMessageText(ToHResult(0x80040200)), L"Unknown error 0x80040200");
  EXPECT_EQ(SystemMessageText(ToHResult(0x8004FFFF)), L"IDispatch error #65023");
  EXPECT_EQ(SystemMessageText(ToHResult(0x80050000)), L"Unknown error 0x80050000");
  EXPECT_EQ(SystemMessageText(0x1234), L"Unknown error 0x1234");
  // WMI statuses without a WMI text fall through to the system's fallback.
  EXPECT_EQ(WmiMessageText(ToHResult(0x8004107F)), L"IDispatch error #3711");
}

TEST(ThrowIfWin32ErrorTest, MapsPositiveCodesIntoTheWin32Range) {
  EXPECT_NO_THROW(ThrowIfWin32Error(0));
  const auto denied = CatchAs<AccessDeniedException>([] { ThrowIfWin32Error(5); });
  EXPECT_EQ(denied.GetErrorCode(), 0x80070005u);
  const auto rpc = CatchAs<CannotConnectException>([] { ThrowIfWin32Error(1722); });
  EXPECT_EQ(rpc.GetErrorCode(), 0x800706BAu);
  const auto kept = CatchAs<DefaultException>([] { ThrowIfWin32Error(status::kWbemNotFound); });
  EXPECT_EQ(kept.GetErrorCode(), 0x80041002u);
  // Only the low 16 bits of a positive code survive the mapping.
  const auto masked = CatchAs<DefaultException>([] { ThrowIfWin32Error(0x10005); });
  EXPECT_EQ(masked.GetErrorCode(), 0x80070005u);
}

TEST(ThrowIfWin32ErrorTest, ConditionalFormsRaiseOnlyWhenTheConditionHolds) {
  EXPECT_NO_THROW(ThrowIfWin32Error(false, 5));
  EXPECT_THROW(ThrowIfWin32Error(true, 5), AccessDeniedException);
  const auto zero = CatchAs<DefaultException>([] { ThrowIfWin32Error(true, 0); });
  EXPECT_EQ(zero.GetErrorCode(), 0u);

  errno = 5;
  EXPECT_NO_THROW(ThrowIfWin32Error(false));
  EXPECT_THROW(ThrowIfWin32Error(true), AccessDeniedException);
}

TEST(ThrowLibraryErrorTest, UsesTheLibraryCode) {
  const auto e = CatchAs<DefaultException>([] { ThrowLibraryError(L"Cannot find controller"); });
  EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFFu);
  EXPECT_STREQ(e.GetMessageDescription(), L"Cannot find controller");
}

}  // namespace
}  // namespace quorvane
