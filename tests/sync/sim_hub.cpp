#include "sim_hub.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr Moment kTimeout = 1000;

}  // namespace

const SimHub::Cell* SimHub::Find(const std::string& key, Revision revision) const {
  const auto cells = data_.cells.find(key);
  if (cells == data_.cells.end()) return nullptr;
  const Cell* found = nullptr;
  for (const Cell& cell : cells->second) {
    if (cell.revision <= revision) found = &cell;
  }
  return found && found->value ? found : nullptr;
}

Revision SimHub::ModifiedOf(const std::string& key) const {
  const Cell* cell = Find(key, data_.newest);
  return cell ? cell->revision : 0;
}

RangeAnswer SimHub::Range(const RangeRequest& request) const {
  RangeAnswer answer{HubResult::kDone, data_.newest, {}, false};
  const Revision revision = request.revision == 0 ? data_.newest : request.revision;
  if (revision > data_.newest) answer.result = HubResult::kFuture;
  if (revision < data_.compacted) answer.result = HubResult::kCompacted;
  if (answer.result != HubResult::kDone) return answer;
  for (auto entry = data_.cells.lower_bound(request.begin);
       entry != data_.cells.end() && entry->first < request.end; ++entry) {
    const Cell* cell = Find(entry->first, revision);
    if (!cell) continue;
    answer.more = request.limit > 0 && answer.entries.size() == request.limit;
    if (answer.more) break;
    answer.entries.push_back({entry->first, request.keysOnly ? std::string() : *cell->value, cell->revision});
  }
  return answer;
}

RangeAnswer SimHub::Get(const std::vector<std::string>& keys) const {
  RangeAnswer answer{HubResult::kDone, data_.newest, {}, false};
  for (const std::string& key : keys) {
    if (const Cell* cell = Find(key, data_.newest))
      answer.entries.push_back({key, *cell->value, cell->revision});
  }
  return answer;
}

TransactionAnswer SimHub::Commit(const Transaction& transaction) {
  TransactionAnswer answer{HubResult::kDone, 0, {}};
  std::set<std::string> keys;
  size_t bytes = 0;
  for (const Operation& operation : transaction.operations) {
    bytes += operation.key.size() + operation.value.value_or("").size();
    if (!keys.insert(operation.key).second) std::abort();
  }
  // As etcd has it: these are faults of whoever asks.
  if (transaction.operations.size() > kMaxOperations || transaction.conditions.size() > kMaxOperations)
    std::abort();
  if (bytes > 1'572'864) std::abort();
  for (const Condition& condition : transaction.conditions) {
    const Revision modified = ModifiedOf(condition.key);
    answer.modified.push_back(modified);
    const bool holds = condition.kind == Condition::Kind::kEqual ? modified == condition.modified
                                                                 : modified <= condition.modified;
    if (!holds) answer.result = HubResult::kRefused;
  }
  const bool grows = std::any_of(transaction.operations.begin(), transaction.operations.end(),
                                 [](const Operation& operation) { return operation.value.has_value(); });
  if (answer.result == HubResult::kDone && full_ && grows) answer.result = HubResult::kFull;
  if (answer.result != HubResult::kDone) return answer;
  answer.modified.clear();
  Apply(transaction.operations);
  answer.revision = data_.newest;
  return answer;
}

void SimHub::Apply(const std::vector<Operation>& operations) {
  const Revision revision = ++data_.newest;
  for (const Operation& operation : operations) {
    const Cell* before = Find(operation.key, revision - 1);
    if (!operation.value && !before) continue;
    if (before && replaced_)
      replaced_(operation.key, *before->value, operation.value ? &*operation.value : nullptr);
    data_.cells[operation.key].push_back({revision, operation.value});
    data_.log[revision].push_back({operation.key, operation.value, revision});
    for (auto& [id, lease] : leases_) lease.keys.erase(operation.key);
    if (operation.lease != 0) leases_[operation.lease].keys.insert(operation.key);
  }
  for (const auto& changed : changed_) changed();
}

std::optional<std::vector<HubEvent>> SimHub::Events(const std::string& begin, const std::string& end,
                                                    Revision from, size_t limit) const {
  if (from <= data_.compacted) return std::nullopt;
  std::vector<HubEvent> found;
  for (auto entry = data_.log.lower_bound(from); entry != data_.log.end() && limit > 0; ++entry) {
    const size_t before = found.size();
    for (const HubEvent& event : entry->second) {
      if (event.key >= begin && event.key < end) found.push_back(event);
    }
    if (found.size() > before) --limit;
  }
  return found;
}

