#include "quorvane/exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace quorvane {
namespace {

TEST(DefaultExceptionTest, NullMessageGivesEmptyTextAndKeepsCode) {
  const DefaultException e(0x1234u, nullptr);
  EXPECT_EQ(e.GetErrorCode(), 0x1234u);
  ASSERT_NE(e.GetMessageDescription(), nullptr);
  EXPECT_STREQ(e.GetMessageDescription(), L"");
  EXPECT_STREQ(e.what(), "");
}

TEST(DefaultExceptionTest, NarrowTextIsTheWideMessageInUtf8) {
  const DefaultException e(1u, L"Cannot find machine: caf\u00e9");
  EXPECT_STREQ(e.what(), "Cannot find machine: caf\xc3\xa9");
}

TEST(DefaultExceptionTest, CopiesShareOneDetailRecordThatOutlivesTheOriginal) {
  auto original = std::make_unique<VmNotFoundException>(7u, L"Cannot find vm with id: x");
  const VmNotFoundException copy(*original);
  const wchar_t* shared = original->GetMessageDescription();
  EXPECT_EQ(copy.GetMessageDescription(), shared);
  original.reset();
  EXPECT_STREQ(copy.GetMessageDescription(), L"Cannot find vm with id: x");
  EXPECT_EQ(copy.GetErrorCode(), 7u);

  DefaultException assigned(0u, nullptr);
  assigned = copy;
  EXPECT_EQ(assigned.GetMessageDescription(), copy.GetMessageDescription());
}

TEST(DefaultExceptionTest, HierarchyCatchesSelectively) {
  try {
    throw VmNotFoundException(kLibraryErrorCode, L"Cannot find machine: a");
  } catch (const ObjectNotFoundException& e) {
    EXPECT_EQ(e.GetErrorCode(), kLibraryErrorCode);
  }
  try {
    throw HyperVNotFoundException(0x8004100Eu, L"Invalid namespace");
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Invalid namespace");
  }
  EXPECT_THROW(throw AccessDeniedException(5u, nullptr), DefaultException);
  EXPECT_THROW(throw CannotConnectException(5u, nullptr), DefaultException);
}

}  // namespace
}  // namespace quorvane
