// The function tables of the fake environment and virtual machine. A slot that no native may use ends the
// test with its number in the table; of the forms of a call C++ uses that with a list of arguments alone.
// Calls that JNI does not allow with an exception pending stand in the trace with a leading ^.
#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

#include "support/java.h"
#include "support/trace.h"

namespace fake {
namespace {

thread_local ThreadEnv* t_env = nullptr;

ThreadEnv& Of(JNIEnv* env) {
  auto& self = static_cast<ThreadEnv&>(*env);
  if (&self != t_env) ADD_FAILURE() << "an environment is used on a thread that is not its own";
  return self;
}

// The object behind a reference that must be alive and, when local, this thread's.
Object* Resolve(JNIEnv* env, jobject object, const char* function) {
  if (object == nullptr) return nullptr;
  const auto& reference = *reinterpret_cast<Reference*>(object);
  if (!reference.alive.load(std::memory_order_relaxed)) {
    ADD_FAILURE() << function << " uses a deleted reference made by " << reference.origin;
  } else if (reference.owner != nullptr && reference.owner != &Of(env)) {
    ADD_FAILURE() << function << " uses another thread's local reference made by " << reference.origin;
  }
  return reference.object;
}

Object* Required(JNIEnv* env, jobject object, const char* function) {
  Object* resolved = Resolve(env, object, function);
  if (resolved == nullptr)
    ADD_FAILURE() << function << " with null, which a virtual machine does not survive";
  return resolved;
}

const Class* ClassOf(JNIEnv* env, jclass type, const char* function) {
  const Object* mirror = Required(env, type, function);
  return mirror == nullptr ? nullptr : mirror->mirrored;
}

// One JNI call: its line in the trace, and whether it is to fail.
class Call {
 public:
  Call(JNIEnv* env, const char* function, const std::string& detail = "")
      : env_(Of(env)), line_(env_.pending != nullptr ? "^" : "") {
    line_ += function;
    if (!detail.empty()) line_ += " " + detail;
    Trace::Get().Add(line_);
    fails_ = Java::Get().Fails(function);
    if (fails_) Raise(Java::ExceptionLeftBy(function));
  }

  bool Fails() const { return fails_; }
  void Raise(const std::string& exception) {
    if (!exception.empty()) env_.pending = env_.New(&Java::Get().ByShortName(exception));
  }
  jobject Local(Object* object) { return env_.Local(object, line_); }
  jobject Global(Object* object) { return env_.Global(object, line_); }

