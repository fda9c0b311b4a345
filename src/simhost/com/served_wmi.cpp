#include "simhost/com/served_wmi.h"

#include <cwchar>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/com_error.h"
#include "quorvane/exceptions.h"
#include "simhost/com/served_call_result.h"
#include "simhost/com/served_host.h"
#include "simhost/com/served_qualifiers.h"
#include "simhost/com/system_wmi.h"
#include "simhost/host_core.h"
#include "simhost/mof_text.h"
#include "simhost/object_path.h"
#include "simhost/schema.h"
#include "simhost/sim_wmi.h"
#include "util/case_insensitive.h"
#include "wmi/com/variant_conversion.h"

namespace quorvane::sim::com {

// How a served object gives its host object to the rest of this server.
struct IServedObject : public IUnknown {
  virtual const std::shared_ptr<SimObject>& Inner() const = 0;
  virtual const MethodDef* Method() const = 0;
};

}  // namespace quorvane::sim::com

__CRT_UUID_DECL(quorvane::sim::com::IServedObject, 0x3d6e1f2a, 0x8b47, 0x4c1e, 0x9a, 0x55, 0x21,
                0x7e, 0x0c, 0x44, 0xb8, 0x19)

namespace quorvane::sim::com {
namespace {

using quorvane::com::FromVariant;
using quorvane::com::ScopedVariant;
using quorvane::com::ToVariant;
using quorvane::com::UniqueBstr;

constexpr ULONG kTextFormatWmiDtd20 = 2;

std::wstring TextOf(const BSTR text) {
  return text ? std::wstring(text, SysStringLen(text)) : L"";
}

std::wstring Hex(std::uint32_t value) {
  wchar_t text[16];
  swprintf(text, 16, L"0x%X", value);
  return text;
}

// Ends a served call with a WMI status.
[[noreturn]] void Refuse(WBEMSTATUS status) {
  throw DefaultException(static_cast<std::uint32_t>(status), L"");
}

// Runs a served call: its failures become the status COM returns.
template <typename Action>
HRESULT Serve(Action&& action) {
  try {
    return action();
  } catch (...) {
    return StatusOfCurrentException();
  }
}

quorvane::com::ObjectWrapper WrapperOfInner() {
  return [](IUnknown* object) -> WmiObjectPtr { return InnerObject(object); };
}

ComPtr<IUnknown> ServedFor(const WmiObjectPtr& object) {
  auto simObject = std::dynamic_pointer_cast<SimObject>(object);
  if (!simObject) {
    return nullptr;
  }
  return MakeServedObject(std::move(simObject));
}

void RecordBlanket(const std::wstring& who, DWORD authentication, DWORD authorization,
                   const OLECHAR* principal, DWORD level, DWORD impersonation, const void* identity,
                   DWORD capabilities) {
  RecordComDetail(who + L" SetBlanket authentication=" + std::to_wstring(authentication) +
                  L" authorization=" + std::to_wstring(authorization) + L" principal=" +
                  (principal ? principal : L"null") + L" level=" + std::to_wstring(level) +
                  L" impersonation=" + std::to_wstring(impersonation) + L" identity=" +
                  (identity ? L"set" : L"null") + L" capabilities=" +
                  std::to_wstring(capabilities));
}

// The security blanket a client sets on a served proxy: recorded, as the library sets it.
template <typename Derived>
class RecordsBlanket : public IClientSecurity {
 public:
  using ComInterface = IClientSecurity;

  HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*,
                                         void**, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD authentication, DWORD authorization,
                                       OLECHAR* principal, DWORD level, DWORD impersonation,
                                       void* identity, DWORD capabilities) override {
    return Serve([&]() -> HRESULT {
      RecordBlanket(static_cast<Derived*>(this)->Who(), authentication, authorization, principal,
                    level, impersonation, identity, capabilities);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }
};

class ServedClassObject final
    : public ServedObject<IWbemClassObject, IServedObject, RecordsBlanket<ServedClassObject>> {
 public:
  ServedClassObject(std::shared_ptr<SimObject> object, const MethodDef* method)
      : object_(std::move(object)), method_(method) {}

  std::wstring Who() const { return L"Object " + object_->GetClass(); }
  const std::shared_ptr<SimObject>& Inner() const override { return object_; }
  const MethodDef* Method() const override { return method_; }

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE* type,
                                LONG* flavor) override {
    return Serve([&]() -> HRESULT {
      if (name == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      const WmiValue read = object_->GetProperty(name);
      if (value != nullptr) {
        VariantInit(value);
        ToVariant(read, *value, ServedFor);
        NoteHandedOut(*value);
      }
      if (type == nullptr && flavor == nullptr) {
        return WBEM_S_NO_ERROR;
      }
      const MemberDef* member = object_->FindMember(name);
      if (type != nullptr) {
        *type = member != nullptr ? CimTypeOf(*member) : SystemPropertyType(name);
      }
      if (flavor != nullptr) {
        *flavor = FlavorOf(member, read);
      }
      return WBEM_S_NO_ERROR;
    });
  }

  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG, VARIANT* value, CIMTYPE) override {
    return Serve([&]() -> HRESULT {
      if (name == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      object_->SetProperty(name, value ? FromVariant(*value, WrapperOfInner()) : WmiValue());
      return WBEM_S_NO_ERROR;
    });
  }

  HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY** names) override {
    return Serve([&]() -> HRESULT {
      if (names == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      ScopedVariant list;
      ToVariant(WmiValue::Array(object_->GetPropertyNames()), *list.get(), ServedFor);
      *names = list.release().parray;
      NoteHandedOut(*names);
      return WBEM_S_NO_ERROR;
    });
  }

  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG, IWbemClassObject** in,
                                      IWbemClassObject** out) override {
    return Serve([&]() -> HRESULT {
      RecordComDetail(std::wstring(L"GetMethod ") + (name ? name : L"") + L" in=" +
                      (in ? L"asked" : L"null") + L" out=" + (out ? L"asked" : L"null"));
      const ClassDef* cls = object_->Copy().cls;
      const MethodDef* method = cls && name ? Schema::Instance().FindMethod(*cls, name) : nullptr;
      if (method == nullptr) {
        return Status(WBEM_E_NOT_FOUND);
      }
      // A signature without parameters is no object at all, as WMI gives it.
      const auto signature = [&](const std::vector<MemberDef>& members) {
        return members.empty()
                   ? ComPtr<IWbemClassObject>()
                   : MakeServedObject(MakeParameters(object_->Service(), members), method);
      };
      if (in != nullptr) {
        *in = signature(method->in).Detach();
      }
      if (out != nullptr) {
        *out = signature(method->out).Detach();
      }
      return WBEM_S_NO_ERROR;
    });
  }

  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG, IWbemClassObject** instance) override {
    return Serve([&]() -> HRESULT {
      switch (object_->GetOrigin()) {
        case SimObject::Origin::Parameters:
          return HandOut(
              MakeServedObject(std::make_shared<SimObject>(object_->Service(), object_->Members(),
                                                           PropertyMap{}),
                               method_),
              instance);
        case SimObject::Origin::ClassObject: {
          const auto& service = object_->Service();
          if (!service) {
            return Status(WBEM_E_ILLEGAL_OPERATION);
          }
          auto copy = service->Host().SpawnInstance(service->NameSpace(), object_->GetClass());
          return HandOut(MakeServedObject(std::make_shared<SimObject>(service, std::move(copy),
                                                                      SimObject::Origin::Spawned)),
                         instance);
        }
        default:
          return Status(WBEM_E_ILLEGAL_OPERATION);
      }
    });
  }

  HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet** qualifiers) override {
    return Serve([&]() -> HRESULT {
      return HandOut(MakeObjectQualifiers(object_->Copy().cls, IsClassObject()), qualifiers);
    });
  }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return Status(WBEM_E_NOT_SUPPORTED); }
  // The properties one by one, as scripting clients list an object's members.
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override {
    return Serve([&]() -> HRESULT {
      enumerated_ = object_->GetPropertyNames();
      nextEnumerated_ = 0;
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR* name, VARIANT* value, CIMTYPE* type,
                                 LONG* flavor) override {
    return Serve([&]() -> HRESULT {
      if (!enumerated_) {
        return Status(WBEM_E_UNEXPECTED);
      }
      if (nextEnumerated_ >= enumerated_->size()) {
        return WBEM_S_NO_MORE_DATA;
      }
      const std::wstring& current = (*enumerated_)[nextEnumerated_];
      const HRESULT read = Get(current.c_str(), 0, value, type, flavor);
      if (FAILED(read)) {
        return read;
      }
      if (name != nullptr) {
        *name = SysAllocString(current.c_str());
        if (*name == nullptr) {
          if (value != nullptr) {
            VariantClear(value);
          }
          return E_OUTOFMEMORY;
        }
        NoteHandedOut(*name);
      }
      ++nextEnumerated_;
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE EndEnumeration() override {
    enumerated_.reset();
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name,
                                                    IWbemQualifierSet** qualifiers) override {
    return Serve([&]() -> HRESULT {
      if (name == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      if (std::wstring_view(name).rfind(L"__", 0) == 0) {
        return Status(WBEM_E_SYSTEM_PROPERTY);
      }
      const MemberDef* member = object_->FindMember(name);
      if (member == nullptr) {
        return Status(WBEM_E_NOT_FOUND);
      }
      return HandOut(MakePropertyQualifiers(object_->Copy().cls, *member, IsClassObject()),
                     qualifiers);
    });
  }
  // A copy of the client's copy: the two change apart.
  HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject** copy) override {
    return Serve([&]() -> HRESULT {
      return HandOut(MakeServedObject(std::make_shared<SimObject>(*object_), method_), copy);
    });
  }
  HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR* text) override {
    return Serve([&]() -> HRESULT {
      if (text == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      *text = UniqueBstr(MofText(*object_)).release();
      NoteHandedOut(*text);
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR ancestor) override {
    return Serve([&]() -> HRESULT {
      const ClassDef* cls = object_->Copy().cls;
      if (ancestor == nullptr || cls == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      for (const std::wstring& name : Schema::Instance().Derivation(*cls)) {
        if (EqualsNoCase(name, ancestor)) {
          return WBEM_S_NO_ERROR;
        }
      }
      return WBEM_S_FALSE;
    });
  }
  HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*,
                                      IWbemClassObject*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**,
                                       IWbemClassObject**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }

 private:
  bool IsClassObject() const { return object_->GetOrigin() == SimObject::Origin::ClassObject; }
  // A system property's value comes from WMI itself; a class object's properties are its own,
  // and an instance's are its own once they have a value, its class's until then.
  LONG FlavorOf(const MemberDef* member, const WmiValue& value) const {
    if (member == nullptr) {
      return WBEM_FLAVOR_ORIGIN_SYSTEM;
    }
    return IsClassObject() || !value.IsNull() ? WBEM_FLAVOR_ORIGIN_LOCAL
                                              : WBEM_FLAVOR_ORIGIN_PROPAGATED;
  }

  std::shared_ptr<SimObject> object_;
  const MethodDef* method_;  // the method whose parameters this object holds, if any
  std::optional<std::vector<std::wstring>> enumerated_;  // between Begin- and EndEnumeration
  std::size_t nextEnumerated_ = 0;
};

class ServedEnumerator final
    : public ServedObject<IEnumWbemClassObject, RecordsBlanket<ServedEnumerator>> {
 public:
  explicit ServedEnumerator(WmiObjects objects, std::size_t next = 0)
      : objects_(std::move(objects)), next_(next) {}

  std::wstring Who() const { return L"Enumerator"; }

  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE Next(LONG, ULONG count, IWbemClassObject** objects,
                                 ULONG* returned) override {
    return Serve([&]() -> HRESULT {
      if (objects == nullptr || returned == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      *returned = 0;
      while (*returned < count && next_ < objects_.size()) {
        auto object = std::dynamic_pointer_cast<SimObject>(objects_[next_++]);
        objects[(*returned)++] = MakeServedObject(std::move(object)).Detach();
      }
      return *returned == count ? WBEM_S_NO_ERROR : WBEM_S_FALSE;
    });
  }
  HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  // A second enumerator over the same objects, standing where this one stands.
  HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject** copy) override {
    return Serve([&]() -> HRESULT {
      auto made = MakeServed<ServedEnumerator>(objects_, next_);
      return HandOut(std::move(made), copy);
    });
  }
  HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG count) override {
    const std::size_t left = objects_.size() - next_;
    const std::size_t skipped = count < left ? count : left;
    next_ += skipped;
    return skipped == count ? WBEM_S_NO_ERROR : WBEM_S_FALSE;
  }

 private:
  WmiObjects objects_;
  std::size_t next_ = 0;
};

// The method a call names: the one whose parameters the caller filled, or the one the
// target's class declares.
const MethodDef* MethodOfCall(const std::wstring& path, const std::wstring& name,
                              IWbemClassObject* in) {
  if (in != nullptr) {
    ComPtr<IServedObject> served;
    if (SUCCEEDED(in->QueryInterface(__uuidof(IServedObject),
                                     reinterpret_cast<void**>(served.GetAddressOf()))) &&
        served->Method() != nullptr && EqualsNoCase(served->Method()->name, name)) {
      return served->Method();
    }
  }
  const auto parsed = ParseObjectPath(path);
  const ClassDef* cls = parsed ? Schema::Instance().FindClass(parsed->className) : nullptr;
  return cls ? Schema::Instance().FindMethod(*cls, name) : nullptr;
}

class ServedServices final : public ServedObject<IWbemServices, RecordsBlanket<ServedServices>> {
 public:
  explicit ServedServices(std::shared_ptr<SimService> service)
      : service_(std::move(service)), apartments_{ApartmentOfThread()} {}

  // An apartment that asks for the connection through COM may use it from then on.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (CheckingApartments()) {
      std::lock_guard lock(apartmentsMutex_);
      apartments_.insert(ApartmentOfThread());
    }
    return ServedObject::QueryInterface(iid, out);
  }

  std::wstring Who() const { return L"Services " + service_->NameSpace(); }

  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext*,
                                      IWbemClassObject** object,
                                      IWbemCallResult** callResult) override {
    if (WrongApartment()) {
      return RPC_E_WRONG_THREAD;
    }
    return Respond(flags, object, callResult, [&] {
      NoteServiceOfThread(service_);
      auto found = std::dynamic_pointer_cast<SimObject>(service_->GetObject(TextOf(path)));
      ScenarioCallServed();
      return Outcome{MakeServedObject(std::move(found)), L""};
    });
  }

  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                      IWbemContext*, IEnumWbemClassObject** results) override {
    if (WrongApartment()) {
      return RPC_E_WRONG_THREAD;
    }
    return Serve([&]() -> HRESULT {
      NoteServiceOfThread(service_);
      RecordComDetail(L"ExecQuery flags=" + Hex(static_cast<std::uint32_t>(flags)));
      if (!EqualsNoCase(TextOf(language), L"WQL")) {
        return Status(WBEM_E_INVALID_QUERY_TYPE);
      }
      auto found = service_->ExecQuery(TextOf(query));
      ScenarioCallServed();
      return HandOut(MakeServed<ServedEnumerator>(std::move(found)), results);
    });
  }

  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject* instance, LONG flags, IWbemContext*,
                                        IWbemCallResult** callResult) override {
    if (WrongApartment()) {
      return RPC_E_WRONG_THREAD;
    }
    return Respond(flags, nullptr, callResult, [&] {
      NoteServiceOfThread(service_);
      RecordComDetail(L"PutInstance flags=" + Hex(static_cast<std::uint32_t>(flags)));
      auto inner = InnerObject(instance);
      if (!inner) {
        Refuse(WBEM_E_INVALID_PARAMETER);
      }
      service_->PutInstance(inner);
      ScenarioCallServed();
      return Outcome{nullptr, inner->GetRelPath()};
    });
  }

  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR method, LONG flags,
                                       IWbemContext*, IWbemClassObject* in, IWbemClassObject** out,
                                       IWbemCallResult** callResult) override {
    if (WrongApartment()) {
      return RPC_E_WRONG_THREAD;
    }
    return Respond(flags, out, callResult, [&] {
      NoteServiceOfThread(service_);
      const MethodDef* definition = MethodOfCall(TextOf(path), TextOf(method), in);
      if (definition == nullptr) {
        Refuse(WBEM_E_INVALID_METHOD);
      }
      auto inner = in ? InnerObject(in) : nullptr;
      auto result = RunMethod(service_, TextOf(path), *definition, inner.get());
      ScenarioCallServed();
      return Outcome{MakeServedObject(std::move(result)), L""};
    });
  }

  // The host's objects go through its methods ("DestroySystem", "RemoveResourceSettings",
  // "DestroySnapshot"): its provider deletes no instance, as WMI says of such a provider.
  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR path, LONG flags, IWbemContext*,
                                           IWbemCallResult** callResult) override {
    return Respond(flags, nullptr, callResult, [&]() -> Outcome {
      RecordComDetail(L"DeleteInstance " + TextOf(path));
      const auto parsed = ParseObjectPath(TextOf(path));
      if (!parsed || parsed->className.empty()) {
        Refuse(WBEM_E_INVALID_OBJECT_PATH);
      }
      if (Schema::Instance().FindClass(parsed->className) == nullptr) {
        Refuse(WBEM_E_INVALID_CLASS);
      }
      Refuse(WBEM_E_PROVIDER_NOT_CAPABLE);
    });
  }

  HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                          IWbemCallResult**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, IWbemObjectSink**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, IWbemContext*,
                                           IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, IWbemContext*,
                                     IWbemCallResult**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, IWbemContext*,
                                          IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, IWbemContext*,
                                        IWbemCallResult**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, IWbemContext*,
                                             IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, IWbemContext*,
                                            IEnumWbemClassObject**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, IWbemContext*,
                                                 IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*,
                                             IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, IWbemContext*,
                                                IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  // A class's instances, its subclasses' included, as scripting clients' InstancesOf asks.
  HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR cls, LONG flags, IWbemContext*,
                                               IEnumWbemClassObject** results) override {
    return Serve([&]() -> HRESULT {
      NoteServiceOfThread(service_);
      RecordComDetail(L"CreateInstanceEnum flags=" + Hex(static_cast<std::uint32_t>(flags)));
      const std::wstring name = TextOf(cls);
      if (name.empty() || Schema::Instance().FindClass(name) == nullptr) {
        return Status(WBEM_E_INVALID_CLASS);
      }
      auto found = service_->ExecQuery(L"SELECT * FROM " + name);
      ScenarioCallServed();
      return HandOut(MakeServed<ServedEnumerator>(std::move(found)), results);
    });
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*,
                                                    IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                           IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                                  IEnumWbemClassObject**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                                       IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                            IWbemClassObject*, IWbemObjectSink*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }

 private:
  bool WrongApartment() {
    if (!CheckingApartments()) {
      return false;
    }
    std::lock_guard lock(apartmentsMutex_);
    return apartments_.count(ApartmentOfThread()) == 0;
  }

  // What a call made: an object, or the path of the instance it wrote.
  struct Outcome {
    ComPtr<IWbemClassObject> object;
    std::wstring path;
  };

  // Answers a call synchronously or, with WBEM_FLAG_RETURN_IMMEDIATELY, semi-synchronously: the
  // call is made either way, and its status and result go to the call result the client asked
  // for (semi-synchronously, the call itself then succeeds).
  template <typename Call>
  static HRESULT Respond(LONG flags, IWbemClassObject** object, IWbemCallResult** callResult,
                         Call&& call) {
    const bool semiSynchronous = (flags & WBEM_FLAG_RETURN_IMMEDIATELY) != 0;
    if (object != nullptr) {
      *object = nullptr;
    }
    if (callResult != nullptr) {
      *callResult = nullptr;
    }
    if (semiSynchronous && (callResult == nullptr || object != nullptr)) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    Outcome outcome;
    const HRESULT status = Serve([&]() -> HRESULT {
      outcome = call();
      return WBEM_S_NO_ERROR;
    });
    if (callResult != nullptr) {
      const HRESULT made = Serve([&]() -> HRESULT {
        return HandOut(MakeServedCallResult(status, outcome.object, outcome.path), callResult);
      });
      if (FAILED(made)) {
        return made;
      }
    }
    if (semiSynchronous) {
      return WBEM_S_NO_ERROR;
    }
    if (object != nullptr && SUCCEEDED(status)) {
      *object = outcome.object.Detach();
    }
    return status;
  }

  std::shared_ptr<SimService> service_;
  std::mutex apartmentsMutex_;
  std::set<std::uint64_t> apartments_;  // where the connection may be used
};

