#include "simhost/object_path.h"

#include <gtest/gtest.h>

namespace quorvane::sim {
namespace {

TEST(ObjectPathTest, ParsesEveryFormClientsWrite) {
  const auto full = ParseObjectPath(
      L"\\\\HOST1\\root\\virtualization\\v2:Msvm_MemorySettingData.InstanceID="
      L"\"Microsoft:1111\\\\4764334d\"");
  ASSERT_TRUE(full);
  EXPECT_EQ(full->server, L"HOST1");
  EXPECT_EQ(full->nameSpace, L"root\\virtualization\\v2");
  EXPECT_EQ(full->className, L"Msvm_MemorySettingData");
  ASSERT_EQ(full->keys.size(), 1u);
  EXPECT_EQ(full->keys[0].second, L"Microsoft:1111\\4764334d");

  const auto relative =
      ParseObjectPath(L"Msvm_ComputerSystem.CreationClassName='Msvm_ComputerSystem',Name='A1-B2'");
  ASSERT_TRUE(relative);
  EXPECT_TRUE(relative->server.empty());
  EXPECT_EQ(relative->keys[1], std::make_pair(std::wstring(L"Name"), std::wstring(L"A1-B2")));

  const auto prefixed = ParseObjectPath(L"root\\cimv2:Win32_Process.Handle=\"4\"");
  ASSERT_TRUE(prefixed);
  EXPECT_EQ(prefixed->nameSpace, L"root\\cimv2");

  const auto slashes = ParseObjectPath(L"//HOST1/root/virtualization/v2:Msvm_X=\"q\\\"uote\"");
  ASSERT_TRUE(slashes);
  EXPECT_EQ(slashes->keys[0], std::make_pair(std::wstring(), std::wstring(L"q\"uote")));

  EXPECT_TRUE(ParseObjectPath(L"Msvm_Singleton=@")->singleton);
  EXPECT_TRUE(ParseObjectPath(L"Msvm_ComputerSystem")->IsClassPath());
  EXPECT_EQ(ParseObjectPath(L"Msvm_X.Number=42")->keys[0].second, L"42");
}

TEST(ObjectPathTest, RejectsWhatIsNotAPath) {
  for (const wchar_t* text :
       {L"", L"Msvm_X.", L"Msvm_X.Key", L"Msvm_X.Key=\"open", L"\\\\HOST", L"\\\\HOST\\ns",
        L"Msvm_X.Key=\"a\"junk", L":Msvm_X", L"Msvm_X=@x", L"Msvm X", L".Key=\"a\"",
        L"Msvm_X.Key=\"a\",", L"Msvm_X.Key=\"a\" ", L"Msvm_X.Key=\"a\",key=\"b\""}) {
    EXPECT_FALSE(ParseObjectPath(text)) << std::wstring(text);
  }
}

TEST(ObjectPathTest, FormatsAsWmiDoes) {
  EXPECT_EQ(FormatRelativePath(L"Msvm_ComputerSystem",
                               {{L"Name", L"A\\B\"C"}, {L"CreationClassName", L"X"}}),
            L"Msvm_ComputerSystem.CreationClassName=\"X\",Name=\"A\\\\B\\\"C\"");
  EXPECT_EQ(FormatFullPath(L"H", L"root\\virtualization\\v2", L"C.K=\"v\""),
            L"\\\\H\\root\\virtualization\\v2:C.K=\"v\"");
}

TEST(ObjectPathTest, IdentityIgnoresHowThePathWasWritten) {
  const auto a = ParseObjectPath(
      L"\\\\h\\root\\virtualization\\v2:Msvm_ComputerSystem.Name=\"ab\",CreationClassName="
      L"\"Msvm_ComputerSystem\"");
  const auto b =
      ParseObjectPath(L"msvm_computersystem.creationclassname='MSVM_COMPUTERSYSTEM',NAME='AB'");
  ASSERT_TRUE(a && b);
  EXPECT_EQ(PathIdentity(*a), PathIdentity(*b));
  const auto c = ParseObjectPath(L"Msvm_ComputerSystem.Name=\"ac\",CreationClassName=\"x\"");
  EXPECT_NE(PathIdentity(*a), PathIdentity(*c));
}

}  // namespace
}  // namespace quorvane::sim
