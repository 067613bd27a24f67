#include "floor/minimal_java.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace floors {

namespace {

// One shape serves all: strings and byte arrays have bytes, entries and values have members, arrays have
// items.
struct Object {
  jsize length;
  jbyte type;
  jbyte* bytes;
  std::array<Object*, 2> members;
  Object** items;
};

// Identifiers are a member's place; those that no native reads again share one.
enum Member : uintptr_t { kFirst = 1, kSecond = 2, kType = 3, kElsewhere = 4 };

JavaVM* g_vm = nullptr;
uint64_t g_calls = 0;
const char* g_lastClass = "";
std::map<std::string, void*>& Registered() {
  static auto& registered = *new std::map<std::string, void*>;
  return registered;
}

constexpr size_t kBufferSize = size_t{4} << 20;
alignas(16) std::array<std::byte, kBufferSize> g_buffer;
size_t g_used = 0;

void* Allocate(size_t size) {
  const size_t at = g_used;
  g_used += (size + 15) & ~size_t{15};
  if (g_used > kBufferSize) std::abort();
  return g_buffer.data() + at;
}

template <typename Reference = jobject>
Reference Refer(Object* object) {
  return reinterpret_cast<Reference>(object);
}

Object& At(jobject reference) {
  return *reinterpret_cast<Object*>(reference);
}

Object* NewObject() {
  auto* object = static_cast<Object*>(Allocate(sizeof(Object)));
  *object = Object{};
  return object;
}

Object* NewBytes(const void* bytes, jsize length) {
  Object* object = NewObject();
  object->length = length;
  object->bytes = static_cast<jbyte*>(Allocate(static_cast<size_t>(length) + 1));
  if (bytes != nullptr) std::memcpy(object->bytes, bytes, static_cast<size_t>(length));
  object->bytes[length] = 0;
  return object;
}

template <typename Id>
Id Identifier(const char* name) {
  Member member = kElsewhere;
  if (std::strcmp(name, "key") == 0) member = kFirst;
  if (std::strcmp(name, "value") == 0) member = kSecond;
  if (std::strcmp(name, "type") == 0) member = kType;
  return reinterpret_cast<Id>(member);  // NOLINT(performance-no-int-to-ptr)
}

Object** Place(jobject object, jfieldID field) {
  static Object* elsewhere = nullptr;
  switch (reinterpret_cast<uintptr_t>(field)) {
    case kFirst:
      return &At(object).members[0];
    case kSecond:
      return &At(object).members[1];
    default:
      return &elsewhere;
  }
}

// The functions of the table, in its order.

// One class for all; a library registers its natives right after it has found their class.
jclass FindClass(JNIEnv* /*env*/, const char* name) {
  ++g_calls;
  static Object anyClass{};
  g_lastClass = name;
  return Refer<jclass>(&anyClass);
}

jthrowable ExceptionOccurred(JNIEnv* /*env*/) {
  ++g_calls;
  return nullptr;
}

jobject SameReference(JNIEnv* /*env*/, jobject object) {
  ++g_calls;
  return object;
}

void Forget(JNIEnv* /*env*/, jobject /*object*/) {
  ++g_calls;
}

jboolean IsSameObject(JNIEnv* /*env*/, jobject one, jobject other) {
  ++g_calls;
  return one == other ? JNI_TRUE : JNI_FALSE;
}

jobject AllocObject(JNIEnv* /*env*/, jclass /*type*/) {
  ++g_calls;
  return Refer(NewObject());
}

// A value's constructor is the only one with parameters that is called.
jobject NewObjectV(JNIEnv* /*env*/, jclass /*type*/, jmethodID /*constructor*/, va_list /*arguments*/) {
  ++g_calls;
  return Refer(NewObject());
}

jclass GetObjectClass(JNIEnv* env, jobject /*object*/) {
  return FindClass(env, "");
}

template <typename Id>
Id FindMember(JNIEnv* /*env*/, jclass /*type*/, const char* name, const char* /*signature*/) {
  ++g_calls;
  return Identifier<Id>(name);
}

template <typename Result>
Result CallV(JNIEnv* /*env*/, jobject /*object*/, jmethodID /*method*/, va_list /*arguments*/) {
  ++g_calls;
  return Result();
}

jobject GetObjectField(JNIEnv* /*env*/, jobject object, jfieldID field) {
  ++g_calls;
  return Refer(*Place(object, field));
}

void SetObjectField(JNIEnv* /*env*/, jobject object, jfieldID field, jobject value) {
  ++g_calls;
  *Place(object, field) = &At(value);
}

jbyte GetByteField(JNIEnv* /*env*/, jobject object, jfieldID /*field*/) {
  ++g_calls;
  return At(object).type;
}

void SetByteField(JNIEnv* /*env*/, jobject object, jfieldID /*field*/, jbyte value) {
  ++g_calls;
  At(object).type = value;
}

jstring NewStringUTF(JNIEnv* /*env*/, const char* text) {
  ++g_calls;
  return Refer<jstring>(NewBytes(text, static_cast<jsize>(std::strlen(text))));
}

const char* GetStringUTFChars(JNIEnv* /*env*/, jstring string, jboolean* /*isCopy*/) {
  ++g_calls;
  return reinterpret_cast<const char*>(At(string).bytes);
}

void ReleaseStringUTFChars(JNIEnv* /*env*/, jstring /*string*/, const char* /*chars*/) {
  ++g_calls;
}

void GetStringUTFRegion(JNIEnv* /*env*/, jstring string, jsize start, jsize length, char* out) {
  ++g_calls;
  std::memcpy(out, At(string).bytes + start, static_cast<size_t>(length));
}

jsize GetStringLength(JNIEnv* /*env*/, jstring string) {
  ++g_calls;
  return At(string).length;
}

jsize GetArrayLength(JNIEnv* /*env*/, jarray array) {
  ++g_calls;
  return At(array).length;
}

jobject GetObjectArrayElement(JNIEnv* /*env*/, jobjectArray array, jsize index) {
  ++g_calls;
  return Refer(At(array).items[index]);
}

jbyteArray NewByteArray(JNIEnv* /*env*/, jsize length) {
  ++g_calls;
  return Refer<jbyteArray>(NewBytes(nullptr, length));
}

jbyte* GetByteArrayElements(JNIEnv* /*env*/, jbyteArray array, jboolean* /*isCopy*/) {
  ++g_calls;
  return At(array).bytes;
}

void ReleaseByteArrayElements(JNIEnv* /*env*/, jbyteArray /*array*/, jbyte* /*elements*/, jint /*mode*/) {
  ++g_calls;
}

void GetByteArrayRegion(JNIEnv* /*env*/, jbyteArray array, jsize start, jsize length, jbyte* out) {
  ++g_calls;
  std::memcpy(out, At(array).bytes + start, static_cast<size_t>(length));
}

void SetByteArrayRegion(JNIEnv* /*env*/, jbyteArray array, jsize start, jsize length, const jbyte* from) {
  ++g_calls;
  std::memcpy(At(array).bytes + start, from, static_cast<size_t>(length));
}

jint RegisterNatives(JNIEnv* /*env*/, jclass /*type*/, const JNINativeMethod* methods, jint count) {
  ++g_calls;
  for (jint i = 0; i < count; ++i) {
    Registered().emplace(std::string(std::strrchr(g_lastClass, '/') + 1) + "." + methods[i].name,
                         methods[i].fnPtr);
  }
  return JNI_OK;
}

jint GetJavaVM(JNIEnv* /*env*/, JavaVM** vm) {
  ++g_calls;
  *vm = g_vm;
  return JNI_OK;
}

jboolean ExceptionCheck(JNIEnv* /*env*/) {
  ++g_calls;
  return JNI_FALSE;
}

// A native that calls anything else has changed: the count would not be right any more.
[[noreturn]] void NotCounted() {
  std::fputs("a JNI function is called that the minimal Java does not have\n", stderr);
  std::abort();
}

JNINativeInterface_ MakeTable() {
  JNINativeInterface_ table{};
  std::array<void (*)(), sizeof(table) / sizeof(void (*)())> empty{};
  empty.fill(NotCounted);
  std::memcpy(&table, empty.data(), sizeof(table));

  table.FindClass = FindClass;
  table.ExceptionOccurred = ExceptionOccurred;
  table.NewGlobalRef = SameReference;
  table.DeleteGlobalRef = Forget;
  table.DeleteLocalRef = Forget;
  table.IsSameObject = IsSameObject;
  table.AllocObject = AllocObject;
  table.NewObjectV = NewObjectV;
  table.GetObjectClass = GetObjectClass;
  table.GetMethodID = FindMember<jmethodID>;
  table.CallBooleanMethodV = CallV<jboolean>;
  table.CallIntMethodV = CallV<jint>;
  table.CallVoidMethodV = CallV<void>;
  table.GetFieldID = FindMember<jfieldID>;
  table.GetObjectField = GetObjectField;
  table.GetByteField = GetByteField;
  table.SetObjectField = SetObjectField;
  table.SetByteField = SetByteField;
  table.NewStringUTF = NewStringUTF;
  table.GetStringLength = GetStringLength;
  table.GetStringUTFChars = GetStringUTFChars;
  table.ReleaseStringUTFChars = ReleaseStringUTFChars;
  table.GetStringUTFRegion = GetStringUTFRegion;
  table.GetArrayLength = GetArrayLength;
  table.GetObjectArrayElement = GetObjectArrayElement;
  table.NewByteArray = NewByteArray;
  table.GetByteArrayElements = GetByteArrayElements;
  table.ReleaseByteArrayElements = ReleaseByteArrayElements;
  table.GetByteArrayRegion = GetByteArrayRegion;
  table.SetByteArrayRegion = SetByteArrayRegion;
  table.RegisterNatives = RegisterNatives;
  table.GetJavaVM = GetJavaVM;
  table.ExceptionCheck = ExceptionCheck;
  return table;
}

jint GetEnv(JavaVM* vm, void** env, jint /*version*/);

JNIInvokeInterface_ MakeVmTable() {
  JNIInvokeInterface_ table{};
  table.GetEnv = GetEnv;
  return table;
}

JNIEnv* g_env = nullptr;

jint GetEnv(JavaVM* /*vm*/, void** env, jint /*version*/) {
  ++g_calls;
  *env = g_env;
  return JNI_OK;
}

// Outside the buffer.
Object* Keep(const Object& object) {
  return new Object(object);
}

}  // namespace

