// The utility library's base classes, as far as records of the store client derive from them.
#pragma once

namespace KORA {

// The reference-counting base. The operations are hooks that a counting pointer calls; records that live by
// value, such as Entry, never see them called.
class RefBase {
 public:
  RefBase() = default;
  RefBase(const RefBase&) = default;
  RefBase& operator=(const RefBase&) = default;

  virtual void RefPtrCallback() {}
  virtual ~RefBase() = default;
  virtual void OnFirstStrongRef(const void* /*id*/) {}
  virtual void OnLastStrongRef(const void* /*id*/) {}
  virtual void OnLastWeakRef(const void* /*id*/) {}
  virtual bool OnAttemptPromoted(const void* /*id*/) { return true; }
};

class Parcelable : public virtual RefBase {
 public:
  Parcelable() = default;
  Parcelable(const Parcelable&) = default;
  Parcelable& operator=(const Parcelable&) = default;
  ~Parcelable() override = default;
};

}  // namespace KORA
