#include <algorithm>
#include <random>

#include "engine/engine.h"
#include "schema/catalog.h"
#include "store/record.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

constexpr const char* kPeople = R"({"fields":[
  {"field":"name","type":"string","mandatory":true},
  {"field":"age","type":"int"},
  {"field":"address.city","type":"string","default":"Rome"},
  {"field":"address.zip","type":"long"},
  {"field":"score","type":"double"},
  {"field":"member","type":"boolean","mandatory":true,"default":false}],
  "indexes":["age",["address.city","age"]]})";

class SchemaTest : public ClientTest {
 protected:
  static Options With(const std::string& schema) {
    Options options = Creating();
    options.schema = schema;
    return options;
  }

  // The keys of the index entries that the store's engine holds, and those that its records call for.
  void ExpectIndexesAgree(const std::string& storeId) {
    const std::unique_ptr<Client::Engine> engine = OpenRaw(Folder(storeId));
    ASSERT_NE(engine, nullptr);
    Client::Catalog catalog;
    ASSERT_EQ(catalog.Load(*engine, ""), Status::SUCCESS);
    std::vector<std::string> expected;
    Client::JsonParser parser;
    for (auto cursor = engine->Entries(Client::kRecordSpace); cursor->Valid(); cursor->Next()) {
      const auto document = Client::ParseDocument(Client::ParseRecord(cursor->Value())->value, parser);
      for (const Client::Index& index : catalog.Indexes())
        expected.push_back(index.KeyFor(*document, Client::KeyOfRecord(cursor->Key())));
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> found;
    for (auto cursor = engine->Entries(Client::kIndexSpace); cursor->Valid(); cursor->Next())
      found.emplace_back(cursor->Key());
    EXPECT_EQ(found, expected);
    EXPECT_FALSE(catalog.Indexes().empty());
  }
};

TEST_F(SchemaTest, ChecksEveryValue) {
  const auto strict = Open("strict", With(kPeople));
  std::string loose = kPeople;
  const auto free = Open("loose", With(loose.replace(0, 1, R"({"mode":"loose",)")));
  struct Case {
    std::string value;
    Status strict;
    Status loose;
  };
  const std::string text(1024, 't');
  const std::vector<Case> cases = {
      {Text(R"({"name":"Ada"})"), Status::SUCCESS, Status::SUCCESS},
      {Text(R"({"name":"Ada","age":-2147483648,"address":{"city":"Paris","zip":9223372036854775807},)"
            R"("score":1,"member":true})"),
       Status::SUCCESS, Status::SUCCESS},
      {Text(R"({"name":"","age":null,"address":null,"score":1e300})"), Status::SUCCESS, Status::SUCCESS},
      {Text(R"({"name":"Ada","height":1})"), Status::INVALID_VALUE_FIELDS, Status::SUCCESS},
      {Text(R"({"name":"Ada","address":{"street":"x"}})"), Status::INVALID_VALUE_FIELDS, Status::SUCCESS},
      {Text(R"({"age":1})"), Status::CONSTRAIN_VIOLATION, Status::CONSTRAIN_VIOLATION},
      {Text(R"({"name":null})"), Status::CONSTRAIN_VIOLATION, Status::CONSTRAIN_VIOLATION},
      {Text(R"({"name":"Ada","member":null})"), Status::CONSTRAIN_VIOLATION, Status::CONSTRAIN_VIOLATION},
      {Text(R"({"name":1})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","age":2147483648})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","age":1.0})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","address":{"zip":9223372036854775808}})"), Status::INVALID_FIELD_TYPE,
       Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","score":"1"})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","member":1})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","address":"Paris"})"), Status::INVALID_FIELD_TYPE, Status::INVALID_FIELD_TYPE},
      {Text(R"({"name":"Ada","address":{"city":")" + text + "\"}}"), Status::SUCCESS, Status::SUCCESS},
      {Text(R"({"name":"Ada","address":{"city":")" + text + "t\"}}"), Status::CONSTRAIN_VIOLATION,
       Status::CONSTRAIN_VIOLATION},
      {Text(R"(["Ada"])"), Status::INVALID_FORMAT, Status::INVALID_FORMAT},
      {Text(R"({"name":"Ada")"), Status::INVALID_FORMAT, Status::INVALID_FORMAT},
      {Text("{\"name\":\"\xed\xa0\x80\"}"), Status::INVALID_FORMAT, Status::INVALID_FORMAT},
      {Text(R"({"name":)" + std::string(100'000, '[')), Status::INVALID_FORMAT, Status::INVALID_FORMAT},
      {std::string("\2\0\0\0\1", 5), Status::INVALID_FORMAT, Status::INVALID_FORMAT},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(strict->Put(B("key"), B(one.value)), one.strict) << one.value.substr(0, 200);
    EXPECT_EQ(free->Put(B("key"), B(one.value)), one.loose) << one.value.substr(0, 200);
    EXPECT_EQ(strict->PutBatch({{B("good"), B(Text(R"({"name":"x"})"))}, {B("key"), B(one.value)}}),
              one.strict);
  }
  EXPECT_EQ(OpenMulti()->Put(B("key"), B("free")), Status::SUCCESS);
}

TEST_F(SchemaTest, RefusesWhatIsNoSchema) {
  const std::string field = R"({"fields":[{"field":"a","type":"int"}],)";
  std::string many;
  for (int i = 0; i < 257; ++i)
    many += std::string(i == 0 ? "" : ",") + R"({"type":"int","field":"f)" + std::to_string(i) + "\"}";
  for (const std::string& schema : {
           std::string("x"),
           std::string("[]"),
           std::string("{}"),
           std::string(R"({"fields":[]})"),
           std::string(R"({"fields":{}})"),
           std::string(R"({"fields":["a"]})"),
           std::string(R"({"fields":[{"field":"a"}]})"),
           std::string(R"({"fields":[{"type":"int"}]})"),
           std::string(R"({"fields":[{"field":"a","type":"text"}]})"),
           std::string(R"({"fields":[{"field":"a..b","type":"int"}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int","default":"1"}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int","default":null}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int","mandatory":1}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int","unique":true}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int"},{"field":["a"],"type":"int"}]})"),
           std::string(R"({"fields":[{"field":"a","type":"int"},{"field":"a.b","type":"int"}]})"),
           std::string(R"({"fields":[{"field":"a.b","type":"int"},{"field":"a","type":"int"}]})"),
           field + R"("mode":"lax"})",
           field + R"("version":1})",
           field + R"("indexes":"a"})",
           field + R"("indexes":["b"]})",
           field + R"("indexes":["a",["a"]]})",
           field + R"("indexes":[["a","a"]]})",
           field + R"("indexes":[[]]})",
           R"({"fields":[)" + many + "]}",
           std::string(65'537, ' '),
           std::string(100'000, '['),
       }) {
    Open("store", With(schema), Status::INVALID_SCHEMA);
  }
  EXPECT_FALSE(std::filesystem::exists(Folder("store")));
}

