#include "manager/jni_service_death_recipient_impl.h"

#include "jni/boundary.h"
#include "jni/java_class.h"
#include "jni/log.h"
#include "registries.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kOnRemoteDiedLog(kDeathTag, "OnRemoteDied");

}  // namespace

JniServiceDeathRecipientImpl::JniServiceDeathRecipientImpl(jobject recipient)
    : hasRecipient_(recipient != nullptr), recipient_(recipient) {
  constexpr Log log(kDeathTag, "JniServiceDeathRecipientImpl");
  log.Info("%s: JniServiceDeathRecipientImpl this");
}

JniServiceDeathRecipientImpl::~JniServiceDeathRecipientImpl() {
  constexpr Log log(kDeathTag, "~JniServiceDeathRecipientImpl");
  log.Info("%s: ~JniServiceDeathRecipientImpl this");
}

void JniServiceDeathRecipientImpl::OnRemoteDied() {
  GuardCallback(kOnRemoteDiedLog, [this] { TellRecipient(); });
}

void JniServiceDeathRecipientImpl::TellRecipient() {
  const Log& log = kOnRemoteDiedLog;
  log.Info("%s: OnRemoteDied begin");
  // The registrations have died with the service, also when the recipient has been unregistered meanwhile.
  if (!hasRecipient_) {
    log.Error("%s: OnRemoteDied observer is nullptr");
    return;
  }
  SingleObserverClear();
  DevObserverClear();

  const CallbackEnv callbackEnv;
  JNIEnv* env = callbackEnv.Get();
  if (env == nullptr) {
    log.Error("%s: OnRemoteDied observer env is null");
    return;
  }
  const GlobalRefSlot::Use recipient(recipient_, env);
  if (recipient.Get() == nullptr) {
    log.Error("%s: OnRemoteDied observer is nullptr");
    return;
  }
  JavaClass recipientClass(env, recipient.Get());
  jmethodID onRemoteDied = recipientClass.GetMethod("onRemoteDied", "()V");
  if (onRemoteDied == nullptr) {
    log.Error("%s: get remote died method failed.");
    return;
  }
  recipientClass.CallVoidMethod(recipient.Get(), onRemoteDied);
  log.Info("%s: OnRemoteDied end");
}

}  // namespace KORA::DistributedKv
