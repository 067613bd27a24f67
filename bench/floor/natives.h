// The hot natives, as Java calls them, and the two hand-written forms that the bridge is measured against.
#pragma once

#include <jni.h>

namespace floors {

struct Natives {
  jobject (*get)(JNIEnv*, jobject, jbyteArray key, jlong store);
  void (*put)(JNIEnv*, jobject, jbyteArray key, jobject value, jlong store);
  void (*remove)(JNIEnv*, jobject, jbyteArray key, jlong store);
  jobject (*getEntries)(JNIEnv*, jobject, jbyteArray prefix, jlong store);
  void (*putBatch)(JNIEnv*, jobject, jobjectArray entries, jlong store);
  jboolean (*moveToNext)(JNIEnv*, jobject, jlong cursor);
  jobject (*getEntry)(JNIEnv*, jobject, jlong cursor);
  // What is done on the callback thread for one change; `observer` is the one that is subscribed.
  void (*notify)(JNIEnv*, jobject, jobject observer);
};

// What Java code can look up, once and for all. Call it before any of the natives, on a Java thread.
void FindJava(JNIEnv* env);

// Each JNI call that the bridge has to make, in its order, with nothing round it.
extern const Natives kRequired;
// The same arguments and results by the fewest and cheapest calls, identifiers looked up beforehand.
extern const Natives kLeast;

}  // namespace floors
