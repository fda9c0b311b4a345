#pragma once

// What the C interface's handles hold: the C++ object they own and the UTF-8 copies of the
// strings they returned, with the helpers every C function uses to check its arguments.
#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "quorvane/owned.h"
#include "quorvane/quorvane.h"
#include "quorvane/quorvane_c.h"

namespace quorvane::capi {

// One UTF-8 copy per accessor. A copy is replaced only when the text changes, so a string the
// caller holds stays valid for as long as the C++ object's wide one does.
template <std::size_t Count>
class Texts {
 public:
  const char* Hold(std::size_t slot, const wchar_t* wide);

 private:
  std::array<std::string, Count> slots_;
};

std::string Utf8Of(const wchar_t* wide);

template <std::size_t Count>
const char* Texts<Count>::Hold(std::size_t slot, const wchar_t* wide) {
  if (wide == nullptr) {
    return nullptr;
  }
  std::string text = Utf8Of(wide);
  if (text != slots_.at(slot)) {
    slots_.at(slot) = std::move(text);
  }
  return slots_.at(slot).c_str();
}

// A caller's UTF-8 text as the wide text the C++ interfaces take; null stays null, so that the
// interface reports it as it reports a null wide string. Text that is not UTF-8 is refused.
class WideArgument {
 public:
  explicit WideArgument(const char* utf8);
  const wchar_t* get() const { return wide_ ? wide_->c_str() : nullptr; }

 private:
  std::optional<std::wstring> wide_;
};

[[noreturn]] void ThrowNullHandle();
[[noreturn]] void ThrowNullOutput();

// The object behind a handle; a null handle is refused.
template <typename Handle>
auto& ObjectOf(Handle* handle) {
  if (handle == nullptr) {
    ThrowNullHandle();
  }
  return *handle->object;
}

// The caller's output, emptied first so that a failure leaves it null or 0.
template <typename Value>
Value& OutputOf(Value* out) {
  if (out == nullptr) {
    ThrowNullOutput();
  }
  *out = Value{};
  return *out;
}

// A new handle owning `object`, which the library hands over; null means memory ran out.
template <typename Handle, typename Object>
Handle* NewHandle(Object* object) {
  Owned<Object> owned(object);
  if (!owned) {
    throw std::bad_alloc();
  }
  return new Handle{std::move(owned)};
}

}  // namespace quorvane::capi

struct qv_factory {
  quorvane::Owned<quorvane::IQuorvaneFactory> object;
};

struct qv_root {
  quorvane::Owned<quorvane::IQuorvane> object;
  quorvane::capi::Texts<1> texts{};
};

struct qv_machine_info {
  quorvane::Owned<quorvane::IMachineInfo> object;
  quorvane::capi::Texts<10> texts{};
};

struct qv_machine_enumerator {
  quorvane::Owned<quorvane::IMachineEnumerator> object;
  quorvane::capi::Texts<3> texts{};
};

struct qv_disk_enumerator {
  quorvane::Owned<quorvane::IDiskEnumerator> object;
  quorvane::capi::Texts<4> texts{};
};

struct qv_switch_enumerator {
  quorvane::Owned<quorvane::IEthernetSwithEnumerator> object;
  quorvane::capi::Texts<2> texts{};
};

// An editor handle owns its editor, or is the view of a builder, which owns it (`owned` empty).
struct qv_machine_editor {
  quorvane::Owned<quorvane::IMachineEditor> owned;
  quorvane::IMachineEditor* object = owned.get();
  quorvane::capi::Texts<1> texts{};
};

struct qv_machine_builder {
  quorvane::Owned<quorvane::IMachineBuilder> object;
  qv_machine_editor editor{nullptr, object.get()};
};

struct qv_machine_management {
  quorvane::Owned<quorvane::IMachineManagement> object;
  quorvane::capi::Texts<2> texts{};
};

struct qv_snapshot_management {
  quorvane::Owned<quorvane::ISnapshotManagement> object;
  quorvane::capi::Texts<1> texts{};
};

struct qv_change_enumerator {
  quorvane::Owned<quorvane::IChangeEnumerator> object;
  quorvane::capi::Texts<2> texts{};
};

struct qv_disk_change_enumerator {
  quorvane::Owned<quorvane::IDiskChangeEnumerator> object;
};
