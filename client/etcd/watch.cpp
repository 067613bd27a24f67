#include "etcd/watch.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace KORA::DistributedKv::Client::Etcd {

using Sync::HubEvent;
using Sync::HubResult;

namespace {

// What a stream brings.
class StreamOwner {
 public:
  StreamOwner() = default;
  StreamOwner(const StreamOwner&) = delete;
  StreamOwner& operator=(const StreamOwner&) = delete;
  virtual ~StreamOwner() = default;

  virtual void OnResponse(etcdserverpb::WatchResponse& response) = 0;
  // As the last.
  virtual void OnFinished(const grpc::Status& status) = 0;
};

// The steps of a stream: start, one request, responses, end.
class Stream final : public Call {
 public:
  Stream(Endpoint& endpoint, std::shared_ptr<grpc::ClientContext> context, etcdserverpb::WatchRequest request,
         std::shared_ptr<StreamOwner> owner)
      : endpoint_(endpoint),
        context_(std::move(context)),
        request_(std::move(request)),
        owner_(std::move(owner)) {}

  void Start(grpc::CompletionQueue& queue) override {
    stream_ = endpoint_.watch.PrepareAsyncWatch(context_.get(), &queue);
    stream_->StartCall(this);
  }

  bool Proceed(bool ok) override {
    if (step_ == Step::kFinishing) {
      owner_->OnFinished(status_);
      return false;
    }
    if (!ok) {
      step_ = Step::kFinishing;
      stream_->Finish(&status_, this);
      return true;
    }
    if (step_ == Step::kStarting) {
      step_ = Step::kRequesting;
      stream_->Write(request_, this);
      return true;
    }
    if (step_ == Step::kReading) owner_->OnResponse(response_);
    step_ = Step::kReading;
    stream_->Read(&response_, this);
    return true;
  }

  void Cancel() override { context_->TryCancel(); }

 private:
  enum class Step { kStarting, kRequesting, kReading, kFinishing };

  Endpoint& endpoint_;
  const std::shared_ptr<grpc::ClientContext> context_;
  const etcdserverpb::WatchRequest request_;
  const std::shared_ptr<StreamOwner> owner_;
  grpc::Status status_;
  etcdserverpb::WatchResponse response_;
  std::unique_ptr<grpc::ClientAsyncReaderWriter<etcdserverpb::WatchRequest, etcdserverpb::WatchResponse>>
      stream_;
  Step step_ = Step::kStarting;
};

HubEvent ToEvent(etcdserverpb::Event& event) {
  etcdserverpb::KeyValue& entry = *event.mutable_kv();
  HubEvent converted{std::move(*entry.mutable_key()), std::nullopt, entry.mod_revision()};
  if (event.type() == etcdserverpb::Event::PUT) converted.value = std::move(*entry.mutable_value());
  return converted;
}

// Why the hub has ended a watch.
HubResult ReasonOf(const etcdserverpb::WatchResponse& response) {
  if (response.compact_revision() > 0) return HubResult::kCompacted;
  return SpeaksOfRights(response.cancel_reason()) ? HubResult::kDenied : HubResult::kUnavailable;
}

// A watch with all the streams that it takes until one has begun.
class Watcher final : public StreamOwner, public std::enable_shared_from_this<Watcher> {
 public:
  Watcher(WatchRange range, Connection& connection, Sync::WatchListener& listener)
      : range_(std::move(range)), connection_(connection), listener_(&listener) {}

  void Begin();
  // The connection may be gone when this is called.
  void Cancel() {
    listener_ = nullptr;
    EndStream();
  }

  void OnResponse(etcdserverpb::WatchResponse& response) override;
  void OnFinished(const grpc::Status& status) override;

 private:
  void Open();
  void LimitTime();
  bool IsWorthAnother(const grpc::Status& status);
  void EndStream();
  void Deliver(etcdserverpb::WatchResponse& response);
  void End(HubResult result);

