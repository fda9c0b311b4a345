// The exported functions: the throwing ones in namespace quorvane and the plain ones.
#include <new>

#include "entry/root_object.h"

namespace quorvane {
namespace {

class QuorvaneFactory final : public IQuorvaneFactory {
 public:
  void Release() override { delete this; }
  IQuorvane* CreateLocal() override { return CreateQuorvaneLocal(); }
  IQuorvane* CreateRemote(const wchar_t* host, const wchar_t* user,
                          const wchar_t* password) override {
    return CreateQuorvaneRemote(host, user, password);
  }
};

}  // namespace

IQuorvaneFactory* CreateQuorvaneFactory() {
  return new (std::nothrow) QuorvaneFactory();
}

IQuorvane* CreateQuorvaneLocal() {
  return CreateQuorvaneRemote(nullptr, nullptr, nullptr);
}

IQuorvane* CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user, const wchar_t* password) {
  return Quorvane::Create(ConnectWmiService, host, user, password);
}

void GetExceptionInfo(const DefaultException* exception, std::uint32_t* code,
                      const wchar_t** message) {
  if (exception == nullptr) {
    return;
  }
  if (code != nullptr) {
    *code = exception->GetErrorCode();
  }
  if (message != nullptr) {
    *message = exception->GetMessageDescription();
  }
}

}  // namespace quorvane

extern "C" {

quorvane::IQuorvaneFactory* CreateQuorvaneFactory() {
  return quorvane::CreateQuorvaneFactory();
}

std::uint32_t CreateQuorvaneLocal(quorvane::IQuorvane** out) {
  return CreateQuorvaneRemote(nullptr, nullptr, nullptr, out);
}

std::uint32_t CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user,
                                   const wchar_t* password, quorvane::IQuorvane** out) {
  return quorvane::CreateIntoOut(
      out, [&] { return quorvane::CreateQuorvaneRemote(host, user, password); });
}

void GetExceptionInfo(const quorvane::DefaultException* exception, std::uint32_t* code,
                      const wchar_t** message) {
  quorvane::GetExceptionInfo(exception, code, message);
}

bool IsChangeTrackingUnusable(const quorvane::DefaultException* exception) {
  return exception != nullptr && quorvane::IsChangeTrackingUnusable(*exception);
}

}  // extern "C"