// "\\host\namespace" or "namespace".
std::pair<std::wstring, std::wstring> SplitResource(const std::wstring& resource) {
  if (resource.rfind(L"\\\\", 0) != 0) {
    return {L"", resource};
  }
  const auto end = resource.find(L'\\', 2);
  if (end == std::wstring::npos) {
    return {resource.substr(2), L""};
  }
  return {resource.substr(2, end - 2), resource.substr(end + 1)};
}

// The namespaces the simulated host stands in for.
bool IsServedNamespace(const std::wstring& nameSpace) {
  return EqualsNoCase(nameSpace, L"root\\virtualization\\v2") ||
         EqualsNoCase(nameSpace, L"root\\microsoft\\windows\\hgs");
}

class ServedLocator final : public ServedObject<IWbemLocator> {
 public:
  explicit ServedLocator(std::shared_ptr<HostCore> host) : host_(std::move(host)) {}

  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user, const BSTR password,
                                          const BSTR locale, LONG flags, const BSTR authority,
                                          IWbemContext* context,
                                          IWbemServices** services) override {
    return Serve([&]() -> HRESULT {
      RecordComDetail(L"ConnectServer flags=" + Hex(static_cast<std::uint32_t>(flags)) + L" user=" +
                      (user ? L"text" : L"null") + L" password=" + (password ? L"text" : L"null") +
                      L" authority=" + (authority ? L"text" : L"null") + L" context=" +
                      (context ? L"set" : L"null"));
      const auto [host, nameSpace] = SplitResource(TextOf(resource));
      if (!IsServedNamespace(nameSpace)) {
        // Any other namespace is the system's: its own WMI answers.
        ComPtr<IWbemLocator> system;
        const HRESULT found = SystemLocator(system.GetAddressOf());
        return FAILED(found) ? found
                             : system->ConnectServer(resource, user, password, locale, flags,
                                                     authority, context, services);
      }
      auto connected = std::dynamic_pointer_cast<SimService>(
          host_->Connect(host, TextOf(user), TextOf(password), nameSpace));
      NoteServiceOfThread(connected);
      return HandOut(MakeServedServices(std::move(connected)), services);
    });
  }

 private:
  std::shared_ptr<HostCore> host_;
};

