#pragma once

// What the served host hands its clients and what they give back: every string and array it
// hands out must be freed by the client, and every object released. Counting is off until a
// test program starts it; it then watches the process's COM allocator, where strings and arrays
// are freed.
#include "platform/windows_api.h"

#include <oaidl.h>

#include <cstddef>
#include <string>

#include "quorvane/export.h"

namespace quorvane::sim::com {

struct Outstanding {
  std::size_t strings = 0;
  std::size_t arrays = 0;
  std::size_t objects = 0;
  bool Empty() const { return strings == 0 && arrays == 0 && objects == 0; }
};

// For test programs: starts counting (from then on, for the rest of the process); what was
// handed out and not given back since the last clear; forgets it.
QUORVANE_API void StartCountingHandedOut();
QUORVANE_API Outstanding HandedOutNotBack();
QUORVANE_API void ClearHandedOut();

// A string, an array or a variant's string or array, handed to a client, which frees it.
void NoteHandedOut(BSTR text);
void NoteHandedOut(SAFEARRAY* array);
void NoteHandedOut(const VARIANT& value);

// The served objects alive; a served object notes its making and its end.
void NoteObjectMade(const void* object);
void NoteObjectGone(const void* object);

}  // namespace quorvane::sim::com
