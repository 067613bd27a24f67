// The Java classes and members that the hand-written natives use.
#pragma once

#include <jni.h>

namespace floors {

struct JavaIds {
  JavaVM* vm;
  jclass value;
  jmethodID newValue;
  jfieldID valueType;
  jfieldID valuePayload;
  jclass entry;
  jmethodID newEntry;
  jmethodID newFullEntry;
  jfieldID entryKey;
  jfieldID entryValue;
  jclass list;
  jmethodID newList;
  jmethodID add;
  jobject emptyList;
  jclass change;
  jmethodID newChange;
  jfieldID insertEntries;
  jfieldID updateEntries;
  jfieldID deleteEntries;
  jfieldID deviceId;
  jmethodID onChange;
};

extern JavaIds g_java;

}  // namespace floors
