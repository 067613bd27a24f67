#include "engine/health.h"

#include "common/files.h"
#include "common/log.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr const char* kMark = "DAMAGED";

}  // namespace

void Health::Note(const rocksdb::Status& status) {
  // Once the database has failed, the folder may be another's.
  if (!status.IsCorruption() || dead_ || damaged_.exchange(true)) return;
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s is damaged: %s", folder_.c_str(),
                      status.ToString().c_str());
  if (const std::error_code error = ReplaceFile(folder_ / kMark, "found when it was read\n")) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "%s: %s", (folder_ / kMark).c_str(),
                        error.message().c_str());
  }
}

rocksdb::Status Health::Resume(rocksdb::DB& database) {
  if (!stopped_) return rocksdb::Status::OK();
  rocksdb::Status status = database.Resume();
  // The engine may be at it by itself; then the write tells.
  if (status.IsBusy()) return rocksdb::Status::OK();
  if (status.ok()) stopped_ = false;
  return status;
}

void Health::OnBackgroundError(rocksdb::BackgroundErrorReason reason, rocksdb::Status* error) {
  // A new log found no room. RocksDB takes this for fatal since the old one might not be written out, but
  // each write is, at once. The next write that needs a new log tries again.
  if (reason == rocksdb::BackgroundErrorReason::kMemTable && error->IsNoSpace()) {
    *error = rocksdb::Status::OK();
    return;
  }
  Note(*error);
  stopped_ = true;
  if (error->severity() >= rocksdb::Status::kFatalError) Fail(error->ToString());
}

void Health::Fail(const std::string& reason) {
  if (dead_.exchange(true)) return;
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s has failed for good: %s", folder_.c_str(), reason.c_str());
  if (failed_) failed_();
}

bool IsMarkedDamaged(const std::filesystem::path& folder) {
  std::error_code ignored;
  return std::filesystem::exists(folder / kMark, ignored);
}

}  // namespace KORA::DistributedKv::Client
