// The natives of the Java class kora.data.distributed.common.StoreClient: how a Java program configures the
// client and lends it the thread on which callbacks run; and of kora.data.distributed.internal.Syncs, which
// tells synchronisations apart. The bridge between the store classes and this client is not part of it.
#include <jni.h>

#include <map>
#include <string>
#include <vector>

#include "cluster/service.h"
#include "cluster/sync_number.h"
#include "cluster/sync_request.h"
#include "common/guard.h"
#include "common/settings.h"
#include "notify/callback_queue.h"

namespace KORA::DistributedKv::Client {

namespace {

// Frees the local references that a callback leaves, and reports the exception that it may leave pending:
// nobody above this thread would.
class CallbackFrame {
 public:
  explicit CallbackFrame(JNIEnv* env) : env_(env), pushed_(env->PushLocalFrame(kExpectedReferences) == 0) {
    ReportException();
  }
  CallbackFrame(const CallbackFrame&) = delete;
  CallbackFrame& operator=(const CallbackFrame&) = delete;
  ~CallbackFrame() {
    ReportException();
    if (pushed_) env_->PopLocalFrame(nullptr);
  }

 private:
  static constexpr jint kExpectedReferences = 64;

  void ReportException() {
    if (!env_->ExceptionCheck()) return;
    env_->ExceptionDescribe();
    env_->ExceptionClear();
  }

  JNIEnv* const env_;
  const bool pushed_;
};

// False with an exception pending, or for a null element.
bool ReadText(JNIEnv* env, jobjectArray texts, jsize index, std::string& text) {
  auto* const bytes = static_cast<jbyteArray>(env->GetObjectArrayElement(texts, index));
  if (bytes == nullptr) return false;
  text.resize(static_cast<size_t>(env->GetArrayLength(bytes)));
  env->GetByteArrayRegion(bytes, 0, static_cast<jsize>(text.size()), reinterpret_cast<jbyte*>(text.data()));
  env->DeleteLocalRef(bytes);
  return !env->ExceptionCheck();
}

bool ReadPairs(JNIEnv* env, jobjectArray settings, Properties& values) {
  const jsize count = settings == nullptr ? 0 : env->GetArrayLength(settings);
  for (jsize i = 0; i + 1 < count; i += 2) {
    std::string name;
    std::string value;
    if (!ReadText(env, settings, i, name) || !ReadText(env, settings, i + 1, value)) return false;
    values[name] = std::move(value);
  }
  return count % 2 == 0;
}

std::string Configure(JNIEnv* env, jobjectArray settings) {
  Properties values;
  if (!ReadPairs(env, settings, values)) return "settings come as pairs of a name and a value";
  return Configuration::Instance().Configure(values);
}

// Modified UTF-8.
std::string ToText(JNIEnv* env, jstring text) {
  std::string bytes(static_cast<size_t>(env->GetStringUTFLength(text)), '\0');
  // Writes a NUL behind the text, too, where the string has one of its own.
  env->GetStringUTFRegion(text, 0, env->GetStringLength(text), bytes.data());
  return bytes;
}

// Null with an exception pending.
jobjectArray ToArray(JNIEnv* env, const std::map<std::string, std::string>& pairs) {
  jclass strings = env->FindClass("java/lang/String");
  if (strings == nullptr) return nullptr;
  jobjectArray array = env->NewObjectArray(static_cast<jsize>(2 * pairs.size()), strings, nullptr);
  jsize next = 0;
  for (const auto& [name, value] : pairs) {
    for (const std::string& text : {name, value}) {
      jstring element = array == nullptr ? nullptr : env->NewStringUTF(text.c_str());
      if (element == nullptr) return nullptr;
      env->SetObjectArrayElement(array, next++, element);
      env->DeleteLocalRef(element);
    }
  }
  return array;
}

void HostCallbacks(JNIEnv* env) {
  CallbackQueue::Instance().Run([env](const Callback& callback) {
    const CallbackFrame frame(env);
    Guard([&callback] { callback(); });
  });
}

}  // namespace

}  // namespace KORA::DistributedKv::Client

namespace client = KORA::DistributedKv::Client;
using KORA::DistributedKv::Status;

extern "C" {

// static native String nativeConfigure(byte[][] settings): names and values in turn, as UTF-8. Null when all
// were taken; else none was, and the text says why.
JNIEXPORT jstring JNICALL
Java_kora_data_distributed_common_StoreClient_nativeConfigure(JNIEnv* env, jclass, jobjectArray settings) {
  std::string error = "out of memory";
  client::Guard([&] { error = client::Configure(env, settings); });
  if (error.empty() || env->ExceptionCheck()) return nullptr;
  return env->NewStringUTF(error.c_str());
}

// static native boolean nativeClaimCallbacks(): whether the caller's thread is to run the callbacks.
JNIEXPORT jboolean JNICALL Java_kora_data_distributed_common_StoreClient_nativeClaimCallbacks(JNIEnv*,
                                                                                              jclass) {
  return client::CallbackQueue::Instance().Claim() ? JNI_TRUE : JNI_FALSE;
}

// static native String[] nativeSyncReasons(String application, String store): each device that a
// synchronisation of the store has named, and after it why it ended as it did the last time.
JNIEXPORT jobjectArray JNICALL Java_kora_data_distributed_common_StoreClient_nativeSyncReasons(
    JNIEnv* env, jclass, jstring application, jstring store) {
  jobjectArray reasons = nullptr;
  client::Guard([&] {
    const auto found =
        client::Cluster::FindSyncReasons(client::ToText(env, application), client::ToText(env, store));
    reasons = client::ToArray(env, found);
  });
  return reasons;
}

// static native String nativeHubTrouble(): why the hub that this process looks for is out of reach; null: it
// was reached, or nothing looks for one.
JNIEXPORT jstring JNICALL Java_kora_data_distributed_common_StoreClient_nativeHubTrouble(JNIEnv* env,
                                                                                         jclass) {
  std::string trouble;
  client::Guard([&] {
    if (client::Cluster::Service* service = client::Cluster::Service::Running()) trouble = service->Trouble();
  });
  return trouble.empty() ? nullptr : env->NewStringUTF(trouble.c_str());
}

// static native void nativeNumberNext(long number): of the next synchronisation that the calling thread
// begins.
JNIEXPORT void JNICALL Java_kora_data_distributed_internal_Syncs_nativeNumberNext(JNIEnv*, jclass,
                                                                                  jlong number) {
  client::Cluster::NumberNextSync(number);
}

// static native long nativeCompleted(): the number of the synchronisation that the calling thread tells of,
// or 0.
JNIEXPORT jlong JNICALL Java_kora_data_distributed_internal_Syncs_nativeCompleted(JNIEnv*, jclass) {
  return client::Cluster::CompletedSync();
}

// static native void nativeHostCallbacks(): runs the callbacks on the calling thread until the process ends.
JNIEXPORT void JNICALL Java_kora_data_distributed_common_StoreClient_nativeHostCallbacks(JNIEnv* env,
                                                                                         jclass) {
  client::Guard([&] { client::HostCallbacks(env); });
}

}  // extern "C"
