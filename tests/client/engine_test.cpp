#include "engine/engine.h"

#include <map>
#include <random>

#include "common/files.h"
#include "support.h"

namespace KORA::DistributedKv::Client {
namespace {

using Model = std::map<std::string, std::string>;

class EngineTest : public ClientTest {
 protected:
  EngineTest() : engine_(OpenRaw(Folder("plain"))) {}

  static void Put(Batch& batch, Model& model, const std::string& key, const std::string& value) {
    batch.Put(key, value, {});
    model[key] = value;
  }

  static Model Read(const View& view, Bytes prefix) {
    Model read;
    const std::unique_ptr<Cursor> cursor = view.Entries(prefix);
    for (; cursor->Valid(); cursor->Next()) read.emplace(cursor->Key(), cursor->Value());
    EXPECT_EQ(cursor->Result(), Status::SUCCESS);
    return read;
  }

  std::unique_ptr<Engine> engine_;
};

Model WithPrefix(const Model& model, const std::string& prefix) {
  Model some;
  for (const auto& entry : model) {
    if (entry.first.compare(0, prefix.size(), prefix) == 0) some.insert(entry);
  }
  return some;
}

// Takes a cursor along a random way over the entries of the model.
void Wander(Cursor& cursor, const Model& model, std::mt19937& random) {
  auto place = model.begin();
  constexpr int kSteps = 200;
  for (int i = 0; i < kSteps; ++i) {
    ASSERT_EQ(cursor.Result(), Status::SUCCESS);
    ASSERT_EQ(cursor.Valid(), place != model.end());
    if (cursor.Valid()) {
      ASSERT_EQ(cursor.Key(), place->first);
      ASSERT_EQ(cursor.Value(), place->second);
    }
    const unsigned action = random() % 8;
    if (action == 0) {
      const std::string key(1 + random() % 2, static_cast<char>(random()));
      cursor.Seek(key);
      place = model.lower_bound(key);
    } else if (action == 1) {
      cursor.SeekToLast();
      place = model.empty() ? model.end() : std::prev(model.end());
    } else if (cursor.Valid() && action < 5) {
      cursor.Prev();
      place = place == model.begin() ? model.end() : std::prev(place);
    } else if (cursor.Valid()) {
      cursor.Next();
      ++place;
    }
  }
}

TEST_F(EngineTest, CursorsGoBothWaysOverDatabaseBatchAndSnapshots) {
  std::mt19937 random(1);
  const auto randomKey = [&random] {
    constexpr const char* kFirst[] = {"a", "b", "\xff", "\xff\xff"};
    return kFirst[random() % 4] + std::string(1, static_cast<char>(random() % 16 * 17));
  };
  Model committed;
  for (int round = 0; round < 40; ++round) {
    const std::unique_ptr<IndexedBatch> batch = engine_->NewIndexedBatch();
    Model model = committed;
    for (unsigned i = random() % 20; i > 0; --i) {
      const std::string key = randomKey();
      if (random() % 3 == 0) {
        batch->Delete(key);
        model.erase(key);
      } else {
        Put(*batch, model, key, std::to_string(random()));
      }
    }
    for (const std::string prefix : {"", "a", "b", "\xff", "c"}) {
      const std::unique_ptr<View> snapshot = batch->NewSnapshot();
      Wander(*engine_->Entries(prefix), WithPrefix(committed, prefix), random);
      Wander(*batch->Entries(prefix), WithPrefix(model, prefix), random);
      Wander(*snapshot->Entries(prefix), WithPrefix(model, prefix), random);
      if (HasFatalFailure()) return;
    }
    ASSERT_EQ(batch->Commit(), Status::SUCCESS);
    committed = model;
  }
}

TEST_F(EngineTest, SnapshotsStayAsTheyWere) {
  Model model;
  std::unique_ptr<IndexedBatch> batch = engine_->NewIndexedBatch();
  Put(*batch, model, "a", "1");
  Put(*batch, model, "b", "1");
  const std::unique_ptr<View> uncommitted = batch->NewSnapshot();
  const Model first = model;
  Put(*batch, model, "b", "2");
  Put(*batch, model, "c", "2");
  batch->Commit();
  const std::unique_ptr<View> committed = engine_->NewSnapshot();
  batch = engine_->NewIndexedBatch();
  batch->Delete("a");
  batch->Delete("b");
  const std::unique_ptr<View> later = batch->NewSnapshot();
  batch.reset();
  for (const Bytes key : {"a", "b", "c"}) engine_->DeleteAll({key});

  EXPECT_EQ(Read(*uncommitted, ""), first);
  EXPECT_EQ(Read(*uncommitted->NewSnapshot(), "b"), WithPrefix(first, "b"));
  EXPECT_EQ(Read(*committed, ""), model);
  EXPECT_EQ(Read(*later, ""), WithPrefix(model, "c"));
  EXPECT_EQ(Read(*engine_, ""), Model());
  std::string value;
  EXPECT_EQ(uncommitted->Get("b", [&](Bytes stored) { value = stored; }), Status::SUCCESS);
  EXPECT_EQ(value, "1");
  EXPECT_EQ(later->Get("b", [](Bytes) {}), Status::KEY_NOT_FOUND);
}

TEST(Files, AReplacementThatFailsLeavesNoDraft) {
  const std::filesystem::path folder = Home() / "files";
  std::filesystem::create_directories(folder / "taken");
  EXPECT_TRUE(ReplaceFile(folder / "taken", "content"));
  EXPECT_EQ(std::distance(begin(std::filesystem::directory_iterator(folder)), {}), 1);
}

}  // namespace
}  // namespace KORA::DistributedKv::Client
