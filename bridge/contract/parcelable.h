// The utility library's base classes, as far as records of the store client derive from them.
#pragma once

#include <cstdint>
#include <vector>

namespace KORA {

// The reference-counting base. The operations are hooks that a counting pointer calls; records that live by
// value, such as Entry, have no counter and never see them called. The layout is part of the binary contract.
class RefBase {
 public:
  RefBase() = default;
  RefBase(const RefBase& /*other*/) noexcept {}  // a copy is counted on its own
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assigns nothing, the counter is the object's own
  RefBase& operator=(const RefBase& /*other*/) noexcept { return *this; }

  virtual void RefPtrCallback() {}
  virtual void OnFirstStrongRef(const void* /*id*/) {}
  virtual void OnLastStrongRef(const void* /*id*/) {}
  virtual void OnLastWeakRef(const void* /*id*/) {}
  virtual bool OnAttemptPromoted(const void* /*id*/) { return true; }
  virtual ~RefBase() = default;

 protected:
  void* counter_ = nullptr;  // the counting pointer's
};

// A record that can be written as bytes.
class Parcelable : public virtual RefBase {
 public:
  // Appends the record to `out`. Returns false, with `out` unchanged, when it can't be written.
  virtual bool Flatten(std::vector<uint8_t>& out) const = 0;
};

}  // namespace KORA
