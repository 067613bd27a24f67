#include "sync/marked_writer.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

std::string WithoutNumber(Marker marker) {
  marker.number = 0;
  return Encode(marker);
}

}  // namespace

Marker MarkedWriter::NewMarker() const {
  const AdmissionRules& rules = context_.options.rules;
  Marker marker;
  marker.incarnation = context_.state.incarnation;
  marker.securityLevel = rules.securityLevel;
  if (rules.labels) marker.labels.assign(rules.local.begin(), rules.local.end());
  return marker;
}

bool MarkedWriter::IsAnnounced() const {
  const std::string wanted = WithoutNumber(NewMarker());
  if (wanted == announced_) return true;
  const auto own = context_.state.peers.find(context_.options.device);
  if (own == context_.state.peers.end()) return false;
  const auto marker = ParseMarker(own->second.marker);
  return marker && WithoutNumber(*marker) == wanted;
}

void MarkedWriter::Reset(Revision marker) {
  lifetime_.Renew();
  busy_ = false;
  marker_ = marker;
  announced_.clear();
}

void MarkedWriter::Send(Transaction transaction, Finished finished) {
  const std::optional<Version> number = context_.replica.NextVersion();
  if (!number) return finished({HubResult::kStoreFailed, 0, {}});
  busy_ = true;
  finished_ = std::move(finished);
  const std::string key = context_.keys.Marker(context_.options.device);
  Marker marker = NewMarker();
  marker.number = number_ = *number;
  transaction.conditions.push_back({key, Condition::Kind::kEqual, marker_});
  transaction.operations.push_back({key, Encode(marker)});
  announced_ = WithoutNumber(marker);
  context_.hub.Commit(std::move(transaction),
                      lifetime_.Guard([this](TransactionAnswer answer) { TakeAnswer(std::move(answer)); }));
}

void MarkedWriter::TakeAnswer(TransactionAnswer answer) {
  if (answer.result == HubResult::kUnknown) return Probe(context_.options.firstBackoff);
  if (answer.result == HubResult::kDone) marker_ = answer.revision;
  if (answer.result == HubResult::kRefused) {
    // An attempt that was given up may have been applied after all. One that has gone back is of another
    // history, of which nothing has been judged yet: what is sent is refused until Reset.
    Learn(answer.modified.back());
    answer.modified.pop_back();
  }
  End(answer);
}

void MarkedWriter::Probe(Moment backoff) {
  context_.timers.After(backoff, lifetime_.Guard([this, backoff] {
    context_.hub.Get(
        {context_.keys.Marker(context_.options.device)},
        lifetime_.Guard([this, backoff](const RangeAnswer& answer) { TakeProbe(answer, backoff); }));
  }));
}

void MarkedWriter::TakeProbe(const RangeAnswer& answer, Moment backoff) {
  if (answer.result != HubResult::kDone) return Probe(std::min(2 * backoff, context_.options.lastBackoff));
  TransactionAnswer verdict;
  if (!answer.entries.empty()) {
    const HubEntry& entry = answer.entries.front();
    Learn(entry.modified);
    const auto marker = ParseMarker(entry.value);
    if (marker && marker->number == number_) verdict = {HubResult::kDone, entry.modified, {}};
  }
  End(verdict);
}

void MarkedWriter::End(const TransactionAnswer& answer) {
  busy_ = false;
  if (answer.result == HubResult::kDone) {
    context_.state.acknowledged = number_;
  } else {
    announced_.clear();
  }
  const Finished finished = std::move(finished_);
  finished(answer);
}

}  // namespace KORA::DistributedKv::Client::Sync
