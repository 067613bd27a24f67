#include "sync/presence.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "sync/bytes.h"
#include "sync/layout.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

std::string Encode(const DeviceDescription& description) {
  std::string out;
  AppendBytes(out, description.name);
  AppendBytes(out, description.type);
  return out;
}

std::optional<DeviceDescription> ParseDescription(std::string_view bytes) {
  ByteReader reader(bytes);
  DeviceDescription description;
  description.name = reader.ReadBytes();
  description.type = reader.ReadBytes();
  return reader.AtEnd() ? std::optional(std::move(description)) : std::nullopt;
}

}  // namespace

Presence::Presence(Hub& hub, Timers& timers, PresenceOptions options, Changed changed, Contact contact)
    : hub_(hub),
      timers_(timers),
      options_(std::move(options)),
      prefix_(PresencePrefix(options_.nameSpace)),
      changed_(std::move(changed)),
      contact_(std::move(contact)) {}

void Presence::Start() {
  Connect();
}

// With the lease of the attempt before, if the hub still has it: attempts that fail leave no more than one.
void Presence::Connect() {
  if (lease_ == 0) return NewLease();
  hub_.KeepLease(lease_, lifetime_.Guard([this](const Hub::LeaseAnswer& answer) {
    if (answer.result != HubResult::kDone) return Lose(answer.result);
    answer.remaining == 0 ? NewLease() : Announce();
  }));
}

void Presence::NewLease() {
  hub_.GrantLease(options_.lease, lifetime_.Guard([this](const Hub::LeaseAnswer& answer) {
    if (answer.result != HubResult::kDone) return Lose(answer.result);
    lease_ = answer.lease;
    Announce();
  }));
}

void Presence::Announce() {
  Transaction transaction;
  transaction.operations.push_back({prefix_ + options_.device, Encode(options_.description), lease_});
  hub_.Commit(std::move(transaction), lifetime_.Guard([this](const TransactionAnswer& answer) {
    if (answer.result != HubResult::kDone) return Lose(answer.result);
    KeepLease();
    Look();
  }));
}

// Three times in its life, so that one that is lost does no harm.
void Presence::KeepLease() {
  timers_.After(options_.lease / 3, lifetime_.Guard([this] {
    hub_.KeepLease(lease_, lifetime_.Guard([this](const Hub::LeaseAnswer& answer) {
      if (answer.result != HubResult::kDone) return Lose(answer.result);
      answer.remaining == 0 ? ComeBack() : KeepLease();
    }));
  }));
}

void Presence::Look() {
  const KeyRange range = RangeOfPrefix(prefix_);
  RangeWhole(hub_, {range.begin, range.end}, lifetime_.Guard([this, range](const RangeAnswer& answer) {
    if (answer.result != HubResult::kDone) return Lose(answer.result);
    lost_ = false;
    memory_.Renew();
    TakeAll(answer);
    seen_ = answer.revision;
    watch_ = hub_.StartWatch(range.begin, range.end, seen_ + 1, *this);
    contact_(HubResult::kDone);
  }));
}

void Presence::TakeAll(const RangeAnswer& answer) {
  std::map<std::string, DeviceDescription> gone = online_;
  for (const HubEntry& entry : answer.entries) {
    const auto description = ParseDescription(entry.value);
    if (!description) continue;
    const std::string device = entry.key.substr(prefix_.size());
    gone.erase(device);
    Set(device, *description);
  }
  for (const auto& [device, description] : gone) Remove(device);
}

void Presence::OnEvents(std::vector<HubEvent> events) {
  for (const HubEvent& event : events) {
    if (event.revision < seen_) continue;
    seen_ = event.revision;
    const std::string device = event.key.substr(prefix_.size());
    if (device == options_.device) {
      if (!event.value) return ComeBack();
      continue;
    }
    const auto description = event.value ? ParseDescription(*event.value) : std::nullopt;
    if (description) {
      Set(device, *description);
    } else {
      Remove(device);
    }
  }
}

// This device was taken off, but it is there all the same: its lease ran out unnoticed, or another process of
// this device has ended.
void Presence::ComeBack() {
  lifetime_.Renew();
  watch_.reset();
  Connect();
}

void Presence::OnEnd(HubResult reason) {
  Lose(reason);
}

void Presence::Set(const std::string& device, const DeviceDescription& description) {
  if (device == options_.device) return;
  known_[device] = description;
  const auto [entry, added] = online_.emplace(device, description);
  if (!added && entry->second == description) return;
  entry->second = description;
  changed_(device, description, true);
}

void Presence::Remove(const std::string& device) {
  const auto node = online_.extract(device);
  if (!node.empty()) changed_(device, node.mapped(), false);
}

void Presence::Lose(HubResult reason) {
  lifetime_.Renew();
  watch_.reset();
  const bool refused = reason == HubResult::kDenied || reason == HubResult::kFull;
  backoff_ = std::clamp(2 * backoff_, options_.firstBackoff,
                        refused ? options_.lastBackoffIfRefused : options_.lastBackoff);
  timers_.After(backoff_, lifetime_.Guard([this] { Connect(); }));
  if (!std::exchange(lost_, true)) {
    memory_.Renew();
    timers_.After(options_.lease, memory_.Guard([this] {
      while (!online_.empty()) Remove(online_.begin()->first);
    }));
  }
  contact_(reason);
}

Whereabouts Presence::Find(const std::string& device) const {
  if (device == options_.device || online_.count(device) > 0) return Whereabouts::kOnline;
  return known_.count(device) > 0 ? Whereabouts::kOffline : Whereabouts::kUnknown;
}

void Presence::Close() {
  lifetime_.Renew();
  memory_.Renew();
  watch_.reset();
  if (lease_ != 0 && !lost_) hub_.RevokeLease(lease_);
}

}  // namespace KORA::DistributedKv::Client::Sync
