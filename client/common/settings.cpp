#include "common/settings.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

#include "common/files.h"
#include "common/log.h"
#include "common/numbers.h"
#include "common/rate_limiter.h"
#include "common/utf8.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr uint64_t kMinMemoryBudget = uint64_t{8} << 20;
constexpr uint64_t kMaxMemoryBudget = uint64_t{64} << 30;
constexpr size_t kMaxDeviceText = 128;

bool TakePath(std::string_view value, std::filesystem::path& path) {
  if (value.empty() || value.find('\0') != std::string_view::npos) return false;
  std::error_code error;
  path = std::filesystem::absolute(value, error).lexically_normal();
  return !error;
}

bool TakeHome(std::string_view value, Settings& settings) {
  return TakePath(value, settings.home);
}

bool TakeKeyFile(std::string_view value, Settings& settings) {
  return TakePath(value, settings.keyFile);
}

bool TakeDurability(std::string_view value, Settings& settings) {
  settings.durability = value == "power" ? Durability::kPower : Durability::kProcess;
  return value == "power" || value == "process";
}

bool TakeMemoryBudget(std::string_view value, Settings& settings) {
  return TakeNumber(value, kMinMemoryBudget, kMaxMemoryBudget, settings.memoryBudget);
}

bool TakeRateLimit(std::string_view value, Settings& settings) {
  return TakeNumber(value, 0, kMaxRate, settings.rateLimit);
}

bool TakeAccess(std::string_view value, Settings& settings) {
  settings.access = value == "read-only" ? Access::kReadOnly : Access::kReadWrite;
  return value == "read-only" || value == "read-write";
}

bool TakeBackupInterval(std::string_view value, Settings& settings) {
  constexpr uint64_t kSecondsOfADay = 86'400;
  uint64_t seconds = 0;
  const bool taken = TakeNumber(value, 1, kSecondsOfADay, seconds);
  settings.backupInterval = std::chrono::seconds(seconds);
  return taken;
}

bool TakeDeviceText(std::string_view value, std::string& text) {
  text = value;
  return !value.empty() && value.size() <= kMaxDeviceText && ToModifiedUtf8(value);
}

bool TakeDeviceName(std::string_view value, Settings& settings) {
  return TakeDeviceText(value, settings.deviceName);
}

bool TakeDeviceType(std::string_view value, Settings& settings) {
  return TakeDeviceText(value, settings.deviceType);
}

template <bool (*Take)(std::string_view, ClusterSettings&)>
bool TakeCluster(std::string_view value, Settings& settings) {
  return Take(value, settings.cluster);
}

constexpr const char* kPemAllowed = "PEM text or the name of a file of it";

