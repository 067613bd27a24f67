// Damaged stores: found, recovered from backups, and never a wrong value.
#include <algorithm>
#include <fstream>
#include <functional>
#include <random>

#include "common/crypto.h"
#include "engine/engine.h"
#include "manager/recovery.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

namespace fs = std::filesystem;

const char* const kBackups = ".backups";
const char* const kDocuments = "documents";        // a text whose values are such
const char* const kUnreadable = "/proc/self/mem";  // reading its beginning is an input/output error

class Damage : public ClientTest {
 protected:
  static Options WithBackup(bool encrypted = false) {
    Options options = Creating();
    options.backup = true;
    options.encrypt = encrypted;
    return options;
  }

  fs::path Backups(const std::string& storeId = "store") const {
    return Home() / app_.appId / kBackups / storeId;
  }

  // The store's files of this beginning or, with a dot in front, this end of their names.
  std::vector<fs::path> Files(const std::string& part) const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(Folder("store"))) {
      const fs::path& path = entry.path();
      if (path.filename().string().rfind(part, 0) == 0 || path.extension() == part) found.push_back(path);
    }
    return found;
  }

  static void Flip(const fs::path& file, uint64_t bit) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(bit / 8));
    const int byte = stream.get() ^ (1 << bit % 8);
    stream.seekp(static_cast<std::streamoff>(bit / 8));
    stream.put(static_cast<char>(byte));
  }

  // Text that can't be compressed, so that a table has room for damage between its edges.
  static std::string ValueOf(const std::string& text, int number) {
    std::mt19937 random(static_cast<unsigned>(number));
    if (text == kDocuments) {
      std::string letters(500, ' ');
      for (char& letter : letters) letter = static_cast<char>('#' + random() % 50);
      return "\1{\"n\":" + std::to_string(number) + ",\"letters\":\"" + letters + "\"}";
    }
    std::string value = text + std::to_string(number) + " ";
    for (int i = 0; i < 500; ++i) value += static_cast<char>(random());
    return value;
  }

  void Fill(const Options& options, const std::string& text = "value ") {
    const auto store = Open("store", options);
    for (int i = 0; i < 40; ++i)
      ASSERT_EQ(Put(*store, "key" + std::to_string(i), ValueOf(text, i)), Status::SUCCESS);
  }

  // In their order, or not at all.
  static void ExpectFoundByIndex(const SingleKvStore& store) {
    std::vector<Entry> entries;
    const Status status =
        store.GetEntriesWithQuery(R"({"where": {"field": "n", "ge": 10}, "order": "n"})", entries);
    EXPECT_TRUE(status == Status::SUCCESS || status == Status::DB_ERROR);
    Pairs expected;
    for (int i = 10; i < 40 && status == Status::SUCCESS; ++i)
      expected.emplace_back("key" + std::to_string(i), ValueOf(kDocuments, i));
    EXPECT_EQ(ToPairs(entries), expected);
  }

  void ExpectFilled(const SingleKvStore& store, const std::string& text = "value ") {
    const Pairs pairs = List(store);
    EXPECT_EQ(pairs.size(), 40U);
    for (const auto& [key, value] : pairs) EXPECT_EQ(value, ValueOf(text, std::stoi(key.substr(3))));
  }
};

TEST_F(Damage, IsFoundAtOpeningAndRecoveredOnce) {
  const std::vector<std::pair<const char*, std::function<void()>>> damages = {
      {"no CURRENT", [&] { fs::remove(Folder("store") / "CURRENT"); }},
      {"CURRENT names another", [&] { Flip(Folder("store") / "CURRENT", 68); }},
      {"no manifest", [&] { fs::remove(Files("MANIFEST").at(0)); }},
      {"manifest without its end",
       [&] {
         const fs::path file = Files("MANIFEST").at(0);
         fs::resize_file(file, fs::file_size(file) - 3);
       }},
      {"no table", [&] { fs::remove(Files(".sst").at(0)); }},
      {"table without its end",
       [&] { fs::resize_file(Files(".sst").at(0), fs::file_size(Files(".sst").at(0)) - 1); }},
      {"table's footer", [&] { Flip(Files(".sst").at(0), 8 * fs::file_size(Files(".sst").at(0)) - 200); }},
      {"no STORE", [&] { fs::remove(Folder("store") / "STORE"); }},
      {"STORE", [&] { Flip(Folder("store") / "STORE", 150); }},
      {"no folder", [&] { fs::remove_all(Folder("store")); }},
  };
  bool encrypted = false;
  for (const auto& [name, damage] : damages) {
    SCOPED_TRACE(name);
    encrypted = !encrypted;
    const Options options = WithBackup(encrypted);
    Fill(options);
    damage();
    Open("store", options, Status::RECOVER_SUCCESS);
    ExpectFilled(*Open("store", options));
    EXPECT_EQ(manager_.DeleteKvStore(app_, {"store"}), Status::SUCCESS);
    EXPECT_FALSE(fs::exists(Backups()));
  }
}

