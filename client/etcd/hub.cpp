#include "etcd/hub.h"

#include <algorithm>
#include <utility>

#include "etcd/watch.h"

namespace KORA::DistributedKv::Client::Etcd {

namespace {

using KvStub = etcdserverpb::KV::Stub;
using LeaseStub = etcdserverpb::Lease::Stub;

constexpr uint64_t kMillisecondsPerSecond = 1000;

template <typename Keys>
void TakeEntries(Keys& entries, std::vector<Sync::HubEntry>& taken) {
  for (auto& entry : entries) {
    taken.push_back(
        {std::move(*entry.mutable_key()), std::move(*entry.mutable_value()), entry.mod_revision()});
  }
}

etcdserverpb::RequestOp LookUp(const std::string& key, bool keyOnly) {
  etcdserverpb::RequestOp operation;
  operation.mutable_request_range()->set_key(key);
  operation.mutable_request_range()->set_keys_only(keyOnly);
  return operation;
}

etcdserverpb::Compare ToCompare(const Sync::Condition& condition) {
  const bool equal = condition.kind == Sync::Condition::Kind::kEqual;
  etcdserverpb::Compare compare;
  compare.set_key(condition.key);
  compare.set_target(etcdserverpb::Compare::MOD);
  compare.set_result(equal ? etcdserverpb::Compare::EQUAL : etcdserverpb::Compare::LESS);
  compare.set_mod_revision(equal ? condition.modified : condition.modified + 1);
  return compare;
}

etcdserverpb::RequestOp ToOperation(Sync::Operation operation) {
  etcdserverpb::RequestOp converted;
  if (!operation.value) {
    converted.mutable_request_delete_range()->set_key(std::move(operation.key));
    return converted;
  }
  etcdserverpb::PutRequest& put = *converted.mutable_request_put();
  put.set_key(std::move(operation.key));
  put.set_value(std::move(*operation.value));
  put.set_lease(operation.lease);
  return converted;
}

etcdserverpb::TxnRequest ToTxn(Sync::Transaction transaction) {
  etcdserverpb::TxnRequest txn;
  for (const Sync::Condition& condition : transaction.conditions) {
    *txn.add_compare() = ToCompare(condition);
    *txn.add_failure() = LookUp(condition.key, true);
  }
  for (Sync::Operation& operation : transaction.operations) {
    *txn.add_success() = ToOperation(std::move(operation));
  }
  return txn;
}

Sync::TransactionAnswer ToAnswer(const Reply<etcdserverpb::TxnResponse>& reply) {
  Sync::TransactionAnswer answer;
  answer.result = ResultOfWrite(reply.status, reply.sent);
  if (answer.result != Sync::HubResult::kDone) return answer;
  if (reply.response.succeeded()) {
    answer.revision = reply.response.header().revision();
    return answer;
  }
  answer.result = Sync::HubResult::kRefused;
  for (const etcdserverpb::ResponseOp& found : reply.response.responses()) {
    const auto& entries = found.response_range().kvs();
    answer.modified.push_back(entries.empty() ? 0 : entries[0].mod_revision());
  }
  return answer;
}

Prepare<etcdserverpb::TxnResponse> PrepareTxn(etcdserverpb::TxnRequest txn) {
  return PrepareBy(&Endpoint::kv, &KvStub::PrepareAsyncTxn, std::move(txn));
}

Sync::Hub::LeaseAnswer ToLease(const grpc::Status& status, Sync::LeaseId lease, int64_t seconds) {
  const auto remaining = static_cast<uint64_t>(std::max<int64_t>(seconds, 0)) * kMillisecondsPerSecond;
  return {ResultOfRead(status), lease, remaining};
}

}  // namespace

void EtcdHub::Range(const Sync::RangeRequest& request, Then<Sync::RangeAnswer> then) {
  using Response = etcdserverpb::RangeResponse;
  const size_t limit = request.limit == 0 ? page_ : std::min(request.limit, page_);
  etcdserverpb::RangeRequest range;
  range.set_key(request.begin);
  range.set_range_end(request.end);
  range.set_revision(request.revision);
  range.set_limit(static_cast<int64_t>(limit));
  range.set_keys_only(request.keysOnly);
  connection_.Ask<Response>(Kind::kRead,
                            PrepareBy(&Endpoint::kv, &KvStub::PrepareAsyncRange, std::move(range)),
                            [this, limit, then = std::move(then)](Reply<Response> reply) {
                              Adapt(reply.status, limit, reply.response.more());
                              Sync::RangeAnswer answer;
                              answer.result = ResultOfRead(reply.status);
                              answer.revision = reply.response.header().revision();
                              answer.more = reply.response.more();
                              TakeEntries(*reply.response.mutable_kvs(), answer.entries);
                              then(std::move(answer));
                            });
}

void EtcdHub::Adapt(const grpc::Status& status, size_t asked, bool filled) {
  if (status.ok() && filled && asked >= page_) page_ = std::min(kMaxPage, page_ + page_ / 8 + 1);
  if (status.error_code() == grpc::DEADLINE_EXCEEDED) {
    page_ = std::max<size_t>(1, asked / 4);
  }
}

void EtcdHub::Get(const std::vector<std::string>& keys, Then<Sync::RangeAnswer> then) {
  using Response = etcdserverpb::TxnResponse;
  etcdserverpb::TxnRequest txn;
  for (const std::string& key : keys) *txn.add_success() = LookUp(key, false);
  connection_.Ask<Response>(Kind::kRead, PrepareTxn(std::move(txn)),
                            [then = std::move(then)](Reply<Response> reply) {
                              Sync::RangeAnswer answer;
                              answer.result = ResultOfRead(reply.status);
                              answer.revision = reply.response.header().revision();
                              for (etcdserverpb::ResponseOp& found : *reply.response.mutable_responses()) {
                                TakeEntries(*found.mutable_response_range()->mutable_kvs(), answer.entries);
                              }
                              then(std::move(answer));
                            });
}

void EtcdHub::Commit(Sync::Transaction transaction, Then<Sync::TransactionAnswer> then) {
  using Response = etcdserverpb::TxnResponse;
  connection_.Ask<Response>(
      Kind::kWrite, PrepareTxn(ToTxn(std::move(transaction))),
      [then = std::move(then)](const Reply<Response>& reply) { then(ToAnswer(reply)); });
}

std::unique_ptr<Sync::Watch> EtcdHub::StartWatch(const std::string& begin, const std::string& end,
                                                 Sync::Revision from, Sync::WatchListener& listener) {
  return OpenWatch({begin, end, from}, connection_, listener);
}

void EtcdHub::GrantLease(uint64_t milliseconds, Then<LeaseAnswer> then) {
  using Response = etcdserverpb::LeaseGrantResponse;
  etcdserverpb::LeaseGrantRequest request;
  request.set_ttl(static_cast<int64_t>((milliseconds + kMillisecondsPerSecond - 1) / kMillisecondsPerSecond));
  const auto prepare = PrepareBy(&Endpoint::lease, &LeaseStub::PrepareAsyncLeaseGrant, request);
  // One that was granted unheard ends by itself.
  connection_.Ask<Response>(Kind::kRead, prepare, [then = std::move(then)](const Reply<Response>& reply) {
    then(ToLease(reply.status, reply.response.id(), reply.response.ttl()));
  });
}

void EtcdHub::KeepLease(Sync::LeaseId lease, Then<LeaseAnswer> then) {
  using Response = etcdserverpb::LeaseKeepAliveResponse;
  etcdserverpb::LeaseKeepAliveRequest request;
  request.set_id(lease);
  const auto prepare = PrepareBy(&Endpoint::lease, &LeaseStub::PrepareAsyncLeaseKeepAlive, request);
  connection_.Ask<Response>(Kind::kRead, prepare,
                            [lease, then = std::move(then)](const Reply<Response>& reply) {
                              then(ToLease(reply.status, lease, reply.response.ttl()));
                            });
}

void EtcdHub::RevokeLease(Sync::LeaseId lease) {
  using Response = etcdserverpb::LeaseRevokeResponse;
  etcdserverpb::LeaseRevokeRequest request;
  request.set_id(lease);
  const auto prepare = PrepareBy(&Endpoint::lease, &LeaseStub::PrepareAsyncLeaseRevoke, request);
  connection_.Ask<Response>(Kind::kLast, prepare, [](const Reply<Response>& /*reply*/) {});
}

}  // namespace KORA::DistributedKv::Client::Etcd
