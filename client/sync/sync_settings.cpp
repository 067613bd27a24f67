#include "sync/sync_settings.h"

#include <algorithm>
#include <utility>

#include "common/big_endian.h"
#include "common/limits.h"
#include "common/log.h"
#include "store/stored_entry.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr Bytes kSyncKey = "msync";
constexpr char kSettingsFormat = 1;
constexpr const char* kWhat = "the entry for synchronisation";

void AppendLabels(const Labels& labels, std::string& out) {
  AppendBigEndian(static_cast<uint16_t>(labels.size()), out);
  for (const std::string& label : labels) {
    AppendBigEndian(static_cast<uint16_t>(label.size()), out);
    out += label;
  }
}

bool TakeLabels(Bytes& stored, Labels& labels) {
  uint16_t count = 0;
  if (!TakeBigEndian(stored, count)) return false;
  for (; count > 0; --count) {
    uint16_t size = 0;
    if (!TakeBigEndian(stored, size) || size > stored.size()) return false;
    labels.emplace_back(stored.substr(0, size));
    stored.remove_prefix(size);
  }
  return true;
}

}  // namespace

std::string EncodeSyncSettings(const SyncSettings& settings) {
  std::string out = {kSettingsFormat, static_cast<char>(settings.capabilityEnabled ? 1 : 0)};
  AppendBigEndian(static_cast<uint32_t>(settings.allowedDelayMs), out);
  AppendLabels(settings.localLabels, out);
  AppendLabels(settings.remoteLabels, out);
  return out;
}

std::optional<SyncSettings> ParseSyncSettings(Bytes stored) {
  SyncSettings settings;
  uint8_t format = 0;
  uint8_t enabled = 0;
  uint32_t delay = 0;
  const bool whole = TakeBigEndian(stored, format) && format == kSettingsFormat &&
                     TakeBigEndian(stored, enabled) && TakeBigEndian(stored, delay) &&
                     TakeLabels(stored, settings.localLabels) && TakeLabels(stored, settings.remoteLabels) &&
                     stored.empty();
  if (!whole || enabled > 1 || delay > INT32_MAX) return std::nullopt;
  settings.capabilityEnabled = enabled == 1;
  settings.allowedDelayMs = static_cast<int32_t>(delay);
  return settings;
}

Status CheckLabels(const Labels& labels) {
  const bool few = labels.size() <= kMaxLabels;
  const bool fit = std::all_of(labels.begin(), labels.end(), [](const std::string& label) {
    return !label.empty() && label.size() <= kMaxLabelSize;
  });
  if (few && fit) return Status::SUCCESS;
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused: labels; allowed are %zu of 1 to %zu bytes",
                      kMaxLabels, kMaxLabelSize);
  return Status::INVALID_ARGUMENT;
}

Status StoredSyncSettings::Load(const View& engine) {
  std::optional<SyncSettings> settings = SyncSettings();
  char format = kSettingsFormat;
  const Status status = engine.Get(kSyncKey, [&](Bytes stored) {
    settings = ParseSyncSettings(stored);
    if (!stored.empty()) format = stored.front();
  });
  if (status == Status::DB_ERROR) return status;
  if (format != kSettingsFormat) return EntryIsOfAnotherVersion(kWhat);
  if (!settings) return EntryIsDamaged(kWhat);
  const std::lock_guard<std::mutex> lock(mutex_);
  settings_ = std::move(*settings);
  return Status::SUCCESS;
}

SyncSettings StoredSyncSettings::Get() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return settings_;
}

Status StoredSyncSettings::Change(Engine& engine, const std::function<void(SyncSettings&)>& change) {
  const std::lock_guard<std::mutex> lock(mutex_);
  SyncSettings changed = settings_;
  change(changed);
  const std::unique_ptr<Batch> batch = engine.NewBatch();
  batch->Put(kSyncKey, EncodeSyncSettings(changed), {});
  const Status status = batch->Commit();
  if (status == Status::SUCCESS) settings_ = std::move(changed);
  return status;
}

}  // namespace KORA::DistributedKv::Client
