#include <fstream>
#include <map>
#include <sstream>

#include "engine/rocksdb_options.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

namespace fs = std::filesystem;

class Encryption : public ClientTest {
 protected:
  static Options Encrypted() {
    Options options = Creating();
    options.encrypt = true;
    options.backup = true;  // whose files are searched too
    return options;
  }

  static fs::path KeyFile() { return Home() / ".key"; }

  static std::string Read(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
  }

  // All files below the home folder, with what they hold.
  static std::map<std::string, std::string> Files() {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(Home())) {
      if (entry.is_regular_file()) files[entry.path().string()] = Read(entry.path());
    }
    return files;
  }

  static bool AnyFileHolds(const fs::path& folder, const std::string& text) {
    for (const auto& [name, content] : Files()) {
      const bool of_store = name.find("/" + folder.filename().string() + "/") != std::string::npos;
      if (of_store && content.find(text) != std::string::npos) return true;
    }
    return false;
  }

  // Some MB, so that there are tables beside the log.
  static void Fill(SingleKvStore& store) {
    for (int i = 0; i < 300; ++i) {
      const std::string number = std::to_string(i);
      ASSERT_EQ(Put(store, "secret-key-" + number, "guarded text " + number + std::string(20'000, 'x')),
                Status::SUCCESS);
    }
  }

  static void ExpectFilled(const SingleKvStore& store) {
    const Pairs pairs = List(store);
    ASSERT_EQ(pairs.size(), 300U);
    for (const auto& [key, value] : pairs) {
      ASSERT_EQ(value, "guarded text " + key.substr(11) + std::string(20'000, 'x'));
      ASSERT_EQ(Get(store, key), value);
    }
  }
};

TEST_F(Encryption, LeavesNoPlaintextInAnyFile) {
  for (const bool encrypted : {true, false}) {
    const std::string name = encrypted ? "encrypted" : "plain";
    for (const bool reopened : {false, true}) {
      auto store = Open(name, encrypted ? Encrypted() : Creating());
      if (reopened) {
        ExpectFilled(*store);
      } else {
        Fill(*store);
      }
      // A plain store shows that the search finds what is there: in the log, then in the tables.
      for (const char* text : {"secret-key-", "guarded text ", "BytewiseComparator"}) {
        EXPECT_EQ(AnyFileHolds(Folder(name), text), !encrypted) << text << " open";
      }
      store.reset();
      for (const char* text : {"secret-key-", "guarded text ", "BytewiseComparator"}) {
        EXPECT_EQ(AnyFileHolds(Folder(name), text), !encrypted) << text << " closed";
      }
    }
  }
  EXPECT_EQ(fs::status(KeyFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Encryption, IsSettledAtCreation) {
  for (const bool encrypted : {false, true}) {
    const std::string name = encrypted ? "encrypted" : "plain";
    auto store = Open(name, encrypted ? Encrypted() : Creating());
    Open(name, encrypted ? Creating() : Encrypted(), Status::INVALID_ARGUMENT);
    store.reset();
    Open(name, encrypted ? Creating() : Encrypted(), Status::INVALID_ARGUMENT);
    Open(name, encrypted ? Encrypted() : Creating());
  }
}

TEST_F(Encryption, WithoutTheRightKeyNothingHappens) {
  Put(*Open("store", Encrypted()), "k", "v");
  const std::string key = Read(KeyFile());
  ASSERT_EQ(key.size(), 65U);
  const std::vector<std::string> wrong = {std::string(64, '0'), key.substr(1), key + key, "",
                                          "x" + key.substr(1)};
  for (const std::string& other : wrong) {
    std::ofstream(KeyFile()) << other;
    const auto before = Files();
    Open("store", Encrypted(), Status::DB_ERROR);
    EXPECT_EQ(Files(), before) << other;
  }
  // A new key would lock the stores that are there out for good.
  fs::remove(KeyFile());
  Open("store", Encrypted(), Status::DB_ERROR);
  Open("another", Encrypted(), Status::DB_ERROR);
  EXPECT_FALSE(fs::exists(KeyFile()));
  // What can't be read may be an encrypted store.
  for (const fs::path& path : {Folder("store") / "STORE", Folder("store")}) {
    fs::rename(Folder(".backups"), Home().parent_path() / "backups");
    fs::rename(path, Home().parent_path() / "aside");
    fs::create_symlink(path, path);  // a loop
    Open("another", Encrypted(), Status::DB_ERROR);
    EXPECT_FALSE(fs::exists(KeyFile())) << path;
    fs::remove(path);
    fs::rename(Home().parent_path() / "aside", path);
    fs::rename(Home().parent_path() / "backups", Folder(".backups"));
  }

  std::ofstream(KeyFile()) << key.substr(0, 64);
  EXPECT_EQ(Get(*Open("store", Encrypted()), "k"), "v");
}

// The end of a process may leave a log whose header was never written.
TEST_F(Encryption, AFileCutOffInItsHeaderIsEmpty) {
  const auto store = Open("store", Encrypted());
  Put(*store, "k", "v");
  for (const int size : {0, 5, 31, 32}) {
    fs::copy(Folder("store"), Folder("copy"), fs::copy_options::recursive);
    for (const auto& entry : fs::directory_iterator(Folder("copy"))) {
      if (entry.path().extension() == ".log") fs::resize_file(entry.path(), static_cast<uintmax_t>(size));
    }
    auto copy = Open("copy", Encrypted());
    EXPECT_EQ(List(*copy), Pairs()) << size;
    EXPECT_EQ(Put(*copy, "new", "v"), Status::SUCCESS);
    copy.reset();
    EXPECT_EQ(Get(*Open("copy", Encrypted()), "new"), "v") << size;
    fs::remove_all(Folder("copy"));
  }
}

// Its content would be enciphered without a nonce, as that of any other such file.
TEST_F(Encryption, AFileCutOffInItsHeaderIsNotWrittenTo) {
  const Client::SecretKey key;
  const auto files = Client::NewFiles(&key, nullptr);
  fs::create_directories(Home());
  const std::string name = Home() / "cut off";
  std::ofstream(name) << "KORAE";
  std::unique_ptr<rocksdb::FSRandomRWFile> file;
  rocksdb::IOStatus status = files->NewRandomRWFile(name, {}, &file, nullptr);
  if (status.ok()) status = file->Write(0, "content", {}, nullptr);
  EXPECT_FALSE(status.ok());
  fs::remove(name);
}

}  // namespace
}  // namespace KORA::DistributedKv