struct Setting {
  const char* name = nullptr;
  const char* variable = nullptr;  // null: not in the environment
  const char* allowed = nullptr;
  bool (*take)(std::string_view value, Settings& settings) = nullptr;
  bool secret = false;  // not to be shown, not even when it is wrong
};
constexpr std::array<Setting, 21> kSettings = {{
    {"home", "KORA_DATA_HOME", "a folder", TakeHome},
    {"durability", "KORA_DATA_DURABILITY", "process or power", TakeDurability},
    {"memory.budget", "KORA_DATA_MEMORY_BUDGET",
     "a number of bytes from 8388608 (8 MiB) to 68719476736 (64 GiB)", TakeMemoryBudget},
    {"encryption.key.file", "KORA_DATA_KEY_FILE", "a file", TakeKeyFile},
    {"backup.interval", "KORA_DATA_BACKUP_INTERVAL", "a number of seconds from 1 to 86400",
     TakeBackupInterval},
    {"access", "KORA_DATA_ACCESS", "read-write or read-only", TakeAccess},
    {"rate.limit", "KORA_DATA_RATE_LIMIT", "a number of operations a second to 1000000, or 0 for no limit",
     TakeRateLimit},
    {"device.name", nullptr, "1 to 128 bytes of UTF-8", TakeDeviceName},
    {"device.type", nullptr, "1 to 128 bytes of UTF-8", TakeDeviceType},
    {"cluster.endpoints", "KORA_DATA_ENDPOINTS",
     "1 to 16 of host:port, with commas between, and http:// or https:// in front of each or of none",
     TakeCluster<TakeEndpoints>},
    {"cluster.ca", "KORA_DATA_CLUSTER_CA", kPemAllowed, TakeCluster<TakeAuthority>},
    {"cluster.certificate", "KORA_DATA_CLUSTER_CERTIFICATE", kPemAllowed, TakeCluster<TakeCertificate>},
    {"cluster.key", "KORA_DATA_CLUSTER_KEY", kPemAllowed, TakeCluster<TakeKey>, true},
    {"cluster.server.name", "KORA_DATA_CLUSTER_SERVER_NAME", "a host name", TakeCluster<TakeServerName>},
    {"cluster.user", "KORA_DATA_CLUSTER_USER", "1 to 128 bytes", TakeCluster<TakeUser>},
    {"cluster.password", "KORA_DATA_CLUSTER_PASSWORD", "1 to 1024 bytes", TakeCluster<TakePassword>, true},
    {"cluster.password.file", "KORA_DATA_CLUSTER_PASSWORD_FILE", "a file of 1 to 1024 bytes",
     TakeCluster<TakePasswordFile>},
    {"cluster.namespace", "KORA_DATA_CLUSTER_NAMESPACE", "1 to 128 of A-Z a-z 0-9 . _ - with no dot in front",
     TakeCluster<TakeNameSpace>},
    {"cluster.lease", "KORA_DATA_CLUSTER_LEASE", "a number of milliseconds from 2000 to 3600000",
     TakeCluster<TakeLease>},
    {"cluster.timeout", "KORA_DATA_CLUSTER_TIMEOUT", "a number of milliseconds from 100 to 60000",
     TakeCluster<TakeTimeout>},
    {"cluster.death.after", "KORA_DATA_CLUSTER_DEATH_AFTER",
     "a number of milliseconds from 1000 to 86400000, or 0 for never", TakeCluster<TakeDeathAfter>},
}};

// Settings for the same: the one that is configured later takes the other's place.
constexpr std::array kAlternatives = {
    std::pair{"cluster.password", "cluster.password.file"},
    std::pair{"cluster.password.file", "cluster.password"},
};

const Setting* FindSetting(std::string_view name) {
  for (const Setting& setting : kSettings) {
    if (name == setting.name) return &setting;
  }
  return nullptr;
}