 private:
  ThreadEnv& env_;
  std::string line_;
  bool fails_;
};

// Calls that matter only when they come at the wrong time.
void Untraced(JNIEnv* env, const char* function) {
  if (Of(env).pending != nullptr) Trace::Get().Add(std::string("^") + function);
}

// --- classes, identifiers

jclass FindClass(JNIEnv* env, const char* name) {
  const Class* type = Java::Get().Find(name);
  Call call(env, "FindClass", type == nullptr ? name : type->ShortName());
  if (call.Fails()) return nullptr;
  if (type == nullptr) return call.Raise("NoClassDefFoundError"), nullptr;
  return static_cast<jclass>(call.Local(type->mirror));
}

jclass GetObjectClass(JNIEnv* env, jobject object) {
  const Object* resolved = Required(env, object, "GetObjectClass");
  std::this_thread::yield();  // another thread may come between a lookup and the call that it is for
  Call call(env, "GetObjectClass", resolved == nullptr ? "null" : resolved->type->ShortName());
  if (call.Fails() || resolved == nullptr) return nullptr;
  return static_cast<jclass>(call.Local(resolved->type->mirror));
}

template <typename Id, typename Member>
Id Identifier(JNIEnv* env, const char* function, jclass clazz, const char* name,
              const Member* (Class::*find)(const std::string&, const std::string&) const,
              const char* signature) {
  const Class* type = ClassOf(env, clazz, function);
  if (type == nullptr) return nullptr;
  Call call(env, function, type->ShortName() + "." + name);
  if (call.Fails()) return nullptr;
  const Member* member = (type->*find)(name, signature);
  if (member == nullptr) call.Raise(Java::ExceptionLeftBy(function));
  return reinterpret_cast<Id>(const_cast<Member*>(member));
}

jmethodID GetMethodID(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return Identifier<jmethodID>(env, "GetMethodID", type, name, &Class::FindMethod, signature);
}
jmethodID GetStaticMethodID(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return Identifier<jmethodID>(env, "GetStaticMethodID", type, name, &Class::FindMethod, signature);
}
jfieldID GetFieldID(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return Identifier<jfieldID>(env, "GetFieldID", type, name, &Class::FindField, signature);
}
jfieldID GetStaticFieldID(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return Identifier<jfieldID>(env, "GetStaticFieldID", type, name, &Class::FindField, signature);
}

// --- calls

std::vector<Datum> Arguments(JNIEnv* env, const Method& method, va_list list) {
  struct {
    va_list values;
  } source;
  va_copy(source.values, list);
  std::vector<Datum> arguments;
  const char* at = method.signature.c_str() + 1;
  while (*at != ')') {
    if (*at == 'L' || *at == '[') {
      arguments.push_back({0, Resolve(env, va_arg(source.values, jobject), method.name.c_str())});
    } else {
      arguments.push_back({*at == 'J' ? va_arg(source.values, jlong) : va_arg(source.values, jint), nullptr});
    }
    while (*at == '[') ++at;
    if (*at == 'L') at = std::strchr(at, ';');
    ++at;
  }
  va_end(source.values);
  return arguments;
}

const Method& MethodOf(jmethodID id) {
  return *reinterpret_cast<const Method*>(id);
}

std::string DescribeCall(const Method& method, const std::vector<Datum>& arguments) {
  std::string text = method.owner->ShortName() + "." + method.name;
  if (method.owner->name.rfind("test/", 0) != 0 || !Trace::Get().On()) return text;
  const char* separator = "(";
  for (const Datum& argument : arguments) text += std::exchange(separator, ",") + Describe(argument.object);
  return text + (arguments.empty() ? "()" : ")");
}

Datum CallMethod(JNIEnv* env, jobject object, jmethodID id, const std::vector<Datum>& arguments) {
  Object* self = Required(env, object, "Call");
  if (self == nullptr) return {};
  const Method& method = MethodOf(id);
  if (self->type != method.owner) ADD_FAILURE() << method.name << " is called on a " << self->type->name;
  const bool answersObject = method.signature[method.signature.find(')') + 1] == 'L' ||
                             method.signature[method.signature.find(')') + 1] == '[';
  Call call(env, answersObject ? "CallObject" : "Call", DescribeCall(method, arguments));
  if (call.Fails()) return {};
  Datum result = method.body(self, arguments);
  if (answersObject) result.number = reinterpret_cast<jlong>(call.Local(result.object));
  return result;
}

template <typename T>
T Answer(const Datum& datum) {
  if constexpr (std::is_same_v<T, jobject>) {
    return reinterpret_cast<jobject>(datum.number);
  } else {
    return static_cast<T>(datum.number);
  }
}

template <typename T>
T CallV(JNIEnv* env, jobject object, jmethodID id, va_list list) {
  return Answer<T>(CallMethod(env, object, id, Arguments(env, MethodOf(id), list)));
}
void CallVoidV(JNIEnv* env, jobject object, jmethodID id, va_list list) {
  CallV<jint>(env, object, id, list);
}

jobject CallStaticObjectV(JNIEnv* env, jclass /*type*/, jmethodID id, va_list list) {
  const Method& method = MethodOf(id);
  Call call(env, "CallStaticObject", method.owner->ShortName() + "." + method.name);
  return call.Local(method.body(nullptr, Arguments(env, method, list)).object);
}

jobject NewObjectV(JNIEnv* env, jclass clazz, jmethodID id, va_list list) {
  const std::vector<Datum> arguments = Arguments(env, MethodOf(id), list);
  const Class* type = ClassOf(env, clazz, "NewObject");
  if (type == nullptr) return nullptr;
  Call call(env, "NewObject", type->ShortName());
  if (call.Fails()) return nullptr;
  Object* object = Of(env).New(type);
  MethodOf(id).body(object, arguments);
  return call.Local(object);
}

// --- fields

const Field& FieldOf(jfieldID id) {
  return *reinterpret_cast<const Field*>(id);
}

std::string FieldName(jfieldID id) {
  return FieldOf(id).owner->ShortName() + "." + FieldOf(id).name;
}

Datum* FieldSlot(JNIEnv* env, jobject object, jfieldID id, const char* function) {
  Object* resolved = Required(env, object, function);
  return resolved == nullptr ? nullptr : &resolved->fields[FieldOf(id).name];
}

jobject GetObjectField(JNIEnv* env, jobject object, jfieldID id) {
  const Datum* slot = FieldSlot(env, object, id, "GetObjectField");
  Call call(env, "GetObjectField", FieldName(id));
  return call.Fails() || slot == nullptr ? nullptr : call.Local(slot->object);
}
template <typename T>
T GetNumber(JNIEnv* env, const char* function, jobject object, jfieldID id) {
  const Datum* slot = FieldSlot(env, object, id, function);
  const Call call(env, function, FieldName(id));
  return call.Fails() || slot == nullptr ? 0 : static_cast<T>(slot->number);
}
jbyte GetByteField(JNIEnv* env, jobject object, jfieldID id) {
  return GetNumber<jbyte>(env, "GetByteField", object, id);
}
jlong GetLongField(JNIEnv* env, jobject object, jfieldID id) {
  return GetNumber<jlong>(env, "GetLongField", object, id);
}
void SetObjectField(JNIEnv* env, jobject object, jfieldID id, jobject value) {
  Datum* slot = FieldSlot(env, object, id, "SetObjectField");
  const Call call(env, "SetObjectField", FieldName(id));
  if (slot != nullptr) slot->object = Resolve(env, value, "SetObjectField");
}
void SetLongField(JNIEnv* env, jobject object, jfieldID id, jlong value) {
  Datum* slot = FieldSlot(env, object, id, "SetLongField");
  const Call call(env, "SetLongField", FieldName(id) + "=" + std::to_string(value));
  if (slot != nullptr) slot->number = value;
}
jobject GetStaticObjectField(JNIEnv* env, jclass clazz, jfieldID id) {
  const Class* type = ClassOf(env, clazz, "GetStaticObjectField");
  Call call(env, "GetStaticObjectField", FieldName(id));
  return call.Fails() || type == nullptr ? nullptr : call.Local(type->constants.at(FieldOf(id).name));
}

// --- strings and arrays

jstring NewStringUTF(JNIEnv* env, const char* text) {
  Call call(env, "NewStringUTF", std::string("\"") + text + "\"");
  if (call.Fails()) return nullptr;
  return static_cast<jstring>(call.Local(Java::Get().NewString(Of(env), text)));
}

// A copy of its own for each caller, so that a sanitizer sees a use after its release.
template <typename T, typename Source>
T* Lend(JNIEnv* env, jobject object, const Source& source, size_t size) {
  T* copy = new T[size];
  std::copy(source.begin(), source.end(), copy);
  if (size > source.size()) copy[source.size()] = 0;
  Of(env).buffers[copy] = reinterpret_cast<Reference*>(object);
  return copy;
}
template <typename T>
void TakeBack(JNIEnv* env, jobject object, const T* buffer, const char* function) {
  const auto found = Of(env).buffers.find(buffer);
  if (found == Of(env).buffers.end() || found->second->object != Resolve(env, object, function)) {
    ADD_FAILURE() << function << " of what it did not lend";
    return;
  }
  Of(env).buffers.erase(found);
  delete[] buffer;
}

const char* GetStringUTFChars(JNIEnv* env, jstring string, jboolean* isCopy) {
  const Object* object = Required(env, string, "GetStringUTFChars");
  const Call call(env, "GetStringUTFChars", Describe(object));
  if (isCopy != nullptr) *isCopy = JNI_TRUE;
  if (call.Fails() || object == nullptr) return nullptr;
  return Lend<char>(env, string, object->text, object->text.size() + 1);
}
void ReleaseStringUTFChars(JNIEnv* env, jstring string, const char* chars) {
  TakeBack(env, string, chars, "ReleaseStringUTFChars");
}
jsize GetArrayLength(JNIEnv* env, jarray array) {
  const Object* object = Required(env, array, "GetArrayLength");
  Untraced(env, "GetArrayLength");
  if (object == nullptr) return 0;
  return static_cast<jsize>(object->bytes.size() + object->items.size());
}
jobject GetObjectArrayElement(JNIEnv* env, jobjectArray array, jsize index) {
  const Object* object = Required(env, array, "GetObjectArrayElement");
  Call call(env, "GetObjectArrayElement", std::to_string(index));
  if (call.Fails() || object == nullptr) return nullptr;
  return call.Local(object->items.at(static_cast<size_t>(index)));
}
jbyteArray NewByteArray(JNIEnv* env, jsize size) {
  Call call(env, "NewByteArray", std::to_string(size));
  if (call.Fails()) return nullptr;
  Object* array = Of(env).New(Java::Get().Find("[B"));
  array->bytes.resize(static_cast<size_t>(size));
  return static_cast<jbyteArray>(call.Local(array));
}
jbyte* GetByteArrayElements(JNIEnv* env, jbyteArray array, jboolean* isCopy) {
  const Object* object = Required(env, array, "GetByteArrayElements");
  const Call call(env, "GetByteArrayElements", Describe(object));
  if (isCopy != nullptr) *isCopy = JNI_TRUE;
  if (call.Fails() || object == nullptr) return nullptr;
  return Lend<jbyte>(env, array, object->bytes, object->bytes.size());
}
void ReleaseByteArrayElements(JNIEnv* env, jbyteArray array, jbyte* elements, jint mode) {
  EXPECT_EQ(mode, 0) << "ReleaseByteArrayElements";
  TakeBack(env, array, elements, "ReleaseByteArrayElements");
}
void SetByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize size, const jbyte* source) {
  Object* object = Required(env, array, "SetByteArrayRegion");
  const Call call(env, "SetByteArrayRegion");
  if (call.Fails() || object == nullptr) return;
  ASSERT_LE(static_cast<size_t>(start) + static_cast<size_t>(size), object->bytes.size());
  std::copy(source, source + size, object->bytes.begin() + start);
}

// --- references

void Delete(JNIEnv* env, jobject object, bool global, const char* function) {
  if (object == nullptr) return;
  Resolve(env, object, function);
  auto& reference = *reinterpret_cast<Reference*>(object);
  if (global != (reference.owner == nullptr)) {
    ADD_FAILURE() << function << " of a reference of the other kind made by " << reference.origin;
  }
  reference.alive.store(false, std::memory_order_relaxed);
}
void DeleteLocalRef(JNIEnv* env, jobject object) {
  if (object != nullptr && reinterpret_cast<Reference*>(object)->argument) {
    Trace::Get().Add("DeleteLocalRef argument");
  }
  Delete(env, object, false, "DeleteLocalRef");
}
void DeleteGlobalRef(JNIEnv* env, jobject object) {
  const Object* resolved = object == nullptr ? nullptr : reinterpret_cast<Reference*>(object)->object;
  if (Trace::Get().On()) Trace::Get().Add("DeleteGlobalRef " + Describe(resolved));
  Delete(env, object, true, "DeleteGlobalRef");
}
jobject NewGlobalRef(JNIEnv* env, jobject object) {
  Object* resolved = Resolve(env, object, "NewGlobalRef");
  Call call(env, "NewGlobalRef", Describe(resolved));
  return call.Fails() ? nullptr : call.Global(resolved);
}
jobject NewLocalRef(JNIEnv* env, jobject object) {
  Object* resolved = Resolve(env, object, "NewLocalRef");
  Untraced(env, "NewLocalRef");
  return Of(env).Local(resolved, "NewLocalRef");
}
jboolean IsSameObject(JNIEnv* env, jobject left, jobject right) {
  Untraced(env, "IsSameObject");
  return Resolve(env, left, "IsSameObject") == Resolve(env, right, "IsSameObject") ? JNI_TRUE : JNI_FALSE;
}

// --- exceptions

jthrowable ExceptionOccurred(JNIEnv* env) {
  ThreadEnv& self = Of(env);
  if (self.pending == nullptr) return nullptr;
  Trace::Get().Add("ExceptionOccurred");
  return static_cast<jthrowable>(self.Local(self.pending, "ExceptionOccurred"));
}
jboolean ExceptionCheck(JNIEnv* env) {
  return Of(env).pending != nullptr ? JNI_TRUE : JNI_FALSE;
}
void ExceptionClear(JNIEnv* env) {
  Of(env).pending = nullptr;
}
void ExceptionDescribe(JNIEnv* env) {
  Of(env).pending = nullptr;
}
jint Throw(JNIEnv* env, jthrowable exception) {
  Object* resolved = Required(env, exception, "Throw");
  const Call call(env, "Throw", Describe(resolved));
  if (call.Fails()) return JNI_ERR;
  Of(env).pending = resolved;
  return JNI_OK;
}

// --- registration and the virtual machine

jint RegisterNatives(JNIEnv* env, jclass clazz, const JNINativeMethod* methods, jint count) {
  const Object* mirror = Resolve(env, clazz, "RegisterNatives");
  const std::string name = Describe(mirror);
  const Call call(env, "RegisterNatives", name + " " + std::to_string(count));
  if (call.Fails() || mirror == nullptr) return JNI_ERR;
  std::vector<RegisteredNative>& natives = Java::Get().Natives()[name];
  natives.clear();
  for (const JNINativeMethod& method : std::vector<JNINativeMethod>(methods, methods + count)) {
    natives.push_back({method.name, method.signature, method.fnPtr});
  }
  return JNI_OK;
}

jint GetEnv(JavaVM* /*vm*/, void** out, jint version) {
  std::ostringstream line;
  line << "GetEnv 0x" << std::hex << version;
  Trace::Get().Add(line.str());
  *out = nullptr;
  if (Java::Get().Fails("GetEnv")) return JNI_EVERSION;
  if (t_env == nullptr) return JNI_EDETACHED;
  *out = t_env;
  return JNI_OK;
}
jint AttachCurrentThread(JavaVM* vm, void** out, void* arguments) {
  Trace::Get().Add("AttachCurrentThread");
  EXPECT_EQ(arguments, nullptr) << "AttachCurrentThread";
  if (Java::Get().Fails("AttachCurrentThread")) return JNI_ERR;
  ++static_cast<FakeVm*>(vm)->attached;
  if (t_env == nullptr) t_env = Java::Get().NewEnv();
  *out = t_env;
  return JNI_OK;
}
jint DetachCurrentThread(JavaVM* vm) {
  Trace::Get().Add("DetachCurrentThread");
  if (t_env == nullptr) return JNI_EDETACHED;
  ++static_cast<FakeVm*>(vm)->detached;
  Java::Get().Retire(*std::exchange(t_env, nullptr));
  return JNI_OK;
}

// --- tables

constexpr size_t kSlots = sizeof(JNINativeInterface_) / sizeof(void*);

template <size_t kIndex>
void Unexpected() {
  std::fprintf(stderr, "a native uses the JNI function in slot %zu of the table\n", kIndex);
  std::abort();
}

template <size_t... kIndices>
std::array<void (*)(), kSlots> UnexpectedSlots(std::index_sequence<kIndices...> /*indices*/) {
  return {&Unexpected<kIndices>...};
}

JNINativeInterface_ MakeTable() {
  JNINativeInterface_ table;
  const auto slots = UnexpectedSlots(std::make_index_sequence<kSlots>());
  static_assert(sizeof slots == sizeof table);
  std::memcpy(&table, slots.data(), sizeof table);
  table.FindClass = FindClass;
  table.GetObjectClass = GetObjectClass;
  table.GetMethodID = GetMethodID;
  table.GetStaticMethodID = GetStaticMethodID;
  table.GetFieldID = GetFieldID;
  table.GetStaticFieldID = GetStaticFieldID;
  table.CallObjectMethodV = CallV<jobject>;
  table.CallBooleanMethodV = CallV<jboolean>;
  table.CallIntMethodV = CallV<jint>;
  table.CallVoidMethodV = CallVoidV;
  table.CallStaticObjectMethodV = CallStaticObjectV;
  table.NewObjectV = NewObjectV;
  table.GetObjectField = GetObjectField;
  table.GetByteField = GetByteField;
  table.GetLongField = GetLongField;
  table.SetObjectField = SetObjectField;
  table.SetLongField = SetLongField;
  table.GetStaticObjectField = GetStaticObjectField;
  table.NewStringUTF = NewStringUTF;
  table.GetStringUTFChars = GetStringUTFChars;
  table.ReleaseStringUTFChars = ReleaseStringUTFChars;
  table.GetArrayLength = GetArrayLength;
  table.GetObjectArrayElement = GetObjectArrayElement;
  table.NewByteArray = NewByteArray;
  table.GetByteArrayElements = GetByteArrayElements;
  table.ReleaseByteArrayElements = ReleaseByteArrayElements;
  table.SetByteArrayRegion = SetByteArrayRegion;
  table.DeleteLocalRef = DeleteLocalRef;
  table.DeleteGlobalRef = DeleteGlobalRef;
  table.NewGlobalRef = NewGlobalRef;
  table.NewLocalRef = NewLocalRef;
  table.IsSameObject = IsSameObject;
  table.ExceptionOccurred = ExceptionOccurred;
  table.ExceptionCheck = ExceptionCheck;
  table.ExceptionClear = ExceptionClear;
  table.ExceptionDescribe = ExceptionDescribe;
  table.Throw = Throw;
  table.RegisterNatives = RegisterNatives;
  return table;
}

}  // namespace

void FillEnv(ThreadEnv& env) {
  static const auto* table = new JNINativeInterface_(MakeTable());
  env.functions = table;
}

void FillVm(FakeVm& vm) {
  static const auto* table = [] {
    auto* functions = new JNIInvokeInterface_{};
    functions->GetEnv = GetEnv;
    functions->AttachCurrentThread = AttachCurrentThread;
    functions->DetachCurrentThread = DetachCurrentThread;
    return functions;
  }();
  vm.functions = table;
}

ThreadEnv& Java::Env() {
  if (t_env == nullptr) t_env = NewEnv();
  return *t_env;
}

}  // namespace fake