TEST_F(SchemaTest, ExtensionsAreTakenAndKept) {
  const std::string base = R"({"field":"a","type":"int"},{"field":"b","type":"string","mandatory":true})";
  const auto schema = [](const std::string& fields, const std::string& rest = "") {
    return R"({"fields":[)" + fields + "]" + rest + "}";
  };
  const std::vector<std::string> extensions = {
      schema(R"({"field":"b","type":"string","mandatory":true},{"field":"a","type":"int"})"),
      schema(base + R"(,{"field":"c","type":"int"})"),
      schema(base + R"(,{"field":"c","type":"int","mandatory":true,"default":7})"),
      schema(base, R"(,"indexes":["a"])"),
      schema(base, R"(,"mode":"loose")"),
      schema(R"({"field":"a","type":"long"},{"field":"b","type":"string","mandatory":true})"),
      schema(R"({"field":"a","type":"double"},{"field":"b","type":"string"})", R"(,"indexes":["a","b"])"),
  };
  const std::vector<std::string> others = {
      schema(R"({"field":"a","type":"int"})"),
      schema(R"({"field":"a","type":"int"},{"field":"b","type":"int","mandatory":true})"),
      schema(R"({"field":"a","type":"int","mandatory":true},{"field":"b","type":"string","mandatory":true})"),
      schema(R"({"field":"a","type":"int","default":1},{"field":"b","type":"string","mandatory":true})"),
      schema(base + R"(,{"field":"c","type":"int","mandatory":true})"),
      schema(R"({"field":"a.x","type":"int"},{"field":"b","type":"string","mandatory":true})"),
  };
  Put(*Open("base", With(schema(base))), "k", Text(R"({"a":1,"b":"x"})"));
  for (const std::string& other : others) Open("base", With(other), Status::SCHEMA_MISMATCH);
  for (size_t i = 0; i < extensions.size(); ++i) {
    const std::string id = "s" + std::to_string(i);
    Put(*Open(id, With(schema(base))), "k", Text(R"({"a":1,"b":"x"})"));
    Open(id, With(extensions[i]));
    // What was taken holds from now on, without being named again, and the old one is not enough any more.
    const auto store = Open(id);
    EXPECT_EQ(Put(*store, "x", "\1no document"), Status::INVALID_FORMAT);
    EXPECT_EQ(Keys(*store, R"({"where":{"field":"a","eq":1}})"), "k") << id;
    Open(id, With(extensions[i]));
    if (i > 0) Open(id, With(schema(base)), Status::SCHEMA_MISMATCH);
  }
}