void SimHub::Compact(Revision upTo) {
  if (upTo <= data_.compacted || upTo > data_.newest) return;
  data_.compacted = upTo;
  data_.log.erase(data_.log.begin(), data_.log.upper_bound(upTo));
  for (auto entry = data_.cells.begin(); entry != data_.cells.end();) {
    std::vector<Cell>& cells = entry->second;
    while (cells.size() > 1 && cells[1].revision <= upTo) cells.erase(cells.begin());
    if (cells.front().revision <= upTo && !cells.front().value) cells.erase(cells.begin());
    entry = cells.empty() ? data_.cells.erase(entry) : std::next(entry);
  }
}

void SimHub::Restore() {
  data_ = backup_;
  ++epoch_;
  for (const auto& changed : changed_) changed();
}

Hub::LeaseAnswer SimHub::Grant(Moment milliseconds) {
  const LeaseId id = ++lastLease_;
  leases_[id] = {milliseconds, schedule_.Now() + milliseconds, {}};
  schedule_.After(milliseconds, [this, id] { Expire(id); });
  return {HubResult::kDone, id, milliseconds};
}

Hub::LeaseAnswer SimHub::Keep(LeaseId lease) {
  const auto found = leases_.find(lease);
  if (found == leases_.end()) return {HubResult::kDone, lease, 0};
  const Moment milliseconds = found->second.milliseconds;
  found->second.ends = schedule_.Now() + milliseconds;
  schedule_.After(milliseconds, [this, lease] { Expire(lease); });
  return {HubResult::kDone, lease, milliseconds};
}

void SimHub::Expire(LeaseId lease) {
  const auto found = leases_.find(lease);
  if (found != leases_.end() && found->second.ends <= schedule_.Now()) Revoke(lease);
}

void SimHub::Revoke(LeaseId lease) {
  const auto node = leases_.extract(lease);
  if (node.empty() || node.mapped().keys.empty()) return;
  std::vector<Operation> operations;
  for (const std::string& key : node.mapped().keys) operations.push_back({key, std::nullopt});
  Apply(operations);
}

struct SimLine::Stream {
  std::string begin, end;
  Revision next = 0;
  WatchListener* listener = nullptr;
  uint64_t epoch = 0;
  uint64_t process = 0;
  bool started = false;
  bool scheduled = false;
  bool ended = false;
};

class SimLine::SimWatch : public Watch {
 public:
  explicit SimWatch(std::shared_ptr<Stream> stream) : stream_(std::move(stream)) {}
  ~SimWatch() override { stream_->ended = true; }

 private:
  std::shared_ptr<Stream> stream_;
};

SimLine::SimLine(SimHub& hub, Schedule& schedule, Random& random)
    : hub_(hub), schedule_(schedule), random_(random) {
  hub_.OnChange([this] {
    streams_.erase(
        std::remove_if(streams_.begin(), streams_.end(), [](const auto& weak) { return weak.expired(); }),
        streams_.end());
    for (const auto& weak : streams_) {
      if (const auto stream = weak.lock()) SchedulePump(stream);
    }
  });
}

// Requests and answers are lost, each way; a request whose answer comes out as lost may be served long after.
template <typename Answer>
void SimLine::Ask(bool writes, std::function<Answer()> serve, Then<Answer> then) {
  const auto answer = [this, process = process_, then](Moment delay, Answer result) {
    schedule_.After(delay, [this, process, then, result] {
      if (process == process_) then(result);
    });
  };
  Answer failure;
  failure.result = writes ? HubResult::kUnknown : HubResult::kUnavailable;
  if (!up_) {
    failure.result = random_.Percent(50) ? HubResult::kUnavailable : failure.result;
    return answer(random_.Between(1, kTimeout), failure);
  }
  if (random_.Percent(faults_.lossPercent)) return answer(kTimeout, failure);
  const bool late = random_.Percent(faults_.lossPercent);
  const Moment arrives = late ? random_.Between(1, 3 * kTimeout) : Delay();
  const bool lost = late || random_.Percent(faults_.lossPercent);
  if (lost) answer(kTimeout, failure);
  schedule_.After(arrives, [this, serve, answer, lost, failure, epoch = hub_.Epoch()] {
    const Answer served = epoch == hub_.Epoch() ? serve() : failure;
    if (!lost) answer(Delay(), served);
  });
}

