// Scripts say what a native does, line by line; the runner plays each and compares the trace. See
// scripts/README.md for the language.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/java.h"

namespace fake {

enum class Fate { kKept, kDeleted, kOpen };  // of the local reference that a line makes

struct Line {
  std::string text;
  Fate fate = Fate::kKept;
  bool fallible = false;
  int skips = -1;            // steps left out after a failure; -1: all, the call ends
  bool autoPending = false;  // may come with an exception pending
  std::vector<Line> tail{};  // what follows a failure
};

struct Case {
  std::string name;
  std::string arguments;  // as text; empty: the section's
  bool pending = false;   // an exception is pending at the call
  std::vector<Line> lines;
};

struct Action {
  std::string target;
  std::string arguments;
};

struct Section {
  std::string target;
  std::string label;
  std::string arguments;
  std::string result;
  std::string otherwise;
  std::map<std::string, std::string> objects;
  std::vector<Action> before;
  std::vector<Action> after;
  std::vector<Line> steps;
  std::vector<Case> cases;
};

std::vector<Section> ReadScripts(const std::string& folder);

// Something other than a native that a script can play; answers its result as text.
using Operation = std::function<std::string(const std::vector<Datum>& arguments)>;
std::map<std::string, Operation>& Operations();

// Plays the section once as it should go, once for each step that can fail, and each of its cases.
void Play(const Section& section);
// Plays it once for each JNI call whose failure the script leaves open: nothing may break the rules of JNI.
void PlayOpenFailures(const Section& section);
// Plays it with a client that throws C++ exceptions: nothing may leave the native.
void PlayWithThrowingClient(const Section& section);

// Calls a registered native, "Class.name", as Java would; answers the result as text.
std::string CallNative(const std::string& target, const std::vector<Datum>& arguments);
std::string CallNative(const std::string& target, const std::string& arguments);

// The exception that the thread's last native call left, as text; it is forgotten.
std::string TakePending();

// Fresh stores, snapshot and cursor under their names, @manager, @multi, @single, @snapshot, @cursor.
void MakeHandles();

constexpr int kClientFailure = 27459590;

}  // namespace fake
