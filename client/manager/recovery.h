// Puts a backup in place of a store.
//
// The backups of a store lie in <home>/<application>/.backups/<store>, beside
//   STORE      a copy of the store's file of this name
//   restoring  while a store is restored: what is to become its folder
//   damaged    the folder in whose place the last restored one was put
#pragma once

#include <filesystem>

#include "contract/status.h"
#include "manager/store_folder.h"

namespace KORA::DistributedKv::Client {

std::filesystem::path BackupsOf(const std::filesystem::path& store);

// Each takes a store whose folder this process has locked. Failures leave a line in the log.

// What a restoring needs beside the backups.
Status PrepareBackups(const std::filesystem::path& store, const StoreRecord& record);

// The store's record or, where that is damaged or lost, its copy. SUCCESS, RECOVER_FAILED, DB_ERROR.
Status FindRecord(const std::filesystem::path& store, StoreRecord& record);

// Puts the newest backup that is whole in the store's place and keeps the store's former folder aside.
// SUCCESS; RECOVER_FAILED: none is whole, or the store can't be opened with it either; DB_ERROR. Both leave
// all as it was. What a crash cuts off in the middle can be done again.
Status RestoreStore(const StoreFolder& folder, const StoreRecord& record);

Status RemoveBackups(const std::filesystem::path& store);

}  // namespace KORA::DistributedKv::Client
