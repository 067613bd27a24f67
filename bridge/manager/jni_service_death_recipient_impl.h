// Tells a Java recipient that the store service has died.
#pragma once

#include <jni.h>

#include "contract/kv_store_death_recipient.h"
#include "jni/global_ref_slot.h"

namespace KORA::DistributedKv {

class JniServiceDeathRecipientImpl : public KvStoreDeathRecipient {
 public:
  // Takes an existing global reference over; its end does not delete it.
  explicit JniServiceDeathRecipientImpl(jobject recipient);
  JniServiceDeathRecipientImpl(const JniServiceDeathRecipientImpl&) = delete;
  JniServiceDeathRecipientImpl& operator=(const JniServiceDeathRecipientImpl&) = delete;
  ~JniServiceDeathRecipientImpl() override;

  void OnRemoteDied() override;

  // Deletes the global reference; a notification that comes later finds no recipient.
  void DeleteRecipient(JNIEnv* env) { recipient_.Delete(env); }

 private:
  void TellRecipient();

  const bool hasRecipient_;  // from the beginning; it may be deleted later
  GlobalRefSlot recipient_;
};

}  // namespace KORA::DistributedKv