TEST_F(SchemaTest, DataDecidesWhereNothingWasChecked) {
  const std::string ages = R"({"fields":[{"field":"age","type":"int"}],"indexes":["age"]})";
  auto store = Open("store");
  Put(*store, "a", Text(R"({"age":1})"));
  Put(*store, "b", Text(R"({"age":"1"})"));
  // A store that is open takes no schema.
  Open("store", With(ages), Status::SCHEMA_MISMATCH);
  store.reset();
  Open("store", With(ages), Status::SCHEMA_MISMATCH);
  EXPECT_EQ(Put(*Open("store"), "b", Text(R"({"age":2})")), Status::SUCCESS);
  store = Open("store", With(ages));
  EXPECT_EQ(Keys(*store, R"({"where":{"field":"age","gt":0}})"), "a b");
  const auto again = Open("store", With(ages));
  const auto unnamed = Open("store");
  EXPECT_EQ(Put(*unnamed, "c", Text("{}")), Status::SUCCESS);
  EXPECT_EQ(Put(*unnamed, "c", Text(R"({"other":1})")), Status::INVALID_VALUE_FIELDS);

  const std::string names = R"({"mode":"loose","fields":[{"field":"name","type":"string"}]})";
  Put(*Open("loose", With(names)), "a", Text(R"({"age":"old"})"));
  Open("loose",
       With(R"({"mode":"loose","fields":[{"field":"name","type":"string"},{"field":"age","type":"int"}]})"),
       Status::SCHEMA_MISMATCH);
  Open(
      "loose",
      With(
          R"({"mode":"loose","fields":[{"field":"name","type":"string"},{"field":"age","type":"string"}]})"));
}

TEST_F(SchemaTest, QueriesKnowTheFields) {
  const auto store = Open("store", With(kPeople));
  Put(*store, "a", Text(R"({"name":"Ada","age":36})"));
  Put(*store, "b", Text(R"({"name":"Bob","address":{"city":"Paris"},"member":true})"));
  Put(*store, "c", Text(R"({"name":"Cleo","address":{"city":null}})"));
  const std::string bad = "<27459610>";
  const Pairs queries = {
      {R"({"where":{"field":"address.city","eq":"Rome"}})", "a"},
      {R"({"where":{"field":"address.city","null":true}})", "c"},
      {R"({"where":{"field":"member","eq":false}})", "a c"},
      {R"({"where":{"field":"address","null":true}})", "a"},
      {R"({"order":[{"field":"address.city","desc":true}]})", "a b c"},
      {R"({"where":{"field":"age","lt":36.5}})", "a"},
      {R"({"where":{"field":"height","eq":1}})", bad},
      {R"({"where":{"field":"address.street","eq":"x"}})", bad},
      {R"({"where":{"field":"name.first","eq":"x"}})", bad},
      {R"({"order":"height"})", bad},
      {R"({"where":{"field":"age","eq":"36"}})", bad},
      {R"({"where":{"field":"name","in":["Ada",1]}})", bad},
      {R"({"where":{"field":"age","like":"3%"}})", bad},
      {R"({"where":{"field":"member","eq":0}})", bad},
  };
  for (const auto& [query, keys] : queries) EXPECT_EQ(Keys(*store, query), keys) << query;
  const auto plain = Open("plain");
  EXPECT_EQ(Keys(*plain, R"({"where":{"field":"height","eq":1}})"), "");
}

