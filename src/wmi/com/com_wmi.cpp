#include "wmi/com/com_wmi.h"

#include "errors/status.h"
#include "platform/com_error.h"
#include "quorvane/exceptions.h"
#include "wmi/com/variant_conversion.h"

namespace quorvane::com {
namespace {

// 23: in-process server and handler, local and remote server.
constexpr DWORD kAllContexts = CLSCTX_ALL;
constexpr LONG kConnectUseMaxWait = 0x80;
constexpr LONG kForwardOnlyReturnImmediately = 0x30;
constexpr ULONG kTextFormatWmiDtd20 = 2;

const CLSID kContextClass = {
    0x674B6698, 0xEE92, 0x11D0, {0xAD, 0x71, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
const CLSID kTextSourceClass = {
    0x8D1C559D, 0x84F0, 0x4BB3, {0xA7, 0xD5, 0x56, 0xA7, 0x43, 0x5A, 0x9B, 0xA6}};

ObjectWrapper WrapperFor(const std::shared_ptr<WmiService>& service) {
  return [service](IUnknown* object) { return service->WrapObject(object); };
}

ComPtr<IUnknown> Unwrap(const WmiObjectPtr& object) {
  const auto* wmi = dynamic_cast<const WmiObject*>(object.get());
  return wmi ? ComPtr<IUnknown>(wmi->GetRawObject()) : nullptr;
}

WmiValue ReadProperty(IWbemClassObject& object, const std::wstring& name,
                      const std::shared_ptr<WmiService>& service) {
  ScopedVariant value;
  ThrowIfWmiFailed(object.Get(name.c_str(), 0, value.get(), nullptr, nullptr));
  return FromVariant(value.ref(), WrapperFor(service));
}

void WriteProperty(IWbemClassObject& object, const std::wstring& name, const WmiValue& value) {
  ScopedVariant variant;
  ToVariant(value, *variant.get(), Unwrap);
  ThrowIfWmiFailed(object.Put(name.c_str(), 0, variant.get(), 0));
}

void SetContextFlag(IWbemContext& context, const wchar_t* name, bool value) {
  ScopedVariant flag;
  flag.get()->vt = VT_BOOL;
  flag.get()->boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  ThrowIfWmiFailed(context.SetValue(name, 0, flag.get()));
}

}  // namespace

std::shared_ptr<WmiService> WmiService::Connect(const ConnectionRequest& request) {
  const std::wstring path =
      request.host.empty() ? request.nameSpace : L"\\\\" + request.host + L"\\" + request.nameSpace;
  ComPtr<IWbemLocator> locator;
  ThrowIfFailed(CoCreateInstance(CLSID_WbemLocator, nullptr, kAllContexts, IID_IWbemLocator,
                                 reinterpret_cast<void**>(locator.GetAddressOf())));
  const UniqueBstr resource(path);
  const UniqueBstr user(request.user);
  const UniqueBstr password(request.password);
  ComPtr<IWbemServices> services;
  ThrowIfWmiFailed(locator->ConnectServer(resource.get(), OrNull(user), OrNull(password), nullptr,
                                          kConnectUseMaxWait, nullptr, nullptr,
                                          services.GetAddressOf()));
  auto service = std::make_shared<WmiService>(!request.host.empty());
  service->SetBlanket(services.Get());
  service->Register(services.Get());
  return service;
}

void WmiService::Register(IWbemServices* services) {
  HRESULT status =
      CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                       IID_IGlobalInterfaceTable, reinterpret_cast<void**>(table_.GetAddressOf()));
  if (FAILED(status)) {
    throw ComError(status);
  }
  if (cookie_ != 0) {
    table_->RevokeInterfaceFromGlobal(cookie_);
    cookie_ = 0;
  }
  status = table_->RegisterInterfaceInGlobal(services, IID_IWbemServices, &cookie_);
  if (status == E_NOINTERFACE) {
    // No proxy for the WMI interface is registered (as under Wine): the table keeps the
    // object's IUnknown, and each operation asks it for the WMI interface again.
    status = table_->RegisterInterfaceInGlobal(services, IID_IUnknown, &cookie_);
    registeredAsUnknown_ = SUCCEEDED(status);
  }
  if (FAILED(status)) {
    throw ComError(status);
  }
}

WmiService::~WmiService() {
  if (table_ && cookie_ != 0) {
    table_->RevokeInterfaceFromGlobal(cookie_);
  }
}

void WmiService::SetBlanket(IUnknown* proxy) const {
  CoSetProxyBlanket(proxy, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                    remote_ ? RPC_C_AUTHN_LEVEL_PKT_PRIVACY : RPC_C_AUTHN_LEVEL_CALL,
                    RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

ComPtr<IWbemServices> WmiService::Services() const {
  ComPtr<IWbemServices> services;
  if (registeredAsUnknown_) {
    ComPtr<IUnknown> object;
    ThrowIfFailed(table_->GetInterfaceFromGlobal(cookie_, IID_IUnknown,
                                                 reinterpret_cast<void**>(object.GetAddressOf())));
    ThrowIfFailed(object->QueryInterface(IID_IWbemServices,
                                         reinterpret_cast<void**>(services.GetAddressOf())));
  } else {
    ThrowIfFailed(table_->GetInterfaceFromGlobal(
        cookie_, IID_IWbemServices, reinterpret_cast<void**>(services.GetAddressOf())));
  }
  SetBlanket(services.Get());
  return services;
}

WmiObjectPtr WmiService::WrapObject(IUnknown* object) {
  ComPtr<IWbemClassObject> wmiObject;
  if (object != nullptr) {
    object->QueryInterface(IID_IWbemClassObject,
                           reinterpret_cast<void**>(wmiObject.GetAddressOf()));
  }
  return std::make_shared<WmiObject>(shared_from_this(), std::move(wmiObject));
}

WmiObjectPtr WmiService::GetObject(const std::wstring& path) {
  const UniqueBstr text(path);
  ComPtr<IWbemClassObject> object;
  ThrowIfWmiFailed(Services()->GetObject(text.get(), 0, nullptr, object.GetAddressOf(), nullptr));
  SetBlanket(object.Get());
  return std::make_shared<WmiObject>(shared_from_this(), std::move(object));
}

WmiObjects WmiService::ExecQuery(const std::wstring& wql) {
  const UniqueBstr language(L"WQL");
  const UniqueBstr query(wql);
  ComPtr<IEnumWbemClassObject> results;
  ThrowIfWmiFailed(Services()->ExecQuery(language.get(), query.get(), kForwardOnlyReturnImmediately,
                                         nullptr, results.GetAddressOf()));
  SetBlanket(results.Get());
  WmiObjects objects;
  while (true) {
    ComPtr<IWbemClassObject> object;
    ULONG returned = 0;
    ThrowIfWmiFailed(
        results->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.GetAddressOf(), &returned));
    if (returned == 0) {
      return objects;
    }
    objects.push_back(std::make_shared<WmiObject>(shared_from_this(), std::move(object)));
  }
}

void WmiService::PutInstance(const WmiObjectPtr& object) {
  const auto* wmi = dynamic_cast<const WmiObject*>(object.get());
  if (wmi == nullptr) {
    ThrowIfWmiFailed(status::kWbemInvalidParameter);
  }
  ThrowIfWmiFailed(
      Services()->PutInstance(wmi->GetRawObject().Get(), WBEM_FLAG_UPDATE_ONLY, nullptr, nullptr));
}

WmiObjectPtr WmiService::SpawnInstance(const std::wstring& className) {
  const UniqueBstr name(className);
  ComPtr<IWbemClassObject> cls;
  ThrowIfWmiFailed(Services()->GetObject(name.get(), 0, nullptr, cls.GetAddressOf(), nullptr));
  SetBlanket(cls.Get());
  ComPtr<IWbemClassObject> instance;
  ThrowIfWmiFailed(cls->SpawnInstance(0, instance.GetAddressOf()));
  SetBlanket(instance.Get());
  return std::make_shared<WmiObject>(shared_from_this(), std::move(instance));
}

void WmiService::Wait(std::uint32_t milliseconds) {
  Sleep(milliseconds);
}

IWbemClassObject& WmiObject::Object() const {
  if (!object_) {
    ThrowIfFailed(status::kPointer);  // the wrapper was made for something that is not an object
  }
  return *object_.Get();
}

ComPtr<IWbemClassObject> WmiObject::GetRawObject() const {
  Object();
  return object_;
}

void WmiObject::SetProperty(const std::wstring& name, const WmiValue& value) {
  WriteProperty(Object(), name, value);
}

std::vector<std::wstring> WmiObject::GetPropertyNames() {
  ScopedSafeArray names;
  ThrowIfWmiFailed(Object().GetNames(nullptr, 0, nullptr, names.put()));
  std::vector<std::wstring> out;
  LONG lower = 0;
  LONG upper = -1;
  SafeArrayGetLBound(names.get(), 1, &lower);
  SafeArrayGetUBound(names.get(), 1, &upper);
  for (LONG i = lower; i <= upper; ++i) {
    UniqueBstr name;
    ThrowIfFailed(SafeArrayGetElement(names.get(), &i, name.put()));
    out.push_back(name.str());
  }
  return out;
}

WmiValue WmiObject::GetProperty(const std::wstring& name) {
  return ReadProperty(Object(), name, service_);
}

void WmiObject::Refresh() {
  const auto fresh = std::static_pointer_cast<WmiObject>(service_->GetObject(GetRelPath()));
  object_ = fresh->object_;
}

WmiMethodPtr WmiObject::CreateMethod(const std::wstring& methodName) {
  const auto cls = std::static_pointer_cast<WmiObject>(service_->GetObject(GetClass()));
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> outSignature;
  ThrowIfWmiFailed(cls->Object().GetMethod(methodName.c_str(), 0, signature.GetAddressOf(),
                                           outSignature.GetAddressOf()));
  ComPtr<IWbemClassObject> in;
  if (signature) {
    ThrowIfWmiFailed(signature->SpawnInstance(0, in.GetAddressOf()));
  }
  return std::make_shared<WmiMethod>(methodName, shared_from_this(), service_, std::move(in));
}

std::wstring WmiObject::GetText() {
  ComPtr<IWbemContext> context;
  ThrowIfFailed(CoCreateInstance(kContextClass, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemContext,
                                 reinterpret_cast<void**>(context.GetAddressOf())));
  SetContextFlag(*context.Get(), L"LocalOnly", false);
  SetContextFlag(*context.Get(), L"IncludeQualifiers", true);
  SetContextFlag(*context.Get(), L"IncludeClassOrigin", true);
  SetContextFlag(*context.Get(), L"ExcludeSystemProperties", false);
  ComPtr<IWbemObjectTextSrc> source;
  ThrowIfFailed(CoCreateInstance(kTextSourceClass, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_IWbemObjectTextSrc,
                                 reinterpret_cast<void**>(source.GetAddressOf())));
  UniqueBstr text;
  ThrowIfWmiFailed(source->GetText(0, &Object(), kTextFormatWmiDtd20, context.Get(), text.put()));
  return text.str();
}

void WmiMethod::SetParameter(const std::wstring& name, const WmiValue& value) {
  if (!in_) {
    ThrowIfWmiFailed(status::kWbemNotFound);  // the method takes no parameters
  }
  WriteProperty(*in_.Get(), name, value);
}

const WmiValue& WmiMethod::GetOutParameter(const std::wstring& name, std::int32_t flags) {
  if (!out_) {
    throw ComError(E_POINTER);  // nothing has run yet: there are no output parameters
  }
  const auto cached = outValues_.find(name);
  if (cached != outValues_.end()) {
    return cached->second;
  }
  ScopedVariant value;
  const HRESULT status = out_->Get(name.c_str(), flags, value.get(), nullptr, nullptr);
  if (FAILED(status)) {
    throw ComError(status);
  }
  return outValues_[name] = FromVariant(value.ref(), WrapperFor(service_));
}

WmiObjectPtr WmiMethod::GetInParameters() {
  return std::make_shared<WmiObject>(service_, in_);
}

std::uint32_t WmiMethod::Execute() {
  const UniqueBstr path(target_->GetPath());
  const UniqueBstr method(name_);
  out_.Reset();
  outValues_.clear();
  ThrowIfWmiFailed(service_->Services()->ExecMethod(path.get(), method.get(), 0, nullptr, in_.Get(),
                                                    out_.GetAddressOf(), nullptr));
  return static_cast<std::uint32_t>(GetOutParameter(L"ReturnValue").AsInteger());
}

}  // namespace quorvane::com
