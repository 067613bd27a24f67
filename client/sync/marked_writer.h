// Writes to the hub, each exactly once.
#pragma once

#include <algorithm>
#include <functional>
#include <string>

#include "sync/context.h"
#include "sync/lifetime.h"

namespace KORA::DistributedKv::Client::Sync {

// Every transaction below the store's state replaces this device's marker, on the condition that it is still
// the one that the device knows. So of two attempts only one can succeed, however late the other one arrives;
// and the marker on the hub tells which. One transaction at a time.
class MarkedWriter {
 public:
  // kDone, kRefused, or, when nothing was applied so far, kUnavailable, kFull or kDenied. After kUnavailable
  // the transaction may still come to be applied; whatever is sent next is refused then. kStoreFailed, within
  // Send: there is no number for it, and nothing was sent.
  using Finished = std::function<void(const TransactionAnswer&)>;

  explicit MarkedWriter(Context& context) : context_(context) {}

  bool IsBusy() const { return busy_; }
  // The marker as the hub holds it by an event or a range.
  void Learn(Revision marker) { marker_ = std::max(marker_, marker); }
  // The hub has another history. Forgets a transaction that is under way.
  void Reset(Revision marker);
  // Room for the marker must be left. The conditions' revisions of an answer are those of `transaction`.
  void Send(Transaction transaction, Finished finished);

  // Whether the hub's marker says what this device's rules are, or is about to.
  bool IsAnnounced() const;

 private:
  Marker NewMarker() const;
  void TakeAnswer(TransactionAnswer answer);
  void Probe(Moment backoff);
  void TakeProbe(const RangeAnswer& answer, Moment backoff);
  void End(const TransactionAnswer& answer);

  Context& context_;
  Lifetime lifetime_;
  bool busy_ = false;
  Revision marker_ = 0;    // the hub's, as far as known
  Version number_ = 0;     // of the transaction under way
  std::string announced_;  // the marker that was written last, without its number; empty: not known
  Finished finished_;
};

}  // namespace KORA::DistributedKv::Client::Sync