class ServedContext final : public ServedObject<IWbemContext> {
 public:
  HRESULT STDMETHODCALLTYPE SetValue(LPCWSTR name, LONG, VARIANT* value) override {
    return Serve([&]() -> HRESULT {
      if (name == nullptr || value == nullptr) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      const WmiValue stored = FromVariant(*value, WrapperOfInner());
      RecordComDetail(std::wstring(L"Context ") + name + L"=" +
                      (stored.Kind() == WmiKind::Boolean
                           ? std::wstring(stored.AsBoolean() ? L"TRUE" : L"FALSE")
                           : stored.AsWideString()));
      values_[name] = stored;
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE GetValue(LPCWSTR name, LONG, VARIANT* value) override {
    return Serve([&]() -> HRESULT {
      const auto found = name ? values_.find(name) : values_.end();
      if (found == values_.end() || value == nullptr) {
        return Status(WBEM_E_NOT_FOUND);
      }
      VariantInit(value);
      ToVariant(found->second, *value, ServedFor);
      NoteHandedOut(*value);
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE Clone(IWbemContext**) override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE GetNames(LONG, SAFEARRAY**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE EndEnumeration() override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE DeleteValue(LPCWSTR, LONG) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE DeleteAll() override { return Status(WBEM_E_NOT_SUPPORTED); }

 private:
  std::map<std::wstring, WmiValue, LessNoCase> values_;
};

class ServedTextSource final : public ServedObject<IWbemObjectTextSrc> {
 public:
  HRESULT STDMETHODCALLTYPE GetText(LONG, IWbemClassObject* object, ULONG format,
                                    IWbemContext* context, BSTR* text) override {
    return Serve([&]() -> HRESULT {
      RecordComDetail(L"GetText format=" + std::to_wstring(format) + L" context=" +
                      (context ? L"set" : L"null"));
      auto inner = InnerObject(object);
      if (!inner || text == nullptr || format != kTextFormatWmiDtd20) {
        return Status(WBEM_E_INVALID_PARAMETER);
      }
      *text = UniqueBstr(inner->GetText()).release();
      NoteHandedOut(*text);
      return WBEM_S_NO_ERROR;
    });
  }
  HRESULT STDMETHODCALLTYPE CreateFromText(LONG, BSTR, ULONG, IWbemContext*,
                                           IWbemClassObject**) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
};

}  // namespace

ComPtr<IWbemLocator> MakeServedLocator(std::shared_ptr<HostCore> host) {
  return MakeServed<ServedLocator>(std::move(host));
}

ComPtr<IWbemContext> MakeServedContext() {
  return MakeServed<ServedContext>();
}

ComPtr<IWbemObjectTextSrc> MakeServedTextSource() {
  return MakeServed<ServedTextSource>();
}

ComPtr<IWbemServices> MakeServedServices(std::shared_ptr<SimService> service) {
  return MakeServed<ServedServices>(std::move(service));
}

ComPtr<IWbemClassObject> MakeServedObject(std::shared_ptr<SimObject> object,
                                          const MethodDef* method) {
  if (!object) {
    return nullptr;
  }
  return MakeServed<ServedClassObject>(std::move(object), method);
}

std::shared_ptr<SimObject> InnerObject(IUnknown* object) {
  ComPtr<IServedObject> served;
  if (object == nullptr ||
      FAILED(object->QueryInterface(__uuidof(IServedObject),
                                    reinterpret_cast<void**>(served.GetAddressOf())))) {
    return nullptr;
  }
  return served->Inner();
}

HRESULT StatusOfCurrentException() {
  try {
    throw;
  } catch (const DefaultException& e) {
    return static_cast<HRESULT>(e.GetErrorCode());
  } catch (const ComError& e) {
    return e.Status();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return Status(WBEM_E_FAILED);
  }
}

}  // namespace quorvane::sim::com
