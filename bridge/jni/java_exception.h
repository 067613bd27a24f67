// Store statuses as Java exceptions.
#pragma once

#include <jni.h>

#include <string>

#include "contract/status.h"

namespace KORA::DistributedKv {

class JavaException {
 public:
  // Throws a KvStoreException with the error code that belongs to `status`, exactly with this message, and
  // leaves it pending. False when a Java lookup failed: then nothing was thrown but what that lookup itself
  // left pending.
  static bool ExceptionObject(JNIEnv* env, Status& status, const std::string& message);

  // The constant's name for a status by the default table, which does not know the codes that ExceptionObject
  // names itself.
  static void GetDefaultName(Status& status, std::string& name);
};

// The way in which natives throw; whether it worked makes no difference to them.
inline void Throw(JNIEnv* env, Status status, const char* message = "") {
  JavaException::ExceptionObject(env, status, message);
}

}  // namespace KORA::DistributedKv
