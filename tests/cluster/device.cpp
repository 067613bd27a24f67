// cluster_device: a device that does what it reads, a command a line. It answers each with "= ..."; what it
// is told meanwhile comes as lines of its own.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "contract/distributed_kv_data_manager.h"

using namespace KORA::DistributedKv;

namespace {

void Say(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::cout << line << std::endl;
}

Blob ToBlob(const std::string& text) {
  return Blob(std::vector<uint8_t>(text.begin(), text.end()));
}

std::string Describe(char sign, const std::list<Entry>& entries) {
  std::string text;
  for (const Entry& entry : entries) text += ' ' + (sign + entry.key.ToString());
  return text;
}

class Observer : public KvStoreObserver {
 public:
  void OnChange(const ChangeNotification& change) override {
    Say("change " + change.GetDeviceId() + Describe('+', change.GetInsertEntries()) +
        Describe('~', change.GetUpdateEntries()) + Describe('-', change.GetDeleteEntries()));
  }
  void OnChange(const ChangeNotification& change, std::unique_ptr<KvStoreSnapshot> /*snapshot*/) override {
    OnChange(change);
  }
};

class Callback : public KvStoreSyncCallback {
 public:
  void SyncCompleted(const std::map<std::string, Status>& results) override {
    std::string line = "synced";
    for (const auto& [device, status] : results) {
      line += ' ' + device + '=' + (status == Status::SUCCESS ? "done" : "failed");
    }
    Say(line);
  }
};

class Listener : public DeviceStatusChangeListener {
 public:
  void OnDeviceChanged(const DeviceInfo& device, const DeviceChangeType& type) const override {
    Say((type == DeviceChangeType::ONLINE ? "online " : "offline ") + device.deviceName);
  }
  DeviceFilterStrategy GetFilterStrategy() const override { return DeviceFilterStrategy::FILTER; }
};

class Recipient : public KvStoreDeathRecipient {
 public:
  void OnRemoteDied() override { Say("died"); }
};

using Words = std::vector<std::string>;

std::string Number(Status status) {
  return std::to_string(static_cast<int>(status));
}

class Device {
 public:
  std::string Do(const Words& words) {
    const auto command = commands_.find(words.at(0));
    return command == commands_.end() ? "unknown" : command->second(words);
  }

 private:
  std::string Open(const Words& words) {
    Options options;
    options.createIfMissing = true;
    options.autoSync = words.at(1) == "auto";
    options.securityLevel = static_cast<SecurityLevel>(std::stoi(words.at(2)));
    options.kvStoreType = KvStoreType::SINGLE_VERSION;
    Status opened = Status::ERROR;
    manager_.GetSingleKvStore(options, {"app"}, {"store"},
                              [&](Status status, std::unique_ptr<SingleKvStore> store) {
                                opened = status;
                                store_ = std::move(store);
                              });
    if (store_) store_->RegisterSyncCallback(std::make_shared<Callback>());
    return Number(opened);
  }

  std::string OpenMulti(const Words& words) {
    Options options;
    options.createIfMissing = true;
    options.autoSync = true;
    options.kvStoreType = KvStoreType::MULTI_VERSION;
    manager_.GetKvStore(options, {"app"}, {"multi"},
                        [&](Status, std::unique_ptr<KvStore> store) { multi_ = std::move(store); });
    multi_->SubscribeKvStore(SubscribeType::ALL, std::make_shared<Observer>());
    return words.size() > 1 ? Number(multi_->Put(ToBlob(words[1]), ToBlob("v"))) : "0";
  }

  std::string Get(const Words& words) {
    Value value;
    const Status status = store_->Get(ToBlob(words.at(1)), value);
    return status == Status::SUCCESS ? value.ToString() : Number(status);
  }

  std::string List() {
    std::vector<Entry> entries;
    if (const Status status = store_->GetEntries(Blob(), entries); status != Status::SUCCESS)
      return Number(status);
    std::string text;
    for (const Entry& entry : entries) text += entry.key.ToString() + '=' + entry.value.ToString() + ' ';
    return text;
  }

