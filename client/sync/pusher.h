// Brings what was changed here onto the hub.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sync/context.h"
#include "sync/lifetime.h"
#include "sync/marked_writer.h"

namespace KORA::DistributedKv::Client::Sync {

// Takes the log in order. As many whole commits as fit go into one transaction; one that is larger than a
// transaction is cut. A record that was changed again since goes with its last change, one that the hub has
// already does not go at all. A record is written only where the hub holds nothing for its key that this
// device has not judged: else the transaction is refused, and the watch brings what is in the way.
//
// Push only while the replica is in step: a device that has not seen that a key was deleted must not bring it
// back.
class Pusher {
 public:
  // How the last transaction went, after it was dealt with. kRefused: it is worth another attempt.
  using Finished = std::function<void(HubResult)>;

  Pusher(Context& context, MarkedWriter& writer, Finished finished)
      : context_(context), writer_(writer), finished_(std::move(finished)) {}

  // Sends the next transaction, if there is something to push and none is under way.
  void Push();
  // Ends the pause after a failure: somebody waits.
  void Hurry();
  // The hub has another history.
  void Reset();
  void OnSeen(const std::string& key, const Stamp& stamp);

  // Log entries up to this one are done with.
  LogPosition Pushed() const { return cut_; }

 private:
  struct Known {
    Stamp stamp;
    Revision revision = 0;  // of the own transaction that wrote it; 0: another's
  };
  struct Large {
    std::string key;
    Stamp stamp;
    size_t parts = 0;
    size_t sent = 0;
  };
  struct Outgoing {
    std::string key;
    HubRecord record;
    Revision judged = 0;  // what the hub held up to here was judged before the record was read
  };
  struct Batch {
    std::vector<Outgoing> records;
    std::vector<Large> large;
    size_t operations = 0;
    size_t bytes = 0;
    LogPosition upTo = 0;  // of the log
  };
  // A batch as it was at the end of a commit.
  struct Mark {
    size_t records = 0;
    size_t large = 0;
    LogPosition upTo = 0;
  };

  Status Fill(Batch& batch) const;
  void GoOn();
  Status Add(const LogEntry& entry, Batch& batch, bool& fits) const;
  void SendPart();
  void TakePart(const std::string& key, const TransactionAnswer& answer);
  void Send();
  void TakeAnswer(const TransactionAnswer& answer);
  Status CutLog();
  void Retry(HubResult reason);
  void End(HubResult result);
  bool IsOnHub(const std::string& key, const Stamp& stamp) const;
  Revision JudgedUpTo(const std::string& key) const;

  Context& context_;
  MarkedWriter& writer_;
  Finished finished_;
  Lifetime lifetime_;
  Lifetime pause_;
  bool busy_ = false;
  bool pausing_ = false;  // busy with nothing but waiting
  LogPosition cut_ = 0;
  Revision awaited_ = 0;  // the position that has to be reached before the next attempt
  Moment backoff_ = 0;
  Batch batch_;
  std::vector<Condition> parts_;                  // that the batch's parts are there
  std::unordered_map<std::string, Known> known_;  // what the hub holds, while there is something to push
};

}  // namespace KORA::DistributedKv::Client::Sync
