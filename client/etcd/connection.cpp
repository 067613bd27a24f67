#include "etcd/connection.h"

#include <random>

#include "platform_log.h"

namespace KORA::DistributedKv::Client::Etcd {

namespace {

constexpr const char* kLogTag = "KoraEtcd";
constexpr Milliseconds kProbeTime{30'000};
constexpr Milliseconds kRefusalHolds{10'000};

void Log(int priority, const char* text, const std::string& reason) {
  __android_log_print(priority, kLogTag, "%s%s", text, reason.c_str());
}

std::shared_ptr<grpc::ChannelCredentials> CredentialsOf(const ClusterSettings& settings) {
  if (!settings.UsesTls()) return grpc::InsecureChannelCredentials();
  return grpc::SslCredentials({settings.authority, settings.key, settings.certificate});
}

grpc::ChannelArguments ArgumentsOf(const ClusterSettings& settings) {
  grpc::ChannelArguments arguments;
  // A name may stand for several addresses. It also reconnects unasked, unlike pick_first.
  arguments.SetLoadBalancingPolicyName("round_robin");
  // Only what is known not to have been sent is sent again, and that is seen to elsewhere.
  arguments.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  // Another hub in this process may have other credentials for the same address.
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  // A member that is stopped is noticed by this alone. etcd ends connections that ask more often than every 5
  // s.
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, 10'000);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 3'000);
  // The minimum stays as it is: gRPC takes it as the time-out of connecting.
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, 100);
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, 1'000);
  // What comes is bounded by what was asked for.
  arguments.SetMaxReceiveMessageSize(-1);
  if (settings.UsesTls() && !settings.serverName.empty())
    arguments.SetSslTargetNameOverride(settings.serverName);
  return arguments;
}

}  // namespace

Connection::Connection(ClusterSettings settings, Post post)
    : settings_(std::move(settings)),
      inUse_(std::random_device()() % settings_.endpoints.size()),
      tokens_(!settings_.user.empty(), [this](Tokens::Answer answer) { Authenticate(std::move(answer)); }),
      calls_(std::move(post)) {
  const auto credentials = CredentialsOf(settings_);
  const grpc::ChannelArguments arguments = ArgumentsOf(settings_);
  for (const std::string& endpoint : settings_.endpoints) {
    const auto channel = grpc::CreateCustomChannel("dns:///" + endpoint, credentials, arguments);
    endpoints_.push_back(std::make_unique<Endpoint>(channel));
  }
}

std::string Connection::AddToken(grpc::ClientContext& context) const {
  std::string token = tokens_.Token();
  if (!token.empty()) context.AddMetadata("token", token);
  return token;
}

// To check a password takes the hub some effort, by intent: so one that is wrong is not sent for each
// request.
void Connection::Authenticate(Tokens::Answer answer) {
  if (std::chrono::steady_clock::now() < refusalEnds_) {
    calls_.Start(std::make_unique<AlarmCall>(
        Milliseconds(0), [answer = std::move(answer), refusal = refusal_] { answer(refusal, ""); }));
    return;
  }
  using Response = etcdserverpb::AuthenticateResponse;
  etcdserverpb::AuthenticateRequest message;
  message.set_name(settings_.user);
  message.set_password(settings_.password);
  Request<Response> request;
  request.prepare =
      PrepareBy(&Endpoint::auth, &etcdserverpb::Auth::Stub::PrepareAsyncAuthenticate, std::move(message));
  request.done = [this, answer = std::move(answer)](const Reply<Response>& reply) {
    if (ResultOfRead(reply.status) == Sync::HubResult::kDenied) {
      refusal_ = reply.status;
      refusalEnds_ = std::chrono::steady_clock::now() + kRefusalHolds;
    }
    answer(reply.status, reply.response.token());
  };
  request.deadline = Deadline();
  request.anonymous = true;
  Send(std::move(request));
}

void Connection::Note(size_t endpoint, const grpc::Status& status) {
  if (!IsEndpointLost(status)) {
    Report("");
    return ReportRefusal(status);
  }
  Report(status.error_message());
  Probe(endpoint);
  if (endpoint == inUse_) inUse_ = (inUse_ + 1) % Count();
}

// After a time-out there is no time left.
bool Connection::IsWorthMoving(const grpc::Status& status, size_t& moves) const {
  return status.error_code() == grpc::UNAVAILABLE && ++moves < Count();
}

bool Connection::IsConnected(size_t endpoint) const {
  return endpoints_[endpoint]->channel->GetState(true) == GRPC_CHANNEL_READY;
}

std::unique_ptr<UnaryCall<Connection::Status>> Connection::StatusCall(
    size_t endpoint, Moment deadline, std::function<void(const grpc::Status&)> done) {
  auto call = std::make_unique<UnaryCall<Status>>(
      [this, endpoint](grpc::ClientContext* context, grpc::CompletionQueue* queue) {
        return At(endpoint).maintenance.PrepareAsyncStatus(context, etcdserverpb::StatusRequest(), queue);
      },
      [done = std::move(done)](const Reply<Status>& reply) { done(reply.status); });
  call->Context().set_deadline(deadline);
  return call;
}

void Connection::Knock(size_t endpoint, Moment deadline, std::function<void(const grpc::Status&)> done) {
  calls_.Start(
      StatusCall(endpoint, deadline, [this, endpoint, done = std::move(done)](const grpc::Status& status) {
        Note(endpoint, status);
        done(status);
      }));
}

// gRPC looks at its sockets only while a call waits for them. Requests that fail at once do not, so without
// this one a connection would come back only after many seconds, if ever.
void Connection::Probe(size_t endpoint) {
  if (std::exchange(At(endpoint).probed, true)) return;
  auto call = StatusCall(endpoint, std::chrono::system_clock::now() + kProbeTime,
                         [this, endpoint](const grpc::Status& /*status*/) { At(endpoint).probed = false; });
  call->Context().set_wait_for_ready(true);
  calls_.Start(std::move(call));
}

// Each change once: while the hub is away, requests fail all the time.
void Connection::Report(const std::string& trouble) {
  if (trouble == reported_) return;
  reported_ = trouble;
  if (trouble.empty()) return Log(KORA_LOG_INFO, "the hub answers again", "");
  Log(KORA_LOG_WARN, "the hub does not answer: ", trouble);
}

void Connection::ReportRefusal(const grpc::Status& status) {
  // These belong to the usual course of things.
  const bool usual = status.ok() || status.error_code() == grpc::CANCELLED ||
                     status.error_code() == grpc::OUT_OF_RANGE || IsTokenRefused(status);
  if (usual || status.error_message() == refused_) return;
  refused_ = status.error_message();
  Log(KORA_LOG_WARN, "the hub refuses a request: ", refused_);
}

}  // namespace KORA::DistributedKv::Client::Etcd
