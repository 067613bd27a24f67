// The way to the members of the hub's cluster.
//
// There is a channel for each endpoint, and one of them in use, from a random one on: so devices spread over
// the members. When the one in use can't be reached or does not answer in time, the next takes its place. A
// request is repeated elsewhere only when it certainly has not left this device.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "etcd.grpc.pb.h"
#include "etcd/calls.h"
#include "etcd/outcome.h"
#include "etcd/tokens.h"

namespace KORA::DistributedKv::Client::Etcd {

struct Endpoint {
  explicit Endpoint(const std::shared_ptr<grpc::Channel>& to)
      : channel(to), kv(to), watch(to), lease(to), auth(to), maintenance(to) {}

  const std::shared_ptr<grpc::Channel> channel;
  etcdserverpb::KV::Stub kv;
  etcdserverpb::Watch::Stub watch;
  etcdserverpb::Lease::Stub lease;
  etcdserverpb::Auth::Stub auth;
  etcdserverpb::Maintenance::Stub maintenance;
  bool probed = false;
};

enum class Kind {
  kRead,  // or what does no harm if it is done twice
  kWrite,
  kLast,  // a read that goes on when the connection is closed
};

template <typename Response>
using Reader = std::unique_ptr<grpc::ClientAsyncResponseReader<Response>>;
// Makes the call of a request to an endpoint.
template <typename Response>
using Prepare = std::function<Reader<Response>(Endpoint&, grpc::ClientContext*, grpc::CompletionQueue*)>;

// By a method of one of the endpoint's stubs.
template <typename Stub, typename Message, typename Response>
Prepare<Response> PrepareBy(Stub Endpoint::*stub,
                            Reader<Response> (Stub::*method)(grpc::ClientContext*, const Message&,
                                                             grpc::CompletionQueue*),
                            Message message) {
  return [stub, method, message = std::move(message)](Endpoint& endpoint, grpc::ClientContext* context,
                                                      grpc::CompletionQueue* queue) {
    return ((endpoint.*stub).*method)(context, message, queue);
  };
}

// One thread, that of the synchronisation.
class Connection {
 public:
  template <typename Response>
  using Done = std::function<void(Reply<Response>)>;

  Connection(ClusterSettings settings, Post post);

  // Sends a request, with a token if the hub wants one. `done` is called later, once.
  template <typename Response>
  void Ask(Kind kind, Prepare<Response> prepare, Done<Response> done) {
    Authorize(Request<Response>{kind, std::move(prepare), std::move(done), Deadline()});
  }

  // For calls that go on.
  // `ready` is called when there is a token, or with the reason why there is none.
  void AwaitToken(Tokens::Waiter ready) { tokens_.Await(std::move(ready)); }
  // Adds what the hub wants to see of the caller; returns the token in it.
  std::string AddToken(grpc::ClientContext& context) const;
  bool DiscardToken(const std::string& token) { return tokens_.Discard(token); }
  size_t InUse() const { return inUse_; }
  size_t Count() const { return endpoints_.size(); }
  Endpoint& At(size_t index) { return *endpoints_[index]; }
  void Start(std::unique_ptr<Call> call) { calls_.Start(std::move(call)); }
  // To be told how each call ended, so that a lost endpoint is left.
  void Note(size_t endpoint, const grpc::Status& status);
  Milliseconds Timeout() const { return settings_.timeout; }

 private:
  using Moment = std::chrono::system_clock::time_point;
  using Status = etcdserverpb::StatusResponse;

  // A request with all its attempts.
  template <typename Response>
  struct Request {
    Kind kind = Kind::kRead;
    Prepare<Response> prepare;
    Done<Response> done;
    Moment deadline;
    size_t moves = 0;      // endpoints that were lost
    bool renewed = false;  // the token
    bool anonymous = false;
  };

  Moment Deadline() const { return std::chrono::system_clock::now() + settings_.timeout; }

  template <typename Response>
  void Authorize(Request<Response> request) {
    AwaitToken([this, request = std::move(request)](const grpc::Status& status) {
      if (!status.ok()) return request.done({status, {}, false});
      Send(request);
    });
  }

  template <typename Response>
  void Send(Request<Response> request) {
    const size_t endpoint = inUse_;
    if (request.kind != Kind::kWrite || IsConnected(endpoint)) return Transmit(endpoint, std::move(request));
    const Moment deadline = request.deadline;
    Knock(endpoint, deadline, [this, request = std::move(request)](const grpc::Status& status) mutable {
      if (!IsEndpointLost(status)) return Send(std::move(request));
      if (IsWorthMoving(status, request.moves)) return Send(std::move(request));
      request.done({status, {}, false});
    });
  }

  template <typename Response>
  void Transmit(size_t endpoint, Request<Response> request) {
    auto token = std::make_shared<std::string>();
    auto call = std::make_unique<UnaryCall<Response>>(
        [this, endpoint, prepare = request.prepare](grpc::ClientContext* context,
                                                    grpc::CompletionQueue* queue) {
          return prepare(At(endpoint), context, queue);
        },
        [this, endpoint, request, token](Reply<Response> reply) {
          Note(endpoint, reply.status);
          Finish(request, *token, std::move(reply));
        });
    call->Context().set_deadline(request.deadline);
    if (!request.anonymous) *token = AddToken(call->Context());
    if (request.kind == Kind::kLast) call->Insist();
    calls_.Start(std::move(call));
  }

  template <typename Response>
  void Finish(Request<Response> request, const std::string& token, Reply<Response> reply) {
    if (request.kind != Kind::kWrite && IsWorthMoving(reply.status, request.moves))
      return Send(std::move(request));
    const bool tokenRefused = IsTokenRefused(reply.status) && !request.anonymous;
    if (!tokenRefused || request.renewed || !DiscardToken(token)) return request.done(std::move(reply));
    request.renewed = true;
    request.deadline = Deadline();
    Authorize(std::move(request));
  }

  bool IsWorthMoving(const grpc::Status& status, size_t& moves) const;
  bool IsConnected(size_t endpoint) const;
  void Knock(size_t endpoint, Moment deadline, std::function<void(const grpc::Status&)> done);
  void Authenticate(Tokens::Answer answer);
  void Probe(size_t endpoint);
  std::unique_ptr<UnaryCall<Status>> StatusCall(size_t endpoint, Moment deadline,
                                                std::function<void(const grpc::Status&)> done);
  void ReportRefusal(const grpc::Status& status);
  void Report(const std::string& trouble);

  const ClusterSettings settings_;
  std::vector<std::unique_ptr<Endpoint>> endpoints_;
  size_t inUse_ = 0;
  std::string reported_;  // the last trouble; empty: the hub has answered since
  std::string refused_;   // the last refusal
  grpc::Status refusal_;  // of user and password, good until then
  std::chrono::steady_clock::time_point refusalEnds_;
  Tokens tokens_;
  Calls calls_;  // ends first
};

}  // namespace KORA::DistributedKv::Client::Etcd