  const WatchRange range_;
  Connection& connection_;
  Sync::WatchListener* listener_;               // null: the watch has ended
  std::weak_ptr<grpc::ClientContext> context_;  // of the stream, as long as there is one
  size_t endpoint_ = 0;
  size_t moves_ = 0;  // endpoints that were lost
  std::string token_;
  bool renewed_ = false;  // the token
  bool started_ = false;
  bool late_ = false;
  HubResult ended_ = HubResult::kDone;  // why the hub has ended the watch; kDone: it has not
  std::vector<HubEvent> held_;          // until it is known that their revision is complete
};

void Watcher::Begin() {
  connection_.AwaitToken([self = shared_from_this()](const grpc::Status& status) {
    if (self->listener_ == nullptr) return;
    if (!status.ok()) return self->End(ResultOfRead(status));
    self->Open();
    self->LimitTime();
  });
}

void Watcher::Open() {
  etcdserverpb::WatchRequest request;
  etcdserverpb::WatchCreateRequest& create = *request.mutable_create_request();
  create.set_key(range_.begin);
  create.set_range_end(range_.end);
  create.set_start_revision(range_.from);
  create.set_fragment(true);
  auto context = std::make_shared<grpc::ClientContext>();
  context_ = context;
  // A member without a leader then ends the watch instead of keeping silent.
  context->AddMetadata("hasleader", "true");
  token_ = connection_.AddToken(*context);
  endpoint_ = connection_.InUse();
  connection_.Start(std::make_unique<Stream>(connection_.At(endpoint_), std::move(context),
                                             std::move(request), shared_from_this()));
}

void Watcher::LimitTime() {
  connection_.Start(std::make_unique<AlarmCall>(connection_.Timeout(), [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self || self->started_) return;
    self->late_ = true;
    self->EndStream();
  }));
}

void Watcher::EndStream() {
  if (const auto context = context_.lock()) context->TryCancel();
}

void Watcher::OnResponse(etcdserverpb::WatchResponse& response) {
  if (listener_ == nullptr) return;
  if (response.canceled()) {
    ended_ = ReasonOf(response);
    return EndStream();
  }
  if (response.created()) {
    started_ = true;
    listener_->OnStarted();
  }
  Deliver(response);
}

// A large response comes in fragments, and the cut may go through a revision.
void Watcher::Deliver(etcdserverpb::WatchResponse& response) {
  for (etcdserverpb::Event& event : *response.mutable_events()) held_.push_back(ToEvent(event));
  const auto isOpen = [this](const HubEvent& event) { return event.revision == held_.back().revision; };
  const auto open = response.fragment() ? std::find_if(held_.begin(), held_.end(), isOpen) : held_.end();
  std::vector<HubEvent> rest(std::make_move_iterator(open), std::make_move_iterator(held_.end()));
  held_.erase(open, held_.end());
  held_.swap(rest);
  if (listener_ != nullptr && !rest.empty()) listener_->OnEvents(std::move(rest));
}

void Watcher::OnFinished(const grpc::Status& status) {
  if (listener_ == nullptr) return;
  const grpc::Status noted =
      late_ ? grpc::Status(grpc::DEADLINE_EXCEEDED, "a watch was not begun in time") : status;
  connection_.Note(endpoint_, noted);
  if (IsWorthAnother(noted)) return Begin();
  const HubResult result = ended_ == HubResult::kDone ? ResultOfRead(noted) : ended_;
  End(result == HubResult::kDone ? HubResult::kUnavailable : result);
}

bool Watcher::IsWorthAnother(const grpc::Status& status) {
  if (started_ || late_) return false;
  if (status.error_code() == grpc::UNAVAILABLE) return ++moves_ < connection_.Count();
  // etcd says this of a token that has ended, too.
  if (ended_ != HubResult::kDenied || renewed_ || !connection_.DiscardToken(token_)) return false;
  renewed_ = true;
  ended_ = HubResult::kDone;
  return true;
}

void Watcher::End(HubResult result) {
  std::exchange(listener_, nullptr)->OnEnd(result);
}

class Handle final : public Sync::Watch {
 public:
  explicit Handle(std::shared_ptr<Watcher> watcher) : watcher_(std::move(watcher)) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() override { watcher_->Cancel(); }

 private:
  const std::shared_ptr<Watcher> watcher_;
};

}  // namespace

std::unique_ptr<Sync::Watch> OpenWatch(WatchRange range, Connection& connection,
                                       Sync::WatchListener& listener) {
  auto watcher = std::make_shared<Watcher>(std::move(range), connection, listener);
  watcher->Begin();
  return std::make_unique<Handle>(std::move(watcher));
}

}  // namespace KORA::DistributedKv::Client::Etcd
