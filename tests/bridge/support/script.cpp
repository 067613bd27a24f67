#include "support/script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "support/client.h"
#include "support/trace.h"

namespace fake {
namespace {

std::string Trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(' ');
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  size_t begin = 0;
  for (size_t at = text.find(separator); at != std::string::npos; at = text.find(separator, begin)) {
    parts.push_back(Trimmed(text.substr(begin, at - begin)));
    begin = at + separator.size();
  }
  parts.push_back(Trimmed(text.substr(begin)));
  return parts;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// "head rest of the line" -> {head, rest}
std::pair<std::string, std::string> FirstWord(const std::string& text) {
  const size_t blank = text.find(' ');
  return blank == std::string::npos ? std::pair(text, std::string())
                                    : std::pair(text.substr(0, blank), Trimmed(text.substr(blank)));
}

std::string Function(const std::string& line) {
  return FirstWord(line[0] == '^' ? line.substr(1) : line).first;
}

bool MakesReference(const std::string& line) {
  static const std::set<std::string> kMakers = {
      "FindClass",  "GetObjectClass", "GetObjectField", "GetStaticObjectField",  "NewObject",
      "CallObject", "NewStringUTF",   "NewByteArray",   "GetObjectArrayElement", "ExceptionOccurred"};
  return kMakers.count(Function(line)) != 0;
}

// The lines of a thrown KvStoreException.
std::vector<Line> ThrowLines(const std::string& rest) {
  const auto [status, message] = FirstWord(rest);
  const std::string name = ErrorCodeName(std::stoi(status == "$s" ? std::to_string(kClientFailure) : status));
  std::vector<Line> lines;
  for (const std::string& text :
       {std::string("FindClass KvStoreErrorCode"), "E:JavaExpJNI:ExceptionObject EXCEPTION code=" + status,
        "GetStaticFieldID KvStoreErrorCode." + name, "GetStaticObjectField KvStoreErrorCode." + name,
        std::string("FindClass KvStoreException"), std::string("GetMethodID KvStoreException.<init>"),
        "NewStringUTF \"" + message + "\"", std::string("NewObject KvStoreException"),
        "Throw KvStoreException(KvStoreErrorCode." + name + ",\"" + message + "\")"}) {
    Line line{text};
    line.autoPending = text[1] != ':';
    lines.push_back(line);
  }
  return lines;
}

class Reader {
 public:
  void Read(std::istream& in) {
    for (std::string raw; std::getline(in, raw);) {
      const std::string text = Trimmed(raw);
      if (text.empty() || text[0] == '#') continue;
      if (raw[0] != ' ') {
        Head(text);
      } else if (macro_ != nullptr) {
        macro_->push_back(text);
      } else {
        Body(text);
      }
    }
  }
  std::vector<Section> Take() { return std::move(sections_); }

 private:
  void Head(const std::string& text) {
    const auto [word, rest] = FirstWord(text);
    macro_ = nullptr;
    if (word == "tag") {
      tag_ = rest;
    } else if (word == "macro") {
      macro_ = &macros_[rest];
    } else {
      Section& section = sections_.emplace_back();
      const auto [target, afterTarget] = FirstWord(rest);
      const size_t arrow = afterTarget.find(" -> ");
      const std::vector<std::string> results = Split(afterTarget.substr(arrow + 4), " else ");
      section.target = target;
      section.label = FirstWord(afterTarget).first;
      section.arguments = Inside(afterTarget.substr(0, arrow));
      section.result = results.front();
      section.otherwise = results.back();
    }
  }

  void Body(const std::string& text) {
    Section& section = sections_.back();
    const auto [word, rest] = FirstWord(text);
    if (word == "let") {
      const auto [name, value] = FirstWord(rest);
      section.objects[name] = value;
    } else if (word == "before" || word == "after") {
      (word == "before" ? section.before : section.after).push_back({FirstWord(rest).first, Inside(rest)});
    } else if (word == "case") {
      ReadCase(section, rest);
    } else {
      Append(section.steps, text);
    }
  }

  void ReadCase(Section& section, const std::string& text) {
    const size_t colon = text.find(":");
    const size_t split = text.find("): ") == std::string::npos ? colon : text.find("): ") + 1;
    Case& added = section.cases.emplace_back();
    const std::string head = text.substr(0, split);
    added.name = head;
    added.pending = head.find("pending") != std::string::npos;
    added.arguments = Inside(head);
    for (const std::string& part : Split(text.substr(split + 1), " | ")) Append(added.lines, part);
  }

