// The public suite through COM: the simulated host's DLL registers itself as the process's
// WMI before the first test, and COM is initialised as a host application does. Every string,
// array and object the served host hands out during a test must be given back by its end, and
// no connection is used outside the apartments that obtained it.
#include <objbase.h>

#include <gtest/gtest.h>

#include "simhost/com/served_host.h"
#include "simhost/com/served_ledger.h"

extern "C" __declspec(dllimport) HRESULT STDAPICALLTYPE DllRegisterServer();

namespace {

namespace served = quorvane::sim::com;

class ServedHostEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ASSERT_EQ(DllRegisterServer(), S_OK);
    served::StartCountingHandedOut();
    // Connections are used only where a proxy of a real WMI could be: every thread of the
    // library must fetch its connection from the global interface table.
    served::CheckApartments(true);
  }
  void TearDown() override { CoUninitialize(); }
};

// The test has ended, its roots and fixtures are gone: nothing it was handed may be left.
class NothingLeftBehind : public ::testing::EmptyTestEventListener {
 public:
  void OnTestStart(const ::testing::TestInfo&) override { served::ClearHandedOut(); }
  void OnTestEnd(const ::testing::TestInfo& test) override {
    const served::Outstanding left = served::HandedOutNotBack();
    if (!left.Empty() && !test.result()->Skipped()) {
      ADD_FAILURE() << test.test_suite_name() << "." << test.name() << " left " << left.strings
                    << " strings, " << left.arrays << " arrays and " << left.objects
                    << " objects of the served host behind";
    }
    served::ClearHandedOut();
  }
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new ServedHostEnvironment);
const bool kListening = [] {
  ::testing::UnitTest::GetInstance()->listeners().Append(new NothingLeftBehind);
  return true;
}();

}  // namespace
