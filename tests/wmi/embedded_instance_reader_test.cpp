#include "wmi/embedded_instance_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quorvane/exceptions.h"

namespace quorvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What "GetVirtualHardDiskSettingData" hands back for a differencing VHDX.
constexpr wchar_t kDiskSettings[] =
    L"<INSTANCE CLASSNAME=\"Msvm_VirtualHardDiskSettingData\">"
    L"<PROPERTY NAME=\"BlockSize\" TYPE=\"uint32\"><VALUE>2097152</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"Caption\" PROPAGATED=\"true\" TYPE=\"string\"><VALUE>Virtual Hard Disk "
    L"Setting Data</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"Description\" PROPAGATED=\"true\" TYPE=\"string\"></PROPERTY>"
    L"<PROPERTY NAME=\"ElementName\" TYPE=\"string\"><VALUE>web_8A3F.avhdx</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"Format\" TYPE=\"uint16\"><VALUE>3</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"LogicalSectorSize\" TYPE=\"uint32\"><VALUE>512</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"MaxInternalSize\" TYPE=\"uint64\"><VALUE>2199023255552</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"ParentPath\" TYPE=\"string\"><VALUE>D:\\VMs\\web &amp; db\\web.vhdx</VALUE>"
    L"</PROPERTY>"
    L"<PROPERTY NAME=\"Path\" TYPE=\"string\"><VALUE>D:\\VMs\\web_8A3F.avhdx</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"Type\" TYPE=\"uint16\"><VALUE>4</VALUE></PROPERTY>"
    L"<PROPERTY NAME=\"VirtualDiskId\" TYPE=\"string\">"
    L"<VALUE>{5BFDE23B-CE75-4303-B54F-6C18394F105C}</VALUE></PROPERTY>"
    L"<PROPERTY.ARRAY NAME=\"Notes\" TYPE=\"string\"><VALUE.ARRAY><VALUE>first</VALUE>"
    L"<VALUE></VALUE><VALUE>caf\u00e9</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
    L"<PROPERTY.ARRAY NAME=\"Empty\" TYPE=\"string\"></PROPERTY.ARRAY>"
    L"<PROPERTY NAME=\"Type\" TYPE=\"uint16\"><VALUE>2</VALUE></PROPERTY>"
    L"</INSTANCE>";

class EmbeddedInstanceReaderTest : public ::testing::Test {
 protected:
  std::unique_ptr<IEmbeddedInstanceReader> reader_ = CreateEmbeddedInstanceReader();
};

TEST_F(EmbeddedInstanceReaderTest, ReadsDiskSettingsAsHyperVEmitsThem) {
  reader_->Load(kDiskSettings);
  EXPECT_EQ(reader_->GetClassName(), L"Msvm_VirtualHardDiskSettingData");
  EXPECT_EQ(reader_->GetString(L"Path"), L"D:\\VMs\\web_8A3F.avhdx");
  EXPECT_EQ(reader_->GetString(L"ParentPath"), L"D:\\VMs\\web & db\\web.vhdx");
  EXPECT_EQ(reader_->GetInt(L"Format"), 3);
  EXPECT_EQ(reader_->GetInt64(L"MaxInternalSize"), 2199023255552LL);
  EXPECT_EQ(reader_->GetString(L"VirtualDiskId"), L"{5BFDE23B-CE75-4303-B54F-6C18394F105C}");
  EXPECT_THAT(reader_->GetArray(L"Notes"), ElementsAre(L"first", L"", L"caf\u00e9"));
}

TEST_F(EmbeddedInstanceReaderTest, MissingAndEmptyValues) {
  reader_->Load(kDiskSettings);
  EXPECT_EQ(reader_->GetString(L"Description"), L"");  // PROPERTY without VALUE
  EXPECT_EQ(reader_->GetString(L"NoSuchProperty"), L"");
  EXPECT_EQ(reader_->GetInt(L"NoSuchProperty"), 0);
  EXPECT_EQ(reader_->GetInt64(L"ElementName"), 0);  // not a number
  EXPECT_THAT(reader_->GetArray(L"Empty"), IsEmpty());
  EXPECT_THAT(reader_->GetArray(L"NoSuchArray"), IsEmpty());
  EXPECT_EQ(reader_->GetString(L"path"), L"");  // names are exact
}

TEST_F(EmbeddedInstanceReaderTest, FirstValueOfARepeatedNameWins) {
  reader_->Load(kDiskSettings);
  EXPECT_EQ(reader_->GetInt(L"Type"), 4);
}

TEST_F(EmbeddedInstanceReaderTest, ReloadingReplacesTheTable) {
  reader_->Load(kDiskSettings);
  reader_->Load(
      L"<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"A\"><VALUE>1</VALUE></PROPERTY>"
      L"</INSTANCE>");
  EXPECT_EQ(reader_->GetClassName(), L"X");
  EXPECT_EQ(reader_->GetString(L"Path"), L"");
  EXPECT_EQ(reader_->GetInt(L"A"), 1);
}

TEST_F(EmbeddedInstanceReaderTest, TextThatIsNotXmlRaisesUnspecifiedError) {
  for (const wchar_t* text : {L"", L"<INSTANCE>", L"not xml at all", L"<A></B>", L"<A/><B/>"}) {
    try {
      reader_->Load(text);
      FAIL() << "expected an exception";
    } catch (const DefaultException& e) {
      EXPECT_EQ(e.GetErrorCode(), 0x80004005u);
    }
  }
  EXPECT_EQ(reader_->GetString(L"Path"), L"");
  EXPECT_EQ(reader_->GetClassName(), L"");
}

TEST_F(EmbeddedInstanceReaderTest, OtherDocumentsReadAsEmpty) {
  reader_->Load(L"<VALUE.NAMEDOBJECT><INSTANCE CLASSNAME=\"Y\"/></VALUE.NAMEDOBJECT>");
  EXPECT_EQ(reader_->GetClassName(), L"");
  EXPECT_THAT(reader_->GetArray(L"Notes"), IsEmpty());
}

TEST_F(EmbeddedInstanceReaderTest, DeeplyNestedTextEndsCleanly) {
  std::wstring text = L"<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"Deep\">";
  constexpr int kDepth = 50000;
  for (int i = 0; i < kDepth; ++i) {
    text += L"<V>";
  }
  text += L"bottom";
  for (int i = 0; i < kDepth; ++i) {
    text += L"</V>";
  }
  text += L"</PROPERTY></INSTANCE>";
  try {
    reader_->Load(text);
    EXPECT_EQ(reader_->GetString(L"Deep"), L"bottom");
  } catch (const DefaultException&) {
    // A DOM with a depth limit refuses such a document; refusing is as good as reading.
  }
}

TEST_F(EmbeddedInstanceReaderTest, QuoteInAnArrayNameFailsCleanly) {
  reader_->Load(kDiskSettings);
  EXPECT_THROW(reader_->GetArray(L"No'tes"), DefaultException);
  EXPECT_THAT(reader_->GetArray(L"Notes"), ElementsAre(L"first", L"", L"caf\u00e9"));
}

}  // namespace
}  // namespace quorvane