  static std::string Inside(const std::string& text) {
    const size_t begin = text.find('(');
    return begin == std::string::npos ? "" : text.substr(begin + 1, text.rfind(')') - begin - 1);
  }

  // Adds what one line of a script stands for.
  void Append(std::vector<Line>& lines, const std::string& text) {
    if (text.empty()) return;
    const size_t mark = text.find(" !");
    const std::string head = Trimmed(text.substr(0, mark));
    const bool fallible = mark != std::string::npos;
    const bool continues = fallible && text[mark + 2] == '+';
    std::string tail = fallible ? Trimmed(text.substr(mark + (continues ? 3 : 2))) : "";
    int skips = continues ? 0 : -1;
    if (continues && std::isdigit(static_cast<unsigned char>(tail[0])) != 0) {
      skips = std::stoi(tail);
      tail = FirstWord(tail).second;
    }
    const auto [word, rest] = FirstWord(head);
    if (word == "throw") {
      for (Line& line : ThrowLines(rest)) lines.push_back(std::move(line));
    } else if (const auto macro = macros_.find(word); macro != macros_.end()) {
      for (const std::string& line : macro->second) Append(lines, Instance(line, rest, tail));
    } else {
      Line& line = lines.emplace_back(Plain(head));
      line.fallible = fallible;
      line.skips = skips;
      for (const std::string& part : Split(tail, " | ")) Append(line.tail, part);
    }
  }

  static std::string Instance(const std::string& line, const std::string& arguments,
                              const std::string& tail) {
    std::string text = line;
    const std::vector<std::string> words = Split(arguments, ";");
    for (size_t i = 0; i < words.size(); ++i) text = Replaced(text, "$" + std::to_string(i + 1), words[i]);
    return tail.empty() ? Replaced(Replaced(text, "| $tail", ""), "$tail", "")
                        : Replaced(text, "$tail", tail);
  }

  Line Plain(const std::string& head) {
    Line line{head};
    if (head.size() > 2 && head[1] == ' ' && std::string("DIWE").find(head[0]) != std::string::npos) {
      line.text = head.substr(0, 1) + ":" + tag_ + ":" + sections_.back().label + head.substr(1);
    }
    const std::string end = head.size() > 2 ? head.substr(head.size() - 2) : "";
    if (end == " -" || end == " ~") {
      line.fate = end == " -" ? Fate::kDeleted : Fate::kOpen;
      line.text = head.substr(0, head.size() - 2);
    }
    return line;
  }

  std::string tag_;
  std::map<std::string, std::vector<std::string>> macros_;
  std::vector<std::string>* macro_ = nullptr;
  std::vector<Section> sections_;
};

// What a run should leave behind.
class Expectation {
 public:
  std::vector<std::string> trace;
  std::multiset<std::string> kept;
  std::multiset<std::string> open;
  std::string pending;
  std::string result;

  void Add(const Line& line, bool failed = false) {
    if (Directive(line.text)) return;
    std::string text = Filled(line.text);
    if (line.autoPending && !pending.empty()) text.insert(0, "^");
    trace.push_back(text);
    if (failed) {
      const std::string exception = Java::ExceptionLeftBy(Function(text));
      if (!exception.empty()) pending = exception + "()";
      return;
    }
    if (MakesReference(text)) {
      if (line.fate == Fate::kKept) kept.insert(text);
      if (line.fate == Fate::kOpen) open.insert(text);
    }
    if (Function(text) == "Throw") pending = FirstWord(text).second;
    if (text == "DetachCurrentThread") pending.clear();  // a callback carries no exception away
  }

 private:
  // What a line says of the outcome rather than of the trace.
  bool Directive(const std::string& text) {
    const auto [word, rest] = FirstWord(text);
    if (word == "return") {
      result = Filled(rest);
    } else if (word == "cleared") {
      pending.clear();
    } else if (word == "forget") {
      for (auto at = kept.begin(); at != kept.end();)
        at = Function(*at) == rest ? kept.erase(at) : std::next(at);
    } else if (word == "set") {
      variables_.insert(FirstWord(rest));
    } else {
      return false;
    }
    return true;
  }

  // ${name=value}: the value unless the name was set.
  std::string WithVariables(std::string text) const {
    for (size_t at = text.find("${"); at != std::string::npos; at = text.find("${", at)) {
      const size_t equals = text.find('=', at);
      const size_t end = text.find('}', at);
      const auto found = variables_.find(text.substr(at + 2, equals - at - 2));
      const std::string value =
          found == variables_.end() ? text.substr(equals + 1, end - equals - 1) : found->second;
      text.replace(at, end + 1 - at, value);
    }
    return text;
  }

  std::map<std::string, std::string> variables_;