  // All in one transaction: "key=value" puts, "key" deletes.
  std::string Change(const Words& words) {
    store_->StartTransaction();
    for (size_t i = 1; i < words.size(); ++i) {
      const size_t equal = words[i].find('=');
      const Blob key = ToBlob(words[i].substr(0, equal));
      if (equal == std::string::npos) {
        store_->Delete(key);
      } else {
        store_->Put(key, ToBlob(words[i].substr(equal + 1)));
      }
    }
    return Number(store_->Commit());
  }

  // Records of 100 bytes, a batch of 1000 at a time.
  std::string Fill(const Words& words) {
    Status status = Status::SUCCESS;
    for (int i = std::stoi(words.at(1)); i > 0 && status == Status::SUCCESS; i -= 1000) {
      std::vector<Entry> entries;
      for (int n = i; n > std::max(i - 1000, 0); --n) {
        entries.emplace_back(ToBlob("key" + std::to_string(n)), ToBlob(std::string(100, 'v')));
      }
      status = store_->PutBatch(entries);
    }
    return Number(status);
  }

  std::string Devices(const Words& words) {
    std::vector<DeviceInfo> devices;
    manager_.GetDeviceList(devices, static_cast<DeviceFilterStrategy>(std::stoi(words.at(1))));
    std::string names;
    for (const DeviceInfo& device : devices) names += device.deviceName + '/' + device.deviceType + ' ';
    return names;
  }

  std::string Identify() {
    DeviceInfo device;
    manager_.GetLocalDevice(device);
    return device.deviceId;
  }

  std::string Label(const Words& words) {
    store_->SetCapabilityEnabled(words.at(1) == "on");
    return Number(store_->SetCapabilityRange({words.at(2)}, {words.at(3)}));
  }

  // Libraries that only a hub needs.
  static std::string CountLibraries() {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);) {
      const bool needed =
          line.find("libgrpc") != std::string::npos || line.find("libkora_data_etcd") != std::string::npos;
      count += needed ? 1 : 0;
    }
    return std::to_string(count);
  }

  static std::string Done(const std::function<void()>& what) {
    what();
    return "0";
  }

  DistributedKvDataManager manager_;
  std::unique_ptr<SingleKvStore> store_;
  std::unique_ptr<KvStore> multi_;
  const std::map<std::string, std::function<std::string(const Words&)>> commands_ = {
      {"open", [this](const Words& words) { return Open(words); }},
      {"multi", [this](const Words& words) { return OpenMulti(words); }},
      {"close", [this](const Words&) { return Done([this] { store_.reset(); }); }},
      {"get", [this](const Words& words) { return Get(words); }},
      {"list", [this](const Words&) { return List(); }},
      {"fill", [this](const Words& words) { return Fill(words); }},
      {"put",
       [this](const Words& words) { return Number(store_->Put(ToBlob(words.at(1)), ToBlob(words.at(2)))); }},
      {"change", [this](const Words& words) { return Change(words); }},
      {"sync",
       [this](const Words& words) {
         return Number(store_->Sync({words.begin() + 3, words.end()},
                                    static_cast<SyncMode>(std::stoi(words.at(1))), std::stoi(words.at(2))));
       }},
      {"observe",
       [this](const Words& words) {
         const auto type = static_cast<SubscribeType>(std::stoi(words.at(1)));
         return Number(store_->SubscribeKvStore(type, std::make_shared<Observer>()));
       }},
      {"listen",
       [this](const Words&) {
         return Number(manager_.StartWatchDeviceChange(std::make_shared<Listener>()));
       }},
      {"mourn",
       [this](const Words&) {
         return Done(
             [this] { manager_.RegisterKvStoreServiceDeathRecipient(std::make_shared<Recipient>()); });
       }},
      {"labels", [this](const Words& words) { return Label(words); }},
      {"remove", [this](const Words& words) { return Number(store_->RemoveDeviceData(words.at(1), 0)); }},
      {"devices", [this](const Words& words) { return Devices(words); }},
      {"id", [this](const Words&) { return Identify(); }},
      {"libraries", [](const Words&) { return CountLibraries(); }},
  };
};

}  // namespace

int main() {
  Device device;
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) words.push_back(word);
    if (!words.empty()) Say("= " + device.Do(words));
  }
  return 0;
}
