#include "simhost/com/served_call_result.h"

#include <utility>

namespace quorvane::sim::com {
namespace {

class ServedCallResult final : public ServedObject<IWbemCallResult> {
 public:
  ServedCallResult(HRESULT status, ComPtr<IWbemClassObject> object, std::wstring path)
      : status_(status), object_(std::move(object)), path_(std::move(path)) {}

  HRESULT STDMETHODCALLTYPE GetResultObject(LONG, IWbemClassObject** object) override {
    if (object == nullptr) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    *object = nullptr;
    if (FAILED(status_)) {
      return status_;
    }
    if (!object_) {
      return Status(WBEM_E_INVALID_OPERATION);
    }
    ComPtr<IWbemClassObject> copy = object_;
    *object = copy.Detach();
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE GetResultString(LONG, BSTR* text) override {
    if (text == nullptr) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    *text = nullptr;
    if (FAILED(status_)) {
      return status_;
    }
    if (path_.empty()) {
      return Status(WBEM_E_INVALID_OPERATION);
    }
    *text = SysAllocString(path_.c_str());
    if (*text == nullptr) {
      return E_OUTOFMEMORY;
    }
    NoteHandedOut(*text);
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE GetResultServices(LONG, IWbemServices**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE GetCallStatus(LONG, LONG* status) override {
    if (status == nullptr) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    *status = status_;
    return WBEM_S_NO_ERROR;
  }

 private:
  HRESULT status_;
  ComPtr<IWbemClassObject> object_;
  std::wstring path_;
};

}  // namespace

ComPtr<IWbemCallResult> MakeServedCallResult(HRESULT status, ComPtr<IWbemClassObject> object,
                                             std::wstring path) {
  return MakeServed<ServedCallResult>(status, std::move(object), std::move(path));
}

}  // namespace quorvane::sim::com