RangeAnswer SimLine::InTime(const RangeAnswer& answer) const {
  size_t bytes = 0;
  for (const HubEntry& entry : answer.entries) bytes += entry.key.size() + entry.value.size();
  return bytes > faults_.maxAnswer ? RangeAnswer() : answer;
}

// Now and then with fewer entries than were asked for, as a hub does to which a larger answer would take too
// long.
void SimLine::Range(const RangeRequest& request, Then<RangeAnswer> then) {
  RangeRequest page = request;
  if (random_.Percent(20)) page.limit = random_.Between(1, 2);
  Ask<RangeAnswer>(
      false, [this, page] { return InTime(hub_.Range(page)); }, std::move(then));
}

void SimLine::Get(const std::vector<std::string>& keys, Then<RangeAnswer> then) {
  Ask<RangeAnswer>(
      false, [this, keys] { return InTime(hub_.Get(keys)); }, std::move(then));
}

void SimLine::Commit(Transaction transaction, Then<TransactionAnswer> then) {
  Ask<TransactionAnswer>(
      true, [this, transaction = std::move(transaction)] { return hub_.Commit(transaction); },
      std::move(then));
}

void SimLine::GrantLease(uint64_t milliseconds, Then<LeaseAnswer> then) {
  Ask<LeaseAnswer>(
      true, [this, milliseconds] { return hub_.Grant(milliseconds); }, std::move(then));
}

void SimLine::KeepLease(LeaseId lease, Then<LeaseAnswer> then) {
  Ask<LeaseAnswer>(
      true, [this, lease] { return hub_.Keep(lease); }, std::move(then));
}

void SimLine::RevokeLease(LeaseId lease) {
  if (up_) schedule_.After(Delay(), [this, lease] { hub_.Revoke(lease); });
}

std::unique_ptr<Watch> SimLine::StartWatch(const std::string& begin, const std::string& end, Revision from,
                                           WatchListener& listener) {
  const auto stream = std::make_shared<Stream>();
  stream->begin = begin;
  stream->end = end;
  stream->next = from;
  stream->listener = &listener;
  stream->epoch = hub_.Epoch();
  stream->process = process_;
  streams_.push_back(stream);
  SchedulePump(stream);
  return std::make_unique<SimWatch>(stream);
}

void SimLine::SchedulePump(const std::shared_ptr<Stream>& stream) {
  if (stream->scheduled) return;
  stream->scheduled = true;
  schedule_.After(Delay(), [this, weak = std::weak_ptr<Stream>(stream)] { Pump(weak); });
}

void SimLine::EndStream(Stream& stream, HubResult reason) {
  stream.ended = true;
  stream.listener->OnEnd(reason);
}

void SimLine::Pump(const std::weak_ptr<Stream>& weak) {
  const std::shared_ptr<Stream> stream = weak.lock();
  if (!stream || stream->ended || stream->process != process_) return;
  stream->scheduled = false;
  const bool cut =
      !up_ || random_.Percent(faults_.cutPercent) || (stream->epoch != hub_.Epoch() && stream->started);
  if (cut) return EndStream(*stream, HubResult::kUnavailable);
  stream->epoch = hub_.Epoch();
  const bool first = !std::exchange(stream->started, true);
  if (first) stream->listener->OnStarted();
  if (stream->ended) return;
  // Some of what was delivered already comes again.
  const bool repeat = !first && random_.Percent(faults_.repeatPercent);
  const Revision from = repeat ? std::max<Revision>(stream->next - 4, 1) : stream->next;
  auto events = hub_.Events(stream->begin, stream->end, from, random_.Between(1, 8));
  if (!events && repeat) events = hub_.Events(stream->begin, stream->end, stream->next, 1);
  if (!events) return EndStream(*stream, HubResult::kCompacted);
  if (events->empty()) return;
  stream->next = std::max(stream->next, events->back().revision + 1);
  SchedulePump(stream);
  stream->listener->OnEvents(std::move(*events));
}

}  // namespace KORA::DistributedKv::Client::Sync