TEST_F(Damage, WithoutABackupNothingIsTouched) {
  Fill(Creating());
  fs::rename(Files("MANIFEST").at(0), Folder("store") / "moved");
  Open("store", Creating(), Status::DB_ERROR);
  Open("store", WithBackup(), Status::RECOVER_FAILED);
  fs::rename(Folder("store") / "moved", Folder("store") / "MANIFEST-000005");
  ExpectFilled(*Open("store", Creating()));
}

TEST_F(Damage, AnOlderBackupServesWhereTheNewestIsDamagedToo) {
  Fill(WithBackup(), "older ");
  Fill(WithBackup(), "newer ");
  std::vector<fs::path> tables;
  for (const auto& entry : fs::directory_iterator(Backups() / "shared_checksum"))
    tables.push_back(entry.path());
  ASSERT_EQ(tables.size(), 2U);  // the older backup's table is not kept twice
  std::sort(tables.begin(), tables.end());
  Flip(tables.back(), 80'000);
  fs::remove(Files("CURRENT").at(0));
  Open("store", WithBackup(), Status::RECOVER_SUCCESS);
  ExpectFilled(*Open("store", Creating()), "older ");
  EXPECT_TRUE(fs::exists(Backups() / "damaged" / "SEAL"));  // what was damaged is kept
  Fill(WithBackup(), "later ");                             // as many writes as the damaged backup has
  fs::remove(Files("CURRENT").at(0));
  Open("store", WithBackup(), Status::RECOVER_SUCCESS);
  ExpectFilled(*Open("store", WithBackup()), "later ");

  for (const auto& entry : fs::directory_iterator(Backups() / "shared_checksum"))
    fs::resize_file(entry.path(), 10);
  fs::remove(Files("CURRENT").at(0));
  const auto files = Files("").size();
  for (const Options& options : {WithBackup(), Creating()}) Open("store", options, Status::RECOVER_FAILED);
  EXPECT_EQ(Files("").size(), files);
}

TEST_F(Damage, ADiskThatCannotBeReadIsNotTakenForDamage) {
  Fill(WithBackup());
  for (const char* name : {"MANIFEST", "CURRENT", "SEAL"}) {
    const fs::path file = Files(name).at(0);
    fs::rename(file, Backups() / "aside");
    fs::create_symlink(kUnreadable, file);
    Open("store", WithBackup(), Status::DB_ERROR);
    fs::rename(Backups() / "aside", file);
  }
  ExpectFilled(*Open("store", WithBackup()));
}

// Entries about the store; recovered by a backup that does not have the same, and never over and over.
TEST_F(Damage, OfWhatAStoreKeepsAboutItselfIsToldFromWhatAnotherVersionWrote) {
  const struct {
    const char* key;
    std::string value;
    bool damaged;
  } entries[] = {
      {"mclock", "?", true},   {"mclock", std::string(9, '?'), false},
      {"msync", "\1", true},   {"msync", "\2", false},
      {"mschema", "?", true},  {"mschema", R"({"version": 2})", false},
      {"mindex/x", "?", true},
  };
  for (const auto& [key, value, damaged] : entries) {
    for (const bool backed_up : {false, true}) {
      SCOPED_TRACE(key + value + (backed_up ? " backed up" : ""));
      Fill(WithBackup());
      auto engine = OpenRaw(Folder("store"), false, backed_up ? Backups() : fs::path());
      PutRaw(*engine, key, value);
      engine->StartBackups();
      engine.reset();
      const bool recovered = damaged && !backed_up;
      const Status refused = damaged ? Status::RECOVER_FAILED : Status::DB_ERROR;
      for (const Options& options : {Creating(), WithBackup()}) {
        if (!recovered) Open("store", options, refused);
      }
      EXPECT_FALSE(fs::exists(Backups() / "damaged"));
      if (recovered) {
        Open("store", WithBackup(), Status::RECOVER_SUCCESS);
        ExpectFilled(*Open("store", WithBackup()));
      }
      EXPECT_EQ(manager_.DeleteKvStore(app_, {"store"}), Status::SUCCESS);
    }
  }
  Fill(WithBackup());
  std::ofstream(Folder("store") / "STORE") << Client::WithChecksum("format=2\nkind=single\nsecurity=0\n");
  Open("store", WithBackup(), Status::DB_ERROR);
}

TEST_F(Damage, ABackupHasWhatWasWrittenBeforeItWithoutTheOption) {
  Fill(WithBackup(), "older ");
  Fill(Creating(), "newer ");
  Open("store", WithBackup());
  fs::remove(Files("CURRENT").at(0));
  Open("store", WithBackup(), Status::RECOVER_SUCCESS);
  ExpectFilled(*Open("store", WithBackup()), "newer ");
}

TEST_F(Damage, FoundWhileReadingIsRecoveredNextTime) {
  Fill(WithBackup());
  Flip(Files(".sst").at(0), 80'000);
  for (int i = 0; i < 2; ++i) {
    auto store = Open("store", WithBackup(), i == 0 ? Status::SUCCESS : Status::RECOVER_SUCCESS);
    if (store != nullptr) {
      std::vector<Entry> entries;
      EXPECT_EQ(store->GetEntries(B(""), entries), Status::DB_ERROR);
      EXPECT_EQ(Put(*store, "key0", "later"), Status::SUCCESS);
    }
  }
  const auto recovered = Open("store", WithBackup());
  EXPECT_EQ(List(*recovered).size(), 40U);
  EXPECT_EQ(Get(*recovered, "key0"), "later");
}

// By a table that no backup has.
TEST_F(Damage, ThatKeepsAStoreFromBeingBackedUpIsRecoveredNextTimeIfABackupIsThere) {
  for (const bool backed_up : {false, true}) {
    if (backed_up) Fill(WithBackup(), "older ");
    Fill(Creating(), "newer ");
    for (const fs::path& table : Files(".sst")) Flip(table, 80'000);
    Open("store", WithBackup());
    Open("store", WithBackup(), backed_up ? Status::RECOVER_SUCCESS : Status::SUCCESS);
    if (backed_up) ExpectFilled(*Open("store", WithBackup()), "older ");
    EXPECT_EQ(manager_.DeleteKvStore(app_, {"store"}), Status::SUCCESS);
  }
}

TEST_F(Damage, FoundWhileReadingLeavesTheRestToWhoAsksForNoBackup) {
  Fill(WithBackup());
  Flip(Files(".sst").at(0), 80'000);
  for (const auto& entry : fs::directory_iterator(Backups() / "shared_checksum")) Flip(entry.path(), 80'000);
  std::vector<Entry> entries;
  EXPECT_EQ(Open("store", Creating())->GetEntries(B(""), entries), Status::DB_ERROR);
  Open("store", WithBackup(), Status::RECOVER_FAILED);
  EXPECT_EQ(Get(*Open("store", Creating()), "key0"), ValueOf("value ", 0));
}

TEST_F(Damage, ARecoveryThatWasCutOffIsDoneAgain) {
  Fill(WithBackup());
  fs::create_directories(Backups() / "restoring" / "folder");
  fs::remove_all(Folder("store"));  // between its two moves
  Open("store", WithBackup(), Status::RECOVER_SUCCESS);
  EXPECT_FALSE(fs::exists(Folder("store") / "folder"));
  ExpectFilled(*Open("store", WithBackup()));
}

// Between the two moves of a recovery its folder is missing, and another process may make and lock it.
TEST_F(Damage, ARestoredStoreIsLeftToWhoHasLockedIt) {
  Fill(WithBackup());
  fs::rename(Folder("store"), Folder("restored"));
  fs::create_directory(Folder("store"));
  std::optional<Client::StoreFolder> late;
  ASSERT_EQ(Client::StoreFolder::Lock(Folder("store"), Client::FolderLock::kTry, late), Status::SUCCESS);
  fs::rename(Folder("restored"), Folder("store"));
  Client::StoreRecord record;
  ASSERT_EQ(Client::ReadRecord(Folder("store"), record), Status::SUCCESS);
  EXPECT_EQ(Client::RestoreStore(*late, record), Status::DB_ERROR);
  EXPECT_FALSE(fs::exists(Backups() / "damaged"));
}

// A crash leaves no seal, and may leave a log without its end.
TEST_F(Damage, AfterACrashTheLogEndsWithItsLastWholeWrite) {
  const auto store = Open();
  for (int i = 0; i < 10; ++i) Put(*store, "k" + std::to_string(i), std::string(100, 'v'));
  for (const int cut : {1, 50, 100, 200}) {
    fs::copy(Folder("store"), Folder("copy"), fs::copy_options::recursive);
    for (const auto& entry : fs::directory_iterator(Folder("copy"))) {
      if (entry.path().extension() == ".log")
        fs::resize_file(entry.path(), fs::file_size(entry.path()) - static_cast<uintmax_t>(cut));
    }
    EXPECT_EQ(List(*Open("copy")).size(), cut < 200 ? 9U : 8U) << cut;
    fs::remove_all(Folder("copy"));
  }
}

// Bit flips and truncations of any file, as many as KORA_TEST_DAMAGES says; of stores that are plain or
// encrypted, with free values or documents and an index.
TEST_F(Damage, NeverGivesAWrongValue) {
  const char* wanted = std::getenv("KORA_TEST_DAMAGES");
  const int rounds = wanted == nullptr ? 40 : std::atoi(wanted);
  const unsigned seed = std::random_device()();
  std::mt19937_64 random(seed);
  int refused = 0;
  int failed = 0;
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
    Options options = Creating();
    options.encrypt = round % 2 == 1;
    const bool indexed = round % 4 < 2;
    const std::string text = indexed ? kDocuments : "value ";
    if (indexed)
      options.schema = R"({"mode": "loose", "fields": [{"field": "n", "type": "int"}], "indexes": ["n"]})";
    // A store of its own each time: blocks of a copy would be found in the cache, unharmed.
    Fill(options, text);
    std::vector<fs::path> files = Files("");
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](const fs::path& file) { return fs::file_size(file) == 0; }),
                files.end());
    std::sort(files.begin(), files.end());
    const fs::path file = files[random() % files.size()];
    if (random() % 4 == 0) {
      fs::resize_file(file, random() % fs::file_size(file));
    } else {
      Flip(file, random() % (8 * fs::file_size(file)));
    }
    SCOPED_TRACE(file.filename());

    manager_.GetSingleKvStore(options, app_, {"store"},
                              [&](Status status, std::unique_ptr<SingleKvStore> store) {
                                if (store == nullptr) {
                                  EXPECT_EQ(status, Status::DB_ERROR);
                                  ++refused;
                                  return;
                                }
                                std::vector<Entry> entries;
                                const Status listed = store->GetEntries(B(""), entries);
                                if (listed != Status::SUCCESS) {
                                  EXPECT_EQ(listed, Status::DB_ERROR);
                                  ++failed;
                                } else {
                                  ExpectFilled(*store, text);
                                }
                                for (int i = 0; i < 40; ++i) {
                                  const std::string value = Get(*store, "key" + std::to_string(i));
                                  EXPECT_TRUE(value == "<27459593>" || value == ValueOf(text, i)) << value;
                                }
                                if (indexed) ExpectFoundByIndex(*store);
                              });
    fs::remove_all(Folder("store"));
    if (HasFailure()) return;
  }
  std::printf("seed %u: %d damages, refused at opening %d, found while reading %d, harmless %d\n", seed,
              rounds, refused, failed, rounds - refused - failed);
}

}  // namespace
}  // namespace KORA::DistributedKv
