// The set of objects that are open right now, by address and kind. Every object behind a
// handle is entered here when it opens. A call finds its object and takes a hold on it in one
// step; a close marks the object closing, after which nobody gets a new hold, and what is
// left of the object is finalised when the last hold is given back. So a call never reads an
// object that was freed, and a stale or foreign handle is refused without its memory being
// read.
#pragma once

#include <cstdint>
#include <utility>

namespace sc::live {

// One open object's record. Records are never returned to the system (a closed object's record
// is reused for a later one), so a lookup racing with a close reads a stale record, never
// freed memory.
struct Entry;

// Releases what is left of a closed object once nobody holds it. Called exactly once, from
// the thread that gives back the last hold (or from the close itself when nobody held it).
using Finalize = void (*)(void *object);

// Enters an open object. Null when the set cannot grow (out of memory); the object must then
// not be handed out. Counts as an opening for the quarantine of freed objects.
Entry *Add(void *object, uint32_t kind, Finalize finalize);
// The open object of this address and kind with a hold taken on it, or null when there is
// none (never entered, closed, or closing).
Entry *Hold(const void *object, uint32_t kind);
// One more hold on an object already held (an object that keeps its parent alive).
void HoldAgain(Entry *entry);
// Gives one hold back; the last one of a closed object finalises it.
void Leave(Entry *entry);
// Marks the object closing (no new holds) and takes it out of the set. False, and nothing
// changed, when it was closing already. The caller's own hold stays until it leaves.
bool Close(Entry *entry);
bool IsClosing(const Entry *entry);
void *ObjectOf(const Entry *entry);

// A hold for one scope, given back at its end unless handed on with Release().
template <class T>
class Held {
 public:
  Held() = default;
  Held(const void *object, uint32_t kind) : entry_(object ? Hold(object, kind) : nullptr) {}
  explicit Held(Entry *held) : entry_(held) {}
  Held(Held &&other) noexcept : entry_(std::exchange(other.entry_, nullptr)) {}
  Held &operator=(Held &&other) noexcept {
    std::swap(entry_, other.entry_);
    return *this;
  }
  ~Held() {
    if (entry_) Leave(entry_);
  }

  explicit operator bool() const { return entry_ != nullptr; }
  T *get() const { return entry_ ? static_cast<T *>(ObjectOf(entry_)) : nullptr; }
  T *operator->() const { return get(); }
  T &operator*() const { return *get(); }
  Entry *entry() const { return entry_; }
  bool closing() const { return IsClosing(entry_); }
  // The hold goes on with the caller, who gives it back with Leave.
  Entry *Release() { return std::exchange(entry_, nullptr); }

 private:
  Entry *entry_ = nullptr;
};

}  // namespace sc::live
