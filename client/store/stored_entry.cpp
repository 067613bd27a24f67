#include "store/stored_entry.h"

#include "common/log.h"

namespace KORA::DistributedKv::Client {

Status EntryIsDamaged(const char* what) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s of a store is damaged", what);
  return Status::RECOVER_FAILED;
}

Status EntryIsOfAnotherVersion(const char* what) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s of a store was written by another version of the client",
                      what);
  return Status::DB_ERROR;
}

}  // namespace KORA::DistributedKv::Client
