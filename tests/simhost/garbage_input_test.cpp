// Any text at all, as WQL, object path or embedded instance, ends in a result or a WMI status.
// The inputs are random but repeatable; the sanitizer build checks that nothing goes wrong on
// the way.
#include <gtest/gtest.h>

#include <random>

#include "sim_fixture.h"
#include "simhost/object_path.h"
#include "simhost/sim_wmi.h"
#include "simhost/wql.h"
#include "wmi/embedded_instance_reader.h"

namespace quorvane::sim {
namespace {

std::wstring RandomText(std::mt19937& random, const std::wstring& alphabet, std::size_t maxLength) {
  std::uniform_int_distribution<std::size_t> length(0, maxLength);
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::wstring text(length(random), L' ');
  for (auto& c : text) {
    c = alphabet[pick(random)];
  }
  return text;
}

// Pieces of real input, shuffled and cut, find more corners than characters alone.
std::wstring RandomPieces(std::mt19937& random, const std::vector<std::wstring>& pieces) {
  std::uniform_int_distribution<std::size_t> count(0, 12);
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
  std::wstring text;
  for (std::size_t i = count(random); i > 0; --i) {
    text += pieces[pick(random)];
  }
  return text;
}

TEST_F(SimHostTest, GarbageQueriesPathsAndInstancesEndCleanly) {
  AddMachine(L"AAAA-1", L"web", 2);
  std::mt19937 random(20261122);
  const std::wstring symbols = L"SELECTFROMWHEREASOCIT{}()[]'\"\\=<>!%_,.:@* \t\n01Msvm_";
  const std::vector<std::wstring> pieces = {
      L"SELECT ",
      L"* ",
      L"FROM ",
      L"Msvm_ComputerSystem ",
      L"WHERE ",
      L"Name ",
      L"= ",
      L"'a' ",
      L"\"b\\\" ",
      L"AND ",
      L"OR ",
      L"NOT ",
      L"( ",
      L") ",
      L"LIKE ",
      L"'%[a-",
      L"IS NULL ",
      L"ASSOCIATORS OF {",
      L"REFERENCES OF {",
      L"}",
      L" ResultClass = ",
      L"Msvm_ComputerSystem.",
      L"CreationClassName=\"Msvm_ComputerSystem\",Name=\"AAAA-1\"",
      L"\\\\H\\root:",
      L"=@"};
  for (int i = 0; i < 3000; ++i) {
    const std::wstring text =
        i % 2 ? RandomText(random, symbols, 60) : RandomPieces(random, pieces);
    try {
      service_->ExecQuery(text);
    } catch (const DefaultException&) {
    }
    try {
      service_->GetObject(text);
    } catch (const DefaultException&) {
    }
    ParseObjectPath(text);
  }
  const std::vector<std::wstring> xml = {L"<INSTANCE CLASSNAME=\"Msvm_ComputerSystem\">",
                                         L"</INSTANCE>",
                                         L"<PROPERTY NAME=\"Name\"",
                                         L" TYPE=\"string\">",
                                         L"<VALUE>",
                                         L"</VALUE>",
                                         L"</PROPERTY>",
                                         L"<PROPERTY.ARRAY NAME=\"",
                                         L"OperationalStatus\">",
                                         L"<VALUE.ARRAY>",
                                         L"</VALUE.ARRAY>",
                                         L"</PROPERTY.ARRAY>",
                                         L"&amp;",
                                         L"&#",
                                         L"<![CDATA[",
                                         L"]]>",
                                         L"2",
                                         L"x",
                                         L"\"",
                                         L"<",
                                         L">"};
  const auto reader = CreateEmbeddedInstanceReader();
  for (int i = 0; i < 3000; ++i) {
    const std::wstring text = RandomPieces(random, xml);
    try {
      ParseEmbeddedInstance(text);
    } catch (const DefaultException&) {
    }
    try {
      reader->Load(text);
      reader->GetArray(L"OperationalStatus");
      reader->GetClassName();
    } catch (const DefaultException&) {
    }
  }
}

}  // namespace
}  // namespace quorvane::sim
