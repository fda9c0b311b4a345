#pragma once

// The shapes most C functions share: read a text, a number or a flag from a handle's object,
// run an action, or make a new handle from what the object creates. Each runs guarded.
#include <cstddef>

#include "capi/c_errors.h"
#include "capi/c_handles.h"

namespace quorvane::capi {

template <typename Handle, typename Object>
qv_status GetText(Handle* handle, std::size_t slot, const wchar_t* (Object::*getter)(),
                  const char** out) noexcept {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    auto& object = ObjectOf(handle);
    result = handle->texts.Hold(slot, (object.*getter)());
  });
}

// Numbers as they are; a flag as 0 or 1.
template <typename Handle, typename Object, typename Value, typename Out>
qv_status GetValue(Handle* handle, Value (Object::*getter)(), Out* out) noexcept {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    auto& object = ObjectOf(handle);
    result = static_cast<Out>((object.*getter)());
  });
}

// The same for an accessor that takes one text, such as a machine's identifier.
template <typename Handle, typename Object, typename Value, typename Out>
qv_status GetValueFor(Handle* handle, Value (Object::*getter)(const wchar_t*), const char* text,
                      Out* out) noexcept {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    auto& object = ObjectOf(handle);
    result = static_cast<Out>((object.*getter)(WideArgument(text).get()));
  });
}

template <typename Handle, typename Action>
qv_status Act(Handle* handle, Action action) noexcept {
  return RunGuarded([&] { action(ObjectOf(handle)); });
}

// `make` gives what the object creates; the new handle owns it.
template <typename Made, typename Handle, typename Make>
qv_status MakeHandle(Handle* handle, Made** out, Make make) noexcept {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    auto& object = ObjectOf(handle);
    result = NewHandle<Made>(make(object));
  });
}

}  // namespace quorvane::capi