  // $s and $x: the client's failure in decimal and hexadecimal; $h: the handle.
  std::string Filled(const std::string& text) const {
    std::ostringstream hex;
    hex << std::hex << kClientFailure;
    std::string filled =
        Replaced(Replaced(WithVariables(text), "$s", std::to_string(kClientFailure)), "$x", hex.str());
    for (const char* name : {"multi", "single"}) {
      const std::string mark = std::string("$h") + name[0];
      if (filled.find(mark) != std::string::npos) {
        filled = Replaced(filled, mark, std::to_string(Names::Get().Find(name).number));
      }
    }
    return filled;
  }
};

struct Run {
  std::string arguments;
  bool pending = false;
  std::string failing{};  // a JNI function, or ">" for the client
  int nth = 0;
};

std::string Invoke(const std::string& target, const std::vector<Datum>& arguments) {
  const auto operation = Operations().find(target);
  return operation != Operations().end() ? operation->second(arguments) : CallNative(target, arguments);
}

void Prepare(const Section& section) {
  ThreadEnv& env = Java::Get().Env();
  Client::Get().Reset();
  MakeHandles();
  for (const auto& [name, value] : section.objects) {
    Names::Get().Set(name, ParseValues(env, value).front().object);
  }
  for (const Action& action : section.before) Invoke(action.target, ParseValues(env, action.arguments));
  env.Take();
  Java::Get().LastDetached();
}

void CleanUp(const Section& section) {
  ThreadEnv& env = Java::Get().Env();
  Client::Get().answers.status = kv::Status::SUCCESS;
  for (const Action& action : section.after) Invoke(action.target, ParseValues(env, action.arguments));
  env.Take();
  Client::Get().Reset();
}

// `exact`: what is to be kept is there; else nothing more is there than may be.
testing::AssertionResult SameReferences(const Expectation& expected, const std::vector<std::string>& locals,
                                        bool exact) {
  std::multiset<std::string> kept = expected.kept;
  std::multiset<std::string> open = expected.open;
  for (const std::string& local : locals) {
    std::multiset<std::string>& from = kept.count(local) != 0 ? kept : open;
    if (from.count(local) == 0) return testing::AssertionFailure() << "a local reference is left: " << local;
    from.erase(from.find(local));
  }
  if (!exact || kept.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "a local reference was deleted: " << *kept.begin();
}

std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

// The first difference of two traces, with both in full.
testing::AssertionResult SameTrace(const std::vector<std::string>& expected,
                                   const std::vector<std::string>& seen) {
  if (expected == seen) return testing::AssertionSuccess();
  size_t at = 0;
  while (at < expected.size() && at < seen.size() && expected[at] == seen[at]) ++at;
  return testing::AssertionFailure() << "the traces differ at line " << at + 1 << "\nexpected:\n"
                                     << Lines(expected) << "seen:\n"
                                     << Lines(seen);
}

void RunOnce(const Section& section, const Run& run, const Expectation& expected) {
  ThreadEnv& env = Java::Get().Env();
  const std::vector<Datum> arguments = ParseValues(env, run.arguments);
  if (run.pending) env.pending = env.New(Java::Get().Find("java/lang/RuntimeException"));
  if (run.failing == ">") {
    Client::Get().answers.status = static_cast<kv::Status>(kClientFailure);
  } else {
    Java::Get().FailCall(run.failing, run.nth);
  }
  Trace::Get().Start();
  const std::string result = Invoke(section.target, arguments);
  const std::vector<std::string> trace = Trace::Get().Stop();
  Java::Get().FailNothing();
  Leftovers left = env.Take();
  const Leftovers detached = Java::Get().LastDetached();
  left.locals.insert(left.locals.end(), detached.locals.begin(), detached.locals.end());
  if (left.pending.empty()) left.pending = detached.pending;

  EXPECT_TRUE(SameTrace(expected.trace, trace));
  EXPECT_EQ(expected.result, result);
  EXPECT_EQ(expected.pending, left.pending) << "the pending exception";
  EXPECT_TRUE(SameReferences(expected, left.locals, Operations().count(section.target) == 0));
  EXPECT_EQ(0U, left.buffers + detached.buffers) << "characters or elements were not released";
}

// `failing`: the index of the step that fails, or -1.
void PlaySteps(const Section& section, int failing) {
  Prepare(section);
  Expectation expected;
  expected.result = section.result;
  Run run{section.arguments};
  for (int i = 0; i < static_cast<int>(section.steps.size()); ++i) {
    const Line& step = section.steps[static_cast<size_t>(i)];
    expected.Add(step, i == failing);
    if (i != failing) continue;
    failing = -1;  // for the steps that a failure skips
    run.failing = Function(step.text);
    run.nth =
        static_cast<int>(std::count_if(expected.trace.begin(), expected.trace.end(),
                                       [&](const auto& line) { return Function(line) == run.failing; }));
    if (step.skips < 0) expected.result = section.otherwise;
    for (const Line& line : step.tail) expected.Add(line);
    if (step.skips < 0) break;
    i += step.skips;
  }
  RunOnce(section, run, expected);
  CleanUp(section);
}

// A call with its handles 0: those are the arguments that are names of numbers.
std::string WithoutHandles(std::string arguments) {
  for (const char* handle : {"@manager", "@multi", "@single", "@snapshot", "@cursor"}) {
    const std::string name = handle;
    if (arguments == name) return "0";
    if (arguments.rfind(name + ",", 0) == 0) return "0" + arguments.substr(name.size());
    const size_t at = arguments.size() - std::min(arguments.size(), name.size());
    if (arguments.substr(at) == name) return arguments.substr(0, at) + "0";
  }
  return arguments;
}

void PlayCase(const Section& section, const Case& played) {
  Prepare(section);
  Expectation expected;
  expected.result = section.otherwise;
  Run run{played.arguments.empty() ? section.arguments : played.arguments, played.pending};
  if (played.name == "zero") run.arguments = WithoutHandles(run.arguments);
  if (played.pending) expected.pending = "RuntimeException()";
  for (const Line& line : played.lines) expected.Add(line);
  RunOnce(section, run, expected);
  CleanUp(section);
}

}  // namespace

std::vector<Section> ReadScripts(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().extension() == ".script") files.push_back(file.path());
  }
  std::sort(files.begin(), files.end());
  Reader reader;
  std::ifstream common(std::filesystem::path(folder) / "common.macros");
  reader.Read(common);
  for (const auto& file : files) {
    std::ifstream in(file);
    reader.Read(in);
  }
  return reader.Take();
}

