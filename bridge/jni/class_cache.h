// The Java classes and identifiers that JavaCUtils works with; nobody else reads them.
#pragma once

#include <jni.h>

namespace KORA::DistributedKv {

// Callback threads can't be sure to find classes by name, so every class is held as a global reference from
// the load of the library on. Written once by JavaCUtils::Init, before any other thread can use it.
struct ClassCache {
  struct {
    jclass clazz;
    jmethodID constructor;
    jfieldID key;
    jfieldID value;
  } entry;
  struct {
    jclass clazz;
    jmethodID constructor;
  } value;
  struct {
    jclass clazz;
    jmethodID constructor;
  } integer;
  struct {
    jclass clazz;
    jmethodID constructor;
    jmethodID put;
    jmethodID entrySet;
  } hashMap;
  struct {
    jclass clazz;
    jmethodID constructor;
    jfieldID insertEntries;
    jfieldID updateEntries;
    jfieldID deleteEntries;
    jfieldID deviceId;
  } changeNotification;
  struct {
    jclass clazz;
    jmethodID constructor;
    jmethodID add;
    jmethodID size;
    jmethodID get;
  } arrayList;
  struct {
    jclass clazz;
    jmethodID constructor;
  } deviceInfo;
};

extern ClassCache g_classCache;

}  // namespace KORA::DistributedKv