// Foreign text on its way into a message: whatever is not printable ASCII becomes \xNN, and what is long is
// cut.
std::string Quote(std::string_view text) {
  constexpr size_t kMaxShown = 200;
  constexpr char kDigits[] = "0123456789abcdef";
  std::string quoted = "'";
  for (const char character : text.substr(0, kMaxShown)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= ' ' && byte <= '~') {
      quoted += character;
    } else {
      quoted.append({'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return quoted + (text.size() > kMaxShown ? "...'" : "'");
}

std::string NamesOfSettings() {
  std::string names;
  for (const Setting& setting : kSettings) names += (names.empty() ? "" : ", ") + std::string(setting.name);
  return names;
}

// Each returns what is wrong, or an empty text.
std::string Take(const Setting& setting, const std::string& called, const std::string& value,
                 Settings& settings) {
  if (setting.take(value, settings)) return {};
  const std::string shown = setting.secret ? "what is set" : Quote(value);
  return called + ": " + shown + " is not allowed; allowed is " + setting.allowed;
}

std::string TakeProperties(const Properties& properties, Settings& settings) {
  for (const auto& [name, value] : properties) {
    const Setting* setting = FindSetting(name);
    if (setting == nullptr) return Quote(name) + " is not a setting; settings are " + NamesOfSettings();
    if (std::string error = Take(*setting, setting->name, value, settings); !error.empty()) return error;
  }
  return {};
}

std::string TakeFile(const std::string& name, Settings& settings) {
  const std::string called = "KORA_DATA_CONFIG: " + Quote(name);
  std::string text;
  if (const std::error_code error = ReadFile(name, text)) return called + ": " + error.message();
  Properties properties;
  if (const int line = ParseProperties(text, properties); line != 0) {
    return called + ": line " + std::to_string(line) + " is not of the form name=value";
  }
  const std::string error = TakeProperties(properties, settings);
  return error.empty() ? error : called + ": " + error;
}

std::string TakeEnvironment(const Environment& environment, Settings& settings) {
  for (const Setting& setting : kSettings) {
    const char* value = setting.variable == nullptr ? nullptr : environment(setting.variable);
    if (value == nullptr) continue;
    if (std::string error = Take(setting, setting.variable, value, settings); !error.empty()) return error;
  }
  return {};
}

// The folder of the user, also where a service was started without HOME.
std::filesystem::path UserFolder(const Environment& environment) {
  if (const char* home = environment("HOME"); home != nullptr && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  constexpr size_t kEntrySize = 16'384;
  std::vector<char> text(kEntrySize);
  getpwuid_r(getuid(), &entry, text.data(), text.size(), &found);
  return found == nullptr ? "" : found->pw_dir;
}

// XDG Base Directory standard: a relative path there does not count.
std::filesystem::path DefaultHome(const Environment& environment) {
  constexpr const char* kFolder = "kora-data";
  if (const char* data = environment("XDG_DATA_HOME"); data != nullptr && *data == '/') {
    return std::filesystem::path(data) / kFolder;
  }
  const std::filesystem::path user = UserFolder(environment);
  return user.empty() ? user : user / ".local/share" / kFolder;
}

std::string HostName() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  const std::string text = std::string(name.data()).substr(0, kMaxDeviceText);
  return text.empty() || !ToModifiedUtf8(text) ? "unknown" : text;
}

std::string Resolve(const Properties& configured, const Environment& environment, Settings& settings) {
  settings.deviceName = HostName();
  const char* file = environment("KORA_DATA_CONFIG");
  std::string error = file == nullptr ? "" : TakeFile(file, settings);
  if (error.empty()) error = TakeEnvironment(environment, settings);
  if (error.empty()) error = TakeProperties(configured, settings);
  if (error.empty()) error = CheckTogether(settings.cluster);
  if (error.empty() && settings.home.empty()) settings.home = DefaultHome(environment);
  if (error.empty() && settings.home.empty()) error = "home: not set, and this user has no home folder";
  if (settings.keyFile.empty()) settings.keyFile = settings.home / ".key";
  return error;
}

}  // namespace

ResolvedSettings ResolveSettings(const Properties& configured, const Environment& environment) {
  Settings settings;
  std::string error = Resolve(configured, environment, settings);
  if (!error.empty()) return {std::nullopt, std::move(error)};
  return {std::move(settings), {}};
}

Configuration& Configuration::Instance() {
  static auto& instance = *new Configuration();  // in use until the process has ended
  return instance;
}

std::string Configuration::Configure(const Properties& values) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (settled_) return "the client is in use already; configure it before the first manager is created";
  Settings ignored;
  if (std::string error = TakeProperties(values, ignored); !error.empty()) return error;
  for (const auto& [name, other] : kAlternatives) {
    if (values.count(name) > 0) configured_.erase(other);
  }
  Properties merged = values;
  merged.merge(configured_);
  configured_ = std::move(merged);
  return {};
}

const ResolvedSettings& Configuration::Settle() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!settled_) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here writes the environment
    settled_ = ResolveSettings(configured_, [](const char* name) { return std::getenv(name); });
  }
  return *settled_;
}

Status FindSettings(const Settings*& settings) {
  const ResolvedSettings& resolved = Configuration::Instance().Settle();
  if (resolved.settings) {
    settings = &*resolved.settings;
    return Status::SUCCESS;
  }
  __android_log_print(KORA_LOG_ERROR, kLogTag, "the client is not configured well: %s",
                      resolved.error.c_str());
  return Status::INVALID_ARGUMENT;
}

}  // namespace KORA::DistributedKv::Client
