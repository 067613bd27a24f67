// What a store is to do, as an ordered map does it; and what the two sides of the check share.
#pragma once

#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contract/entry.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Model {

using Map = std::map<std::string, std::string>;
using Rows = std::vector<std::pair<std::string, std::string>>;

// The entries of one store, with the transaction that may be open on it.
class StoreModel {
 public:
  const Map& Now() const { return transaction_ ? *transaction_ : committed_; }
  Map& Now() { return transaction_ ? *transaction_ : committed_; }
  bool InTransaction() const { return transaction_.has_value(); }

  void Start() { transaction_ = committed_; }
  void Commit() {
    committed_ = std::move(*transaction_);
    transaction_.reset();
  }
  void Rollback() { transaction_.reset(); }

  Rows WithPrefix(const std::string& prefix) const {
    Rows rows;
    for (auto at = Now().lower_bound(prefix); at != Now().end(); ++at) {
      if (at->first.compare(0, prefix.size(), prefix) != 0) break;
      rows.emplace_back(*at);
    }
    return rows;
  }

 private:
  Map committed_;
  std::optional<Map> transaction_;
};

// All that is left to chance. Keys are few, so that they meet, and lie close together around the bytes where
// orders and prefixes go wrong.
class Chance {
 public:
  explicit Chance(uint32_t seed) : random_(seed) {}

  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(random_()) % limit; }
  int32_t Between(int32_t least, int32_t most) {
    return least + static_cast<int32_t>(Below(static_cast<uint32_t>(most - least + 1)));
  }
  bool OneIn(uint32_t many) { return Below(many) == 0; }

  std::string Prefix() {
    static const std::vector<std::string> kPrefixes = {
        "", "a", "a/", "ab", std::string(1, '\0'), "b\xff", "\xff", "\xff\xff", "none"};
    return kPrefixes[Below(static_cast<uint32_t>(kPrefixes.size()))];
  }
  std::string Key() {
    static const std::string kBytes("\0\1/09ab~\x7f\x80\xc3\xfe\xff", 13);
    std::string key = Prefix();
    for (uint32_t more = 1 + Below(2); more > 0; --more) {
      key += kBytes[Below(static_cast<uint32_t>(kBytes.size()))];
    }
    return key;
  }
  std::string Value() {
    const uint32_t size = OneIn(100) ? 5000 : 1 + Below(30);
    return std::string(size, static_cast<char>(Below(256)));
  }

 private:
  std::mt19937 random_;
};

// The store and its model do not agree. Never thrown inside a callback: there it would not get through.
class Difference : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline std::ostream& operator<<(std::ostream& out, Status status) {
  return out << "status " << static_cast<int32_t>(status);
}
inline std::ostream& operator<<(std::ostream& out, const Rows& rows) {
  out << rows.size() << " rows:";
  for (const auto& [key, value] : rows) out << " '" << key << "'(" << value.size() << ")";
  return out;
}

template <typename Answer>
void Expect(const char* what, const Answer& actual, const Answer& expected) {
  if (actual == expected) return;
  std::ostringstream text;
  text << what << " answered " << actual << ", not " << expected;
  throw Difference(text.str());
}

inline Blob ToBlob(const std::string& text) {
  return Blob(std::vector<uint8_t>(text.begin(), text.end()));
}

inline Rows ToRows(const std::vector<Entry>& entries) {
  Rows rows;
  for (const Entry& entry : entries) rows.emplace_back(entry.key.ToString(), entry.value.ToString());
  return rows;
}

}  // namespace KORA::DistributedKv::Model
