#include "support/java.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/trace.h"

namespace fake {

void FillVm(FakeVm& vm);
void FillEnv(ThreadEnv& env);

const Field* Class::FindField(const std::string& fieldName, const std::string& signature) const {
  for (const Field& field : fields) {
    if (field.name == fieldName && field.signature == signature) return &field;
  }
  return nullptr;
}

const Method* Class::FindMethod(const std::string& methodName, const std::string& signature) const {
  for (const Method& method : methods) {
    if (method.name == methodName && method.signature == signature) return &method;
  }
  return nullptr;
}

Class& Class::Add(const std::string& methodName, const std::string& signature,
                  std::function<Datum(Object*, const std::vector<Datum>&)> body) {
  methods.push_back({this, methodName, signature, std::move(body)});
  return *this;
}

Class& Class::Constructor(const std::string& signature) {
  return Add("<init>", signature, [](Object* self, const std::vector<Datum>& arguments) {
    for (size_t i = 0; i < arguments.size(); ++i) self->fields[self->type->fields[i].name] = arguments[i];
    return Datum{};
  });
}

Class& Class::Getter(const std::string& methodName, const std::string& signature, const std::string& field) {
  return Add(methodName, signature,
             [field](Object* self, const std::vector<Datum>&) { return self->fields[field]; });
}

Object* ThreadEnv::New(const Class* type) {
  Object& object = objects.emplace_back();
  object.type = type;
  for (const Field& field : type->fields) object.fields[field.name] = {};
  return &object;
}

jobject ThreadEnv::Local(Object* object, const std::string& origin) {
  if (object == nullptr) return nullptr;
  return reinterpret_cast<jobject>(&references.emplace_back(object, this, origin));
}

jobject ThreadEnv::Argument(Object* object) {
  const jobject reference = Local(object, "argument");
  if (reference != nullptr) references.back().argument = true;
  return reference;
}

jobject ThreadEnv::Global(Object* object, const std::string& origin) {
  if (object == nullptr) return nullptr;
  return reinterpret_cast<jobject>(&references.emplace_back(object, nullptr, origin));
}

Leftovers ThreadEnv::Take() {
  Leftovers left;
  for (; taken < references.size(); ++taken) {
    Reference& reference = references[taken];
    if (reference.owner == nullptr || !reference.alive.exchange(false)) continue;
    if (!reference.argument) left.locals.push_back(reference.origin);
  }
  left.buffers = buffers.size();
  if (pending != nullptr) left.pending = Describe(pending);
  pending = nullptr;
  return left;
}

Java& Java::Get() {
  static auto* java = new Java;  // callbacks and destructors at exit still use it
  return *java;
}

Java::Java() {
  FillVm(vm_);
  FillVm(otherVm_);
  DefineClasses();
  ThreadEnv* env = NewEnv();
  Class& classClass = *Find("java/lang/Class");
  for (Class& type : classes_) {
    type.mirror = env->New(&classClass);
    type.mirror->mirrored = &type;
    for (auto& [name, constant] : type.constants) {
      constant = env->New(&type);
      constant->text = name;
    }
  }
}

ThreadEnv* Java::NewEnv() {
  auto env = std::make_unique<ThreadEnv>();
  FillEnv(*env);
  const std::lock_guard lock(mutex_);
  return envs_.emplace_back(std::move(env)).get();
}

void Java::Retire(ThreadEnv& env) {
  Leftovers left = env.Take();
  const std::lock_guard lock(mutex_);
  lastDetached_ = std::move(left);
}

Leftovers Java::LastDetached() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lastDetached_, {});
}

Class& Java::Define(const std::string& name,
                    std::initializer_list<std::pair<const char*, const char*>> fields) {
  Class& type = classes_.emplace_back();
  type.name = name;
  for (const auto& [field, signature] : fields) type.fields.push_back({&type, field, signature});
  return type;
}

void Java::DefineEnum(const std::string& name, const std::vector<std::string>& constants) {
  Class& type = Define(name);
  for (const std::string& constant : constants) {
    type.constants[constant] = nullptr;
    type.fields.push_back({&type, constant, "L" + name + ";"});
  }
}

Class* Java::Find(const std::string& name) {
  for (Class& type : classes_) {
    if (type.name == name) return &type;
  }
  return nullptr;
}

Class& Java::ByShortName(const std::string& name) {
  for (Class& type : classes_) {
    if (type.ShortName() == name) return type;
  }
  ADD_FAILURE() << "no Java class " << name;
  return *Find("java/lang/Object");
}

Object* Java::NewString(ThreadEnv& env, const std::string& text) {
  Object* string = env.New(Find("java/lang/String"));
  string->text = text;
  return string;
}

void Java::FailCall(const std::string& function, int nth) {
  failingFunction_ = function;
  remaining_ = nth;
  failing_ = nth > 0;
}

bool Java::Fails(const std::string& function) {
  if (!failing_.load(std::memory_order_relaxed)) return false;
  return function == failingFunction_ && --remaining_ == 0;
}