std::map<std::string, Operation>& Operations() {
  static auto* operations = new std::map<std::string, Operation>;
  return *operations;
}

void Play(const Section& section) {
  {
    SCOPED_TRACE("as it should go");
    PlaySteps(section, -1);
  }
  for (int i = 0; i < static_cast<int>(section.steps.size()); ++i) {
    const Line& step = section.steps[static_cast<size_t>(i)];
    if (!step.fallible) continue;
    SCOPED_TRACE("step " + std::to_string(i + 1) + " fails: " + step.text);
    PlaySteps(section, i);
  }
  for (const Case& played : section.cases) {
    SCOPED_TRACE("case " + played.name);
    PlayCase(section, played);
  }
}

void PlayOpenFailures(const Section& section) {
  std::map<std::string, int> calls;
  for (const Line& step : section.steps) {
    const std::string function = Function(step.text);
    const int nth = ++calls[function];
    const bool isJni = std::isupper(static_cast<unsigned char>(function[0])) != 0 && function[1] != ':';
    if (step.fallible || !isJni) continue;
    SCOPED_TRACE("fails: " + step.text);
    Prepare(section);
    Java::Get().FailCall(function, nth);
    Invoke(section.target, ParseValues(Java::Get().Env(), section.arguments));
    Java::Get().FailNothing();
    EXPECT_EQ(0U, Java::Get().Env().Take().buffers + Java::Get().LastDetached().buffers);
    CleanUp(section);
  }
}

void PlayWithThrowingClient(const Section& section) {
  Prepare(section);
  Client::Get().answers.throws = true;
  ThreadEnv& env = Java::Get().Env();
  EXPECT_EQ(section.otherwise, Invoke(section.target, ParseValues(env, section.arguments)));
  const Leftovers left = env.Take();
  EXPECT_EQ(0U, left.buffers);
  EXPECT_EQ(0U, left.pending.find("KvStoreException(KvStoreErrorCode.DEFAULT_DB_ERROR,")) << left.pending;
  Client::Get().answers.throws = false;
  CleanUp(section);
}

void MakeHandles() {
  static kv::DistributedKvDataManager manager;
  Names& names = Names::Get();
  names.Clear();
  names.Set("manager", reinterpret_cast<jlong>(&manager));
  names.Set("multi", reinterpret_cast<jlong>(MakeStore().release()));
  names.Set("single", reinterpret_cast<jlong>(MakeSingleStore().release()));
  names.Set("snapshot", reinterpret_cast<jlong>(MakeSnapshot().release()));
  names.Set("cursor", reinterpret_cast<jlong>(MakeResultSet().release()));
}

}  // namespace fake
