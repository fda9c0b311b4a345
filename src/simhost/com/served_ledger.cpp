#include "simhost/com/served_ledger.h"

#include <objbase.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>

namespace quorvane::sim::com {
namespace {

enum class Kind { String, Array };

// Where a string or an array starts inside the block the COM allocator gave: a string after its
// length (4 bytes, or 8 where the length is padded for alignment), an array after the 16 bytes
// that hold its element type's identifier.
constexpr std::size_t kStringOffsets[] = {4, 8};
constexpr std::size_t kArrayOffset = 16;

// The allocator and its spy are the process's: so is this record.
struct Ledger {
  std::mutex mutex;
  // Read without the lock, so that served objects made while nothing counts take none.
  std::atomic<bool> counting = false;
  std::map<const void*, Kind> handedOut;
  std::set<const void*> objects;

  void Freed(const void* block) {
    if (block == nullptr) {
      return;
    }
    const auto* start = static_cast<const char*>(block);
    std::lock_guard lock(mutex);
    for (const std::size_t offset : kStringOffsets) {
      const auto found = handedOut.find(start + offset);
      if (found != handedOut.end() && found->second == Kind::String) {
        handedOut.erase(found);
        return;
      }
    }
    const auto found = handedOut.find(start + kArrayOffset);
    if (found != handedOut.end() && found->second == Kind::Array) {
      handedOut.erase(found);
    }
  }
};

Ledger& TheLedger() {
  static Ledger ledger;
  return ledger;
}

// A COM interface has no virtual destructor: the watcher lives as long as the process.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Sees every block the process frees through the COM allocator, and changes nothing.
class FreeWatcher final : public IMallocSpy {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) {
      return E_POINTER;
    }
    if (iid == __uuidof(IUnknown) || iid == __uuidof(IMallocSpy)) {
      *out = static_cast<IMallocSpy*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  // Registered for the rest of the process: never deleted.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
  void* STDMETHODCALLTYPE PostAlloc(void* actual) override { return actual; }
  void* STDMETHODCALLTYPE PreFree(void* request, BOOL) override {
    TheLedger().Freed(request);
    return request;
  }
  void STDMETHODCALLTYPE PostFree(BOOL) override {}
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* request, SIZE_T size, void** newRequest,
                                      BOOL) override {
    TheLedger().Freed(request);
    *newRequest = request;
    return size;
  }
  void* STDMETHODCALLTYPE PostRealloc(void* actual, BOOL) override { return actual; }
  void* STDMETHODCALLTYPE PreGetSize(void* request, BOOL) override { return request; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T actual, BOOL) override { return actual; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* request, BOOL) override { return request; }
  int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

void Note(const void* start, Kind kind) {
  Ledger& ledger = TheLedger();
  if (!ledger.counting || start == nullptr) {
    return;
  }
  std::lock_guard lock(ledger.mutex);
  ledger.handedOut[start] = kind;
}

}  // namespace

void StartCountingHandedOut() {
  static FreeWatcher watcher;
  Ledger& ledger = TheLedger();
  std::lock_guard lock(ledger.mutex);
  if (!ledger.counting) {
    ledger.counting = SUCCEEDED(CoRegisterMallocSpy(&watcher));
  }
}

Outstanding HandedOutNotBack() {
  Ledger& ledger = TheLedger();
  std::lock_guard lock(ledger.mutex);
  Outstanding outstanding;
  for (const auto& [start, kind] : ledger.handedOut) {
    ++(kind == Kind::String ? outstanding.strings : outstanding.arrays);
  }
  outstanding.objects = ledger.objects.size();
  return outstanding;
}

void ClearHandedOut() {
  Ledger& ledger = TheLedger();
  std::lock_guard lock(ledger.mutex);
  ledger.handedOut.clear();
  ledger.objects.clear();
}

void NoteHandedOut(BSTR text) {
  Note(text, Kind::String);
}

void NoteHandedOut(SAFEARRAY* array) {
  Note(array, Kind::Array);
}

void NoteHandedOut(const VARIANT& value) {
  if ((value.vt & VT_ARRAY) != 0 && (value.vt & VT_BYREF) == 0) {
    NoteHandedOut(value.parray);
  } else if (value.vt == VT_BSTR) {
    NoteHandedOut(value.bstrVal);
  }
}

void NoteObjectMade(const void* object) {
  Ledger& ledger = TheLedger();
  if (ledger.counting) {
    std::lock_guard lock(ledger.mutex);
    ledger.objects.insert(object);
  }
}

// Counting, once started, goes on for the rest of the process: an object made before it is
// simply not in the set.
void NoteObjectGone(const void* object) {
  Ledger& ledger = TheLedger();
  if (ledger.counting) {
    std::lock_guard lock(ledger.mutex);
    ledger.objects.erase(object);
  }
}

}  // namespace quorvane::sim::com
