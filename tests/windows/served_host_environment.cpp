// The public suite through COM: the simulated host's DLL registers itself as the process's
// WMI before the first test, and COM is initialised as a host application does.
#include <objbase.h>

#include <gtest/gtest.h>

extern "C" __declspec(dllimport) HRESULT STDAPICALLTYPE DllRegisterServer();

namespace {

class ServedHostEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ASSERT_EQ(DllRegisterServer(), S_OK);
  }
  void TearDown() override { CoUninitialize(); }
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new ServedHostEnvironment);

}  // namespace
