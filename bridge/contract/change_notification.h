// What an observer is told of one commit.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "contract/entry.h"

namespace KORA::DistributedKv {

// Immutable. Deleted entries carry the last value, so that each entry converts to a Java entry.
class ChangeNotification {
 public:
  ChangeNotification(std::list<Entry> insertEntries, std::list<Entry> updateEntries,
                     std::list<Entry> deleteEntries, std::string deviceId)
      : insertEntries_(std::move(insertEntries)),
        updateEntries_(std::move(updateEntries)),
        deleteEntries_(std::move(deleteEntries)),
        deviceId_(std::move(deviceId)) {}

  const std::list<Entry>& GetInsertEntries() const { return insertEntries_; }
  const std::list<Entry>& GetUpdateEntries() const { return updateEntries_; }
  const std::list<Entry>& GetDeleteEntries() const { return deleteEntries_; }

  // The device on which the change was made.
  const std::string& GetDeviceId() const { return deviceId_; }

 private:
  std::list<Entry> insertEntries_;
  std::list<Entry> updateEntries_;
  std::list<Entry> deleteEntries_;
  std::string deviceId_;
};

}  // namespace KORA::DistributedKv
