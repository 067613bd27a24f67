// Counts what one operation of each hot native costs in a plain process: JNI calls, allocations and, under
// callgrind, instructions. Writes "row,form,JNI calls,allocations" for the three forms of each native.
// Between the client requests to callgrind, which cost nothing elsewhere, runs nothing but the operation.
#include <jni.h>
#include <valgrind/callgrind.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "floor/minimal_java.h"
#include "floor/natives.h"
#include "floor/null_client.h"

namespace {

uint64_t g_allocations = 0;

}  // namespace

void* operator new(size_t size) {
  ++g_allocations;
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept {
  std::free(memory);
}

namespace {

using floors::MinimalJava;
using floors::Natives;
namespace null = KORA::DistributedKv::NullClient;

template <typename T>
jlong Handle(T& object) {
  return static_cast<jlong>(reinterpret_cast<uintptr_t>(&object));
}

template <typename Function>
void Bind(const MinimalJava& java, const char* name, Function& function) {
  function = reinterpret_cast<Function>(java.Native(name));
  if (function != nullptr) return;
  std::fprintf(stderr, "the bridge has registered no %s\n", name);
  std::abort();
}

Natives LoadBridge(MinimalJava& java) {
  if (JNI_OnLoad(java.Vm(), nullptr) < 0) std::abort();
  Natives bridge{};
  Bind(java, "SingleKvStoreImpl.nativeGet", bridge.get);
  Bind(java, "SingleKvStoreImpl.nativePut", bridge.put);
  Bind(java, "SingleKvStoreImpl.nativeDelete", bridge.remove);
  Bind(java, "SingleKvStoreImpl.nativeGetEntries", bridge.getEntries);
  Bind(java, "SingleKvStoreImpl.nativePutBatch", bridge.putBatch);
  Bind(java, "KvStoreResultSetImpl.nativeMoveToNext", bridge.moveToNext);
  Bind(java, "KvStoreResultSetImpl.nativeGetEntry", bridge.getEntry);
  bridge.notify = [](JNIEnv*, jobject, jobject) { null::Notify(); };
  return bridge;
}

struct Row {
  const char* name;
  size_t units;  // what the figures are divided by
  std::function<void(const Natives&)> operation;
};

std::vector<Row> MakeRows(MinimalJava& java) {
  JNIEnv* env = java.Env();
  const jlong store = Handle(null::Store());
  const jlong cursor = Handle(null::Cursor());
  auto* key = static_cast<jbyteArray>(java.NewBytes(null::Entries().front().key.Data()));
  jobject value = java.NewValue(std::vector<uint8_t>(100, 'v'));
  jobject observer = java.NewBytes({});
  std::vector<jobject> items;
  for (const auto& entry : null::Entries())
    items.push_back(java.NewEntry(entry.key.ToString().c_str(), value));
  auto* batch = static_cast<jobjectArray>(java.NewArray(items));

  using Subscribe = void (*)(JNIEnv*, jobject, jobject, jobject, jobject, jlong);
  Subscribe subscribe = nullptr;
  Bind(java, "SingleKvStoreImpl.nativeRegisterObserver", subscribe);
  subscribe(env, nullptr, value, observer, value, store);

  return {
      {"get", 1, [=](const Natives& n) { n.get(env, nullptr, key, store); }},
      {"put", 1, [=](const Natives& n) { n.put(env, nullptr, key, value, store); }},
      {"delete", 1, [=](const Natives& n) { n.remove(env, nullptr, key, store); }},
      {"entries per entry", null::kEntryCount,
       [=](const Natives& n) { n.getEntries(env, nullptr, key, store); }},
      {"batch per entry", null::kEntryCount,
       [=](const Natives& n) { n.putBatch(env, nullptr, batch, store); }},
      {"cursor next and entry", 1,
       [=](const Natives& n) {
         n.moveToNext(env, nullptr, cursor);
         n.getEntry(env, nullptr, cursor);
       }},
      {"observer callback", 1, [=](const Natives& n) { n.notify(env, nullptr, observer); }},
  };
}

void Count(const Row& row, const std::string& form, const Natives& natives) {
  constexpr int kWarmUps = 3;  // what is looked up or grown once is not part of an operation
  for (int i = 0; i < kWarmUps; ++i) {
    row.operation(natives);
    MinimalJava::EmptyBuffer();
  }
  const uint64_t calls = MinimalJava::Calls();
  const uint64_t allocations = g_allocations;
  const std::string label = std::string(row.name) + "," + form;
  const uint64_t own = g_allocations - allocations;

  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
  row.operation(natives);
  CALLGRIND_TOGGLE_COLLECT;
  CALLGRIND_DUMP_STATS_AT(label.c_str());

  const auto units = static_cast<double>(row.units);
  std::printf("%s,%.2f,%.2f\n", label.c_str(), static_cast<double>(MinimalJava::Calls() - calls) / units,
              static_cast<double>(g_allocations - allocations - own) / units);
  MinimalJava::EmptyBuffer();
}

}  // namespace

int main() {
  MinimalJava java;
  const Natives bridge = LoadBridge(java);
  floors::FindJava(java.Env());
  for (const Row& row : MakeRows(java)) {
    Count(row, "least", floors::kLeast);
    Count(row, "required", floors::kRequired);
    Count(row, "bridge", bridge);
  }
  return 0;
}
