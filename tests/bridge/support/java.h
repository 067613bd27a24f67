// A Java world without a virtual machine: classes and objects, the references that native code holds to them,
// and one environment a thread. Objects live until the process ends.
#pragma once

#include <jni.h>

#include <atomic>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fake {

struct Class;
struct Object;

// A field's or argument's value: an object for reference types, else the number.
struct Datum {
  jlong number = 0;
  Object* object = nullptr;
};

struct Field {
  const Class* owner;
  std::string name;
  std::string signature;

  bool IsReference() const { return signature[0] == 'L' || signature[0] == '['; }
};

struct Method {
  const Class* owner;
  std::string name;
  std::string signature;
  std::function<Datum(Object* self, const std::vector<Datum>& arguments)> body;
};

struct Class {
  std::string name;  // as FindClass takes it
  std::deque<Field> fields;
  std::deque<Method> methods;
  std::map<std::string, Object*> constants;  // of an enumeration
  Object* mirror = nullptr;                  // the java.lang.Class object

  std::string ShortName() const { return name.substr(name.rfind('/') + 1); }
  const Field* FindField(const std::string& fieldName, const std::string& signature) const;
  const Method* FindMethod(const std::string& methodName, const std::string& signature) const;
  // A constructor that puts its arguments into the first fields.
  Class& Constructor(const std::string& signature);
  // A method that answers a field.
  Class& Getter(const std::string& methodName, const std::string& signature, const std::string& field);
  Class& Add(const std::string& methodName, const std::string& signature,
             std::function<Datum(Object*, const std::vector<Datum>&)> body);
};

struct Object {
  const Class* type = nullptr;
  std::map<std::string, Datum> fields;
  std::string text;            // of a string, in modified UTF-8; of an enumeration constant, its name
  std::vector<jbyte> bytes;    // of a byte array
  std::vector<Object*> items;  // of an array or a list; of a map, keys and values in turn
  const Class* mirrored = nullptr;
};

// A JNI reference. It stays known after its end, so that its use is noticed.
struct Reference {
  Object* object;
  const struct ThreadEnv* owner;  // null: a global reference
  std::string origin;             // the trace line that made it
  std::atomic<bool> alive{true};
  bool argument = false;

  Reference(Object* target, const ThreadEnv* ownerThread, std::string madeBy)
      : object(target), owner(ownerThread), origin(std::move(madeBy)) {}
};

// What a thread is found to have left at the end of a native call or when it was detached.
struct Leftovers {
  std::vector<std::string> locals;  // the lines that made them
  std::string pending;              // the pending exception, or ""
  size_t buffers = 0;               // UTF characters and array elements that were not released
};

struct ThreadEnv : JNIEnv_ {
  std::deque<Object> objects;
  std::deque<Reference> references;  // all that this thread made, global ones included
  size_t taken = 0;                  // how many of them earlier calls made
  std::map<const void*, Reference*> buffers;
  Object* pending = nullptr;

  Object* New(const Class* type);
  jobject Local(Object* object, const std::string& origin);
  // An argument of a native call; it belongs to the caller.
  jobject Argument(Object* object);
  jobject Global(Object* object, const std::string& origin);
  Leftovers Take();  // and forgets
};

struct FakeVm : JavaVM_ {
  std::atomic<int> attached{0};
  std::atomic<int> detached{0};
};

struct RegisteredNative {
  std::string name;
  std::string signature;
  void* function;
};

class Java {
 public:
  static Java& Get();

  FakeVm& Vm() { return vm_; }
  FakeVm& OtherVm() { return otherVm_; }
  // The calling thread's environment; it is attached for good.
  ThreadEnv& Env();

  Class& Define(const std::string& name,
                std::initializer_list<std::pair<const char*, const char*>> fields = {});
  void DefineEnum(const std::string& name, const std::vector<std::string>& constants);
  Class* Find(const std::string& name);
  Class& ByShortName(const std::string& name);
  Object* NewString(ThreadEnv& env, const std::string& text);

  // The `nth` call (from 1) of a JNI function fails, as it is named in the trace. At most one is armed.
  void FailCall(const std::string& function, int nth);
  void FailNothing() { FailCall("", 0); }
  bool FailurePassed() const { return failing_.load() && remaining_.load() <= 0; }
  // Notes a JNI call; answers true when it is to fail.
  bool Fails(const std::string& function);
  // What a failed call leaves pending: the name of a Java class, or "".
  static std::string ExceptionLeftBy(const std::string& function);

  std::map<std::string, std::vector<RegisteredNative>>& Natives() { return natives_; }
  // What the last thread that was detached had left.
  Leftovers LastDetached();

  ThreadEnv* NewEnv();
  void Retire(ThreadEnv& env);

 private:
  Java();
  void DefineClasses();

  FakeVm vm_;
  FakeVm otherVm_;
  std::deque<Class> classes_;
  std::map<std::string, std::vector<RegisteredNative>> natives_;  // by the class's short name
  std::mutex mutex_;
  std::deque<std::unique_ptr<ThreadEnv>> envs_;
  Leftovers lastDetached_;
  std::atomic<bool> failing_{false};
  std::string failingFunction_;
  std::atomic<int> remaining_{0};
};

// Text of a value, in the form that ParseValue reads: null, "text", [0102], {a,b}, List{a,b}, Map{k:v},
// @name, Name(fields...), Enumeration.CONSTANT.
std::string Describe(const Object* object);
std::string DescribeNumber(const Field& field, jlong number);

// Names of handles and objects, for both directions.
class Names {
 public:
  static Names& Get();
  void Clear() { numbers_.clear(), objects_.clear(); }
  void Set(const std::string& name, jlong number) { numbers_[name] = number; }
  void Set(const std::string& name, Object* object) { objects_[name] = object; }
  // A number as text: its name, else its digits.
  std::string Of(jlong number) const;
  Datum Find(const std::string& name) const;

 private:
  std::map<std::string, jlong> numbers_;
  std::map<std::string, Object*> objects_;
};

// The name of the error code for a status.
std::string ErrorCodeName(int status);

std::vector<Datum> ParseValues(ThreadEnv& env, const std::string& text);

}  // namespace fake