std::string Java::ExceptionLeftBy(const std::string& function) {
  static const std::map<std::string, std::string> kExceptions = {
      {"FindClass", "NoClassDefFoundError"},
      {"GetMethodID", "NoSuchMethodError"},
      {"GetStaticMethodID", "NoSuchMethodError"},
      {"GetFieldID", "NoSuchFieldError"},
      {"GetStaticFieldID", "NoSuchFieldError"},
      {"NewObject", "OutOfMemoryError"},
      {"NewByteArray", "OutOfMemoryError"},
      {"NewStringUTF", "OutOfMemoryError"},
      {"GetObjectArrayElement", "ArrayIndexOutOfBoundsException"},
      {"SetByteArrayRegion", "ArrayIndexOutOfBoundsException"},
      {"Call", "RuntimeException"},
      {"CallObject", "RuntimeException"},
      {"RegisterNatives", "NoSuchMethodError"},
  };
  const auto found = kExceptions.find(function);
  return found == kExceptions.end() ? "" : found->second;
}

// --- text of values

Names& Names::Get() {
  static auto* names = new Names;
  return *names;
}

std::string Names::Of(jlong number) const {
  for (const auto& [name, value] : numbers_) {
    if (value == number && number != 0) return "@" + name;
  }
  return std::to_string(number);
}

Datum Names::Find(const std::string& name) const {
  if (const auto number = numbers_.find(name); number != numbers_.end()) return {number->second, nullptr};
  if (const auto object = objects_.find(name); object != objects_.end()) return {0, object->second};
  ADD_FAILURE() << "nothing is named @" << name;
  return {};
}

namespace {

std::string Hex(const std::vector<jbyte>& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const jbyte byte : bytes) {
    text += kDigits[(byte >> 4) & 15];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Joined(const std::vector<Object*>& items, const char* separators) {
  std::string text;
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += separators[i % 2 == 0];
    text += Describe(items[i]);
  }
  return text;
}

std::string DescribeFields(const Object& object) {
  std::string text;
  for (const Field& field : object.type->fields) {
    const Datum& value = object.fields.at(field.name);
    if (!text.empty()) text += ",";
    text += field.IsReference() ? Describe(value.object) : DescribeNumber(field, value.number);
  }
  return text;
}

}  // namespace

std::string DescribeNumber(const Field& field, jlong number) {
  return field.signature == "J" ? Names::Get().Of(number) : std::to_string(number);
}

std::string Describe(const Object* object) {
  if (object == nullptr) return "null";
  const std::string name = object->type->ShortName();
  if (name == "String") return "\"" + object->text + "\"";
  if (name == "[B") return "[" + Hex(object->bytes) + "]";
  if (name == "[]") return "{" + Joined(object->items, ",,") + "}";
  if (name == "ArrayList") return "List{" + Joined(object->items, ",,") + "}";
  if (name == "HashMap") return "Map{" + Joined(object->items, ":,") + "}";
  if (object->mirrored != nullptr) return object->mirrored->ShortName();
  if (!object->type->constants.empty()) return name + "." + object->text;
  return name + "(" + DescribeFields(*object) + ")";
}

namespace {

class Parser {
 public:
  Parser(ThreadEnv& env, const std::string& text) : env_(env), text_(text) {}

  std::vector<Datum> List(char end) {
    std::vector<Datum> values;
    while (Skip(), at_ < text_.size() && text_[at_] != end) {
      values.push_back(Value());
      Skip();
      if (at_ < text_.size() && text_[at_] == ',') ++at_;
    }
    ++at_;
    return values;
  }

 private:
  void Skip() {
    while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  }

  Datum Value() {
    switch (text_[at_]) {
      case '"':
        return {0, Java::Get().NewString(env_, Until('"'))};
      case '[':
        return {0, Bytes(Until(']'))};
      case '{': {
        Object* array = env_.New(Java::Get().Find("[]"));
        ++at_;
        for (const Datum& item : List('}')) array->items.push_back(item.object);
        return {0, array};
      }
      case '@':
        ++at_;
        return Names::Get().Find(Word());
      default:
        return NumberOrObject(Word());
    }
  }

  Datum NumberOrObject(const std::string& word) {
    if (word == "null") return {};
    if (word.empty() || word[0] == '-' || std::isdigit(static_cast<unsigned char>(word[0])) != 0) {
      return {std::atoll(word.c_str()), nullptr};
    }
    Object* object = env_.New(&Java::Get().ByShortName(word));
    ++at_;
    const std::vector<Datum> values = List(')');
    for (size_t i = 0; i < values.size(); ++i) object->fields[object->type->fields[i].name] = values[i];
    return {0, object};
  }

  Object* Bytes(const std::string& hex) {
    Object* array = env_.New(Java::Get().Find("[B"));
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
      array->bytes.push_back(static_cast<jbyte>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return array;
  }

  std::string Until(char end) {
    const size_t begin = at_ + 1;
    at_ = text_.find(end, begin) + 1;
    return text_.substr(begin, at_ - 1 - begin);
  }

  std::string Word() {
    const size_t begin = at_;
    at_ = std::min(text_.find_first_of("(),{} ", at_), text_.size());
    return text_.substr(begin, at_ - begin);
  }

  ThreadEnv& env_;
  const std::string& text_;
  size_t at_ = 0;
};

}  // namespace

std::vector<Datum> ParseValues(ThreadEnv& env, const std::string& text) {
  return Parser(env, text).List('\0');
}

}  // namespace fake