MinimalJava::MinimalJava() {
  static const JNINativeInterface_ table = MakeTable();
  static const JNIInvokeInterface_ vmTable = MakeVmTable();
  env_.functions = &table;
  vm_.functions = &vmTable;
  g_env = &env_;
  g_vm = &vm_;
}

jobject MinimalJava::NewBytes(const std::vector<uint8_t>& bytes) {
  const auto length = static_cast<jsize>(bytes.size());
  auto* copy = new jbyte[bytes.size() + 1]();
  std::memcpy(copy, bytes.data(), bytes.size());
  return Refer(Keep({length, 0, copy, {}, nullptr}));
}

jobject MinimalJava::NewValue(const std::vector<uint8_t>& bytes) {
  return Refer(Keep({0, 0, nullptr, {nullptr, &At(NewBytes(bytes))}, nullptr}));
}

jobject MinimalJava::NewEntry(const char* key, jobject value) {
  const std::vector<uint8_t> text(key, key + std::strlen(key));
  return Refer(Keep({0, 0, nullptr, {&At(NewBytes(text)), &At(value)}, nullptr}));
}

jobject MinimalJava::NewArray(const std::vector<jobject>& items) {
  auto* copy = new Object*[items.size()];
  for (size_t i = 0; i < items.size(); ++i) copy[i] = &At(items[i]);
  return Refer(Keep({static_cast<jsize>(items.size()), 0, nullptr, {}, copy}));
}

void* MinimalJava::Native(const std::string& name) const {
  const auto found = Registered().find(name);
  return found == Registered().end() ? nullptr : found->second;
}

void MinimalJava::EmptyBuffer() {
  g_used = 0;
}

uint64_t MinimalJava::Calls() {
  return g_calls;
}

}  // namespace floors