// The same random writes to a store with indexes and to one without: all queries agree, in transactions too,
// and the index holds what the records call for.
TEST_F(SchemaTest, IndexesAgreeWithScans) {
  const std::string fields =
      R"({"fields":[{"field":"n","type":"double"},{"field":"s","type":"string","default":"m"},)"
      R"({"field":"b","type":"boolean"}])";
  auto indexed = Open("indexed", With(fields + R"(,"indexes":["n",["s","n"],["b","s","n"]]})"));
  auto plain = Open("plain", With(fields + "}"));
  std::mt19937 random(20'240'607);
  const auto pick = [&random](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
  const std::vector<std::string> numbers = {
      "null", "-1e300", "-2", "-1.5", "0", "-0.0", "2", "2.5", "9007199254740992", "9007199254740993",
      "1e300"};
  const std::vector<std::string> texts = {R"("")",   R"("a")", R"("a\u0000")", R"("a\u0000b")",
                                          R"("ab")", R"("m")", R"("\u00e9")",  R"("\ud83d\ude00")"};
  const auto key = [&] { return B("k" + std::to_string(pick(60))); };
  const auto number = [&] { return numbers[static_cast<size_t>(pick(static_cast<int>(numbers.size())))]; };
  const auto text = [&] { return texts[static_cast<size_t>(pick(static_cast<int>(texts.size())))]; };
  const auto operand = [&](bool isText) {
    std::string value = isText ? text() : number();
    return value == "null" ? std::string("0") : value;
  };
  const auto document = [&] {
    std::string members = R"("n":)" + number();
    if (pick(3) > 0) members += R"(,"s":)" + text();
    if (pick(3) > 0) members += pick(2) > 0 ? R"(,"b":true)" : R"(,"b":false)";
    return Text("{" + members + "}");
  };
  const auto condition = [&] {
    const bool isText = pick(2) > 0;
    std::string where = isText ? R"({"field":"s",)" : R"({"field":"n",)";
    const std::vector<std::string> operators = {"eq", "lt", "le", "gt", "ge", "ne"};
    switch (pick(9)) {
      case 0:
        return where + R"("in":[)" + operand(isText) + "," + operand(isText) + "," + operand(isText) + "]}";
      case 1:
        return where + R"("null":)" + (pick(2) > 0 ? "true}" : "false}");
      case 2:
        return std::string(R"({"field":"s","like":"a%"})");
      case 3:
        return std::string(R"({"field":"b","eq":true})");
      case 4:
        return where + R"("ge":)" + operand(isText) + R"(,"lt":)" + operand(isText) + "}";
      default:
        return where + "\"" + operators[static_cast<size_t>(pick(6))] + "\":" + operand(isText) + "}";
    }
  };
  const std::vector<std::string> orders = {R"("n")", R"("s")", R"(["s","n"])",
                                           R"([{"field":"s","desc":true},"n"])", R"(["b"])"};
  const auto query = [&] {
    std::string text_form = R"({"where":{"and":[)" + condition() + "," + condition();
    if (pick(3) == 0) text_form += R"(,{"or":[)" + condition() + "," + condition() + "]}";
    text_form += "]}";
    if (pick(2) > 0) text_form += R"(,"order":)" + orders[static_cast<size_t>(pick(5))];
    if (pick(3) == 0)
      text_form += R"(,"limit":)" + std::to_string(pick(8)) + R"(,"offset":)" + std::to_string(pick(4));
    if (pick(4) == 0) text_form += R"(,"prefix":"k1")";
    return text_form + "}";
  };
  const auto both = [&](const auto& operation) {
    EXPECT_EQ(operation(*indexed), Status::SUCCESS);
    EXPECT_EQ(operation(*plain), Status::SUCCESS);
  };
  for (int round = 0; round < 60; ++round) {
    const bool transaction = pick(2) > 0;
    if (transaction) both([](SingleKvStore& store) { return store.StartTransaction(); });
    for (int i = 0; i < 10; ++i) {
      std::vector<Entry> batch = {{key(), B(document())}, {key(), B(document())}};
      if (pick(4) == 0) batch.push_back({batch.front().key, B(document())});
      const std::vector<Key> deleted = {key(), key()};
      both([&](SingleKvStore& store) { return store.PutBatch(batch); });
      if (i % 2 == 0) both([&](SingleKvStore& store) { return store.DeleteBatch(deleted); });
    }
    for (int i = 0; i < 25; ++i) {
      const std::string one = query();
      const std::string found = Keys(*indexed, one);
      EXPECT_EQ(found, Keys(*plain, one)) << one;
      EXPECT_EQ(found.find('<'), std::string::npos) << one << found;
    }
    const bool commit = pick(3) > 0;
    if (transaction)
      both([commit](SingleKvStore& store) { return commit ? store.Commit() : store.Rollback(); });
  }
  indexed.reset();
  ExpectIndexesAgree("indexed");
  // Indexes that come later hold the same.
  plain.reset();
  Open("plain", With(fields + R"(,"indexes":[["s","n"],"b"]})"));
  ExpectIndexesAgree("plain");
}

TEST_F(SchemaTest, ClearTakesIndexesAlong) {
  Options options = With(kPeople);
  options.kvStoreType = KvStoreType::MULTI_VERSION;
  manager_.GetKvStore(options, app_, {"multi"}, [&](Status status, std::unique_ptr<KvStore> store) {
    ASSERT_EQ(status, Status::SUCCESS);
    EXPECT_EQ(store->Put(B("k"), B("\1[]")), Status::INVALID_FORMAT);
    for (const bool transaction : {false, true}) {
      store->Put(B("old"), B(Text(R"({"name":"x","age":1})")));
      if (transaction) store->StartTransaction();
      EXPECT_EQ(store->Clear(), Status::SUCCESS);
      store->Put(B("new"), B(Text(R"({"name":"x","age":2})")));
      if (transaction) store->Commit();
    }
  });
  ExpectIndexesAgree("multi");
}

// An index whose state says that it is not complete is not used but built anew.
TEST_F(SchemaTest, AnIndexThatWasCutOffIsBuiltAnew) {
  Put(*Open("store", With(kPeople)), "a", Text(R"({"name":"Ada","age":36})"));
  {
    const auto engine = OpenRaw(Folder("store"));
    const auto batch = engine->NewBatch();
    const std::string state = std::string("mindex/") + std::string("\0\1", 2);
    EXPECT_EQ(engine->Get(state,
                          [&](Client::Bytes value) {
                            EXPECT_EQ(value.front(), '\1');
                            batch->Put(state, std::string(1, '\0'), value.substr(1));
                          }),
              Status::SUCCESS);
    engine->DeleteAll({std::string("i") + std::string("\0\1", 2)});
    batch->Put(std::string("i\0\1junk", 7), {}, {});
    ASSERT_EQ(batch->Commit(), Status::SUCCESS);
  }
  {
    const auto engine = OpenRaw(Folder("store"), true);
    Client::Catalog catalog;
    EXPECT_EQ(catalog.Load(*engine, ""), Status::SUCCESS);
    EXPECT_EQ(catalog.Indexes().size(), 1U);
  }
  EXPECT_EQ(Keys(*Open("store"), R"({"where":{"field":"age","eq":36}})"), "a");
  ExpectIndexesAgree("store");
}

}  // namespace
}  // namespace KORA::DistributedKv
