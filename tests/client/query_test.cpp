#include <random>

#include "query/condition.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

class Query : public ClientTest {};

constexpr const char* kBadFormat = "<27459609>";
constexpr const char* kBadField = "<27459610>";

TEST_F(Query, EveryOperator) {
  const auto store = Open();
  const Pairs documents = {
      {"a", R"({"n":1,"s":"Ada","b":true,"o":{"x":1}})"},
      {"b", R"({"n":2.5,"s":"Bob","b":false,"o":{"x":null}})"},
      {"c", R"({"n":-3,"s":"\u00e9t\u00e9","o":{}})"},
      {"d", R"({"n":"2","s":null,"o":[1]})"},
      {"e", R"({"n":9007199254740993,"s":"100%","n":9007199254740993})"},
      {"f", R"({"n":9007199254740992.0,"s":"\ud83d\ude00"})"},
      {"g", R"({"n":18446744073709551615,"s":""})"},
  };
  for (const auto& [key, text] : documents) Put(*store, key, Text(text));
  // What is no document meets no condition.
  for (const std::string& value : {Text(R"([{"n":1}])"), Text("{\"n\":1"), Text("\xff"), Text(""),
                                   std::string("\2\0\0\0\1", 5), std::string("\7{\"n\":1}")})
    Put(*store, "x" + std::to_string(value.size()) + value.substr(0, 1), value);

  const Pairs queries = {
      {R"({"field":"n","eq":1})", "a"},
      {R"({"field":"n","eq":1.0})", "a"},
      {R"({"field":"n","eq":9007199254740993})", "e"},
      {R"({"field":"n","eq":9007199254740992})", "f"},
      {R"({"field":"n","eq":"2"})", "d"},
      {R"({"field":"n","ne":1})", "b c d e f g"},
      {R"({"field":"n","lt":1})", "c"},
      {R"({"field":"n","le":1})", "a c"},
      {R"({"field":"n","gt":9007199254740992})", "e g"},
      {R"({"field":"n","ge":9007199254740992})", "e f g"},
      {R"({"field":"n","ge":"1"})", "d"},
      {R"({"field":"n","ge":1,"lt":3})", "a b"},
      {R"({"field":"n","in":[1,"2",null]})", kBadFormat},
      {R"({"field":"n","in":["2",1,7]})", "a d"},
      {R"({"field":"n","in":[]})", ""},
      {R"({"field":"n","notIn":[1,"2",2.5]})", "c e f g"},
      {R"({"field":"b","eq":true})", "a"},
      {R"({"field":"b","lt":true})", "b"},
      {R"({"field":"s","lt":"B"})", "a e g"},
      {R"({"field":"s","gt":"z"})", "c f"},
      {R"({"field":"s","like":"%b%"})", "b"},
      {R"({"field":"s","like":"_t_"})", "c"},
      {R"({"field":"s","like":"_"})", "f"},
      {R"({"field":"s","like":"100\\%"})", "e"},
      {R"({"field":"s","like":"%"})", "a b c e f g"},
      {R"({"field":"s","notLike":"%d%"})", "b c e f g"},
      {R"({"field":"n","like":"%"})", "d"},
      {R"({"field":"s","null":true})", "d"},
      {R"({"field":"b","null":true})", "c d e f g"},
      {R"({"field":"b","null":false})", "a b"},
      {R"({"field":"o","null":false})", "a b c d"},
      {R"({"field":"o","eq":1})", ""},
      {R"({"field":"o","ne":1})", "a b c d"},
      {R"({"field":"o.x","eq":1})", "a"},
      {R"({"field":["o","x"],"null":true})", "b c d e f g"},
      {R"({"field":"o.0","eq":1})", ""},
      {R"({"and":[{"field":"n","gt":0},{"field":"b","null":false}]})", "a b"},
      {R"({"or":[{"field":"n","lt":0},{"and":[{"field":"b","eq":true},{"field":"s","eq":"Ada"}]}]})", "a c"},
  };
  for (const auto& [where, keys] : queries)
    EXPECT_EQ(Keys(*store, R"({"where":)" + where + "}"), keys) << where;
}

TEST_F(Query, PrefixOrderLimitDevice) {
  const auto store = Open();
  const Pairs documents = {{"a/1", R"({"n":2,"s":"x"})"}, {"a/2", R"({"n":1,"s":"y"})"},
                           {"a/3", R"({"n":2,"s":"y"})"}, {"b/1", R"({"s":"z"})"},
                           {"b/2", R"({"n":true})"},      {"c\xc0\x80", "{}"}};
  for (const auto& [key, text] : documents) Put(*store, key, Text(text));
  Put(*store, "b/3", "\2");
  Put(*store, "\xed\xa0\xbd\xed\xb8\x80", "\2");
  auto observer = std::make_shared<RecordingObserver>();
  store->SubscribeKvStore(SubscribeType::ALL, observer);
  Put(*store, "a/1", Text(R"({"n":2,"s":"x"})"));
  observer->Await(1);

  const std::string everything = "a/1 a/2 a/3 b/1 b/2 b/3 c\xc0\x80 \xed\xa0\xbd\xed\xb8\x80";
  const Pairs queries = {
      {"{}", everything},
      {R"( {"prefix" : "a/"} )", "a/1 a/2 a/3"},
      {R"({"prefix":"\u0063\u0000"})", "c\xc0\x80"},
      {R"({"prefix":"\ud83d\ude00"})", "\xed\xa0\xbd\xed\xb8\x80"},
      {R"({"prefix":"b","order":"n"})", "b/1 b/3 b/2"},
      {R"({"prefix":"a","order":["n","s"]})", "a/2 a/1 a/3"},
      {R"({"prefix":"a","order":[{"field":"n","desc":true},{"field":"s","desc":true}]})", "a/3 a/1 a/2"},
      {R"({"prefix":"a","order":{"field":"n","desc":true}})", "a/1 a/3 a/2"},
      {R"({"prefix":"a","order":"n","limit":1})", "a/2"},
      {R"({"prefix":"a","order":"n","offset":1,"limit":18446744073709551615})", "a/1 a/3"},
      {R"({"offset":1,"limit":2})", "a/2 a/3"},
      {R"({"limit":0})", ""},
      {R"({"offset":100})", ""},
      {R"({"offset":100,"order":"n"})", ""},
      {R"({"device":"other"})", ""},
      {R"({"limit":2,"device":")" + observer->Device() + "\"}", "a/1 a/2"},
  };
  for (const auto& [query, keys] : queries) EXPECT_EQ(Keys(*store, query), keys) << query;
}

TEST_F(Query, RefusesWhatIsNoQuery) {
  const auto store = Open();
  Put(*store, "a", Text(R"({"n":1})"));
  std::string conditions;
  for (int i = 0; i < 501; ++i) conditions += R"(,{"field":"n","eq":1})";
  std::string values;
  for (int i = 0; i < 10'001; ++i) values += ",1";
  const auto nested = [](int depth) {
    std::string where;
    for (int i = 0; i < depth; ++i) where += R"({"and":[)";
    where += R"({"field":"n","eq":1})";
    for (int i = 0; i < depth; ++i) where += "]}";
    return R"({"where":)" + where + "}";
  };
  EXPECT_EQ(Keys(*store, nested(30)), "a");
  for (const std::string& query : {
           std::string(),
           std::string("x"),
           std::string("[]"),
           std::string("{"),
           std::string("{}{}"),
           std::string("null"),
           std::string(R"({"where":{}})"),
           std::string(R"({"where":[]})"),
           std::string(R"({"where":{"and":[]}})"),
           std::string(R"({"where":{"and":{}}})"),
           std::string(R"({"where":{"not":[]}})"),
           std::string(R"({"where":{"and":[{"field":"n","eq":1}],"or":[{"field":"n","eq":1}]}})"),
           std::string(R"({"where":{"field":"n"}})"),
           std::string(R"({"where":{"field":"n","is":1}})"),
           std::string(R"({"where":{"eq":1}})"),
           std::string(R"({"where":{"field":"n","eq":null}})"),
           std::string(R"({"where":{"field":"n","eq":[1]}})"),
           std::string(R"({"where":{"field":"n","eq":{}}})"),
           std::string(R"({"where":{"field":"n","in":1}})"),
           std::string(R"({"where":{"field":"n","like":1}})"),
           std::string(R"({"where":{"field":"n","null":1}})"),
           std::string(R"({"where":{"field":"n","eq":1e999}})"),
           std::string(R"({"prefix":1})"),
           std::string(R"({"prefix":"\ud83d"})"),
           std::string("{\"prefix\":\"\xff\"}"),
           std::string(R"({"device":null})"),
           std::string(R"({"limit":-1})"),
           std::string(R"({"limit":1.5})"),
           std::string(R"({"offset":"1"})"),
           std::string(R"({"order":[{"desc":true}]})"),
           std::string(R"({"order":[{"field":"n","desc":1}]})"),
           std::string(R"({"order":{"field":"n","asc":true}})"),
           std::string(R"({"order":["a","b","c","d","e","f","g","h","i"]})"),
           std::string(R"({"sort":"n"})"),
           R"({"where":{"and":[{"field":"n","eq":1})" + conditions + "]}}",
           R"({"where":{"field":"n","in":[1)" + values + "]}}",
           nested(70),
           std::string(100'000, '['),
           "{}" + std::string(262'144, ' '),
       })
    EXPECT_EQ(Keys(*store, query), kBadFormat) << query.substr(0, 100);
  for (const std::string field : {R"("")", R"("a..b")", R"(".a")", "[]", "[1]", R"(["a",""])", "1", "null",
                                  R"("a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q")"}) {
    EXPECT_EQ(Keys(*store, R"({"where":{"field":)" + field + R"(,"eq":1}})"), kBadField) << field;
    EXPECT_EQ(Keys(*store, R"({"order":[)" + field + "]}"), kBadField) << field;
  }
}

// Every text that one byte makes of a good one is answered, whatever the answer is.
TEST_F(Query, SurvivesEveryChangedByte) {
  const auto store = Open();
  Put(*store, "a", Text(R"({"n":1})"));
  const std::string good =
      R"({"prefix":"a","where":{"or":[{"field":["n"],"in":[1,-2e3]},{"field":"s","like":"\\%\u00e9"}]},"order":"n"})";
  std::vector<Entry> entries;
  for (size_t at = 0; at < good.size(); ++at) {
    EXPECT_NE(store->GetEntriesWithQuery(good.substr(0, at), entries), Status::SUCCESS);
    for (const char byte : std::string("\0\"{}[],:\\1e.\xff", 13)) {
      std::string changed = good;
      changed[at] = byte;
      const Status status = store->GetEntriesWithQuery(changed, entries);
      EXPECT_TRUE(status == Status::SUCCESS || status == Status::INVALID_QUERY_FORMAT ||
                  status == Status::INVALID_QUERY_FIELD)
          << changed;
    }
  }
}

TEST_F(Query, SeesTheTransactionAndOneState) {
  const auto store = Open();
  Put(*store, "a", Text(R"({"n":1})"));
  const std::string query = R"({"where":{"field":"n","ge":1},"order":"n"})";
  store->StartTransaction();
  Put(*store, "b", Text(R"({"n":0})"));
  Put(*store, "c", Text(R"({"n":1})"));
  store->GetResultSetWithQuery(query, [&](Status, std::unique_ptr<KvStoreResultSet> rows) {
    store->Delete(B("a"));
    EXPECT_EQ(Keys(*store, query), "c");
    store->Rollback();
    EXPECT_EQ(Keys(*store, query), "a");
    Entry entry;
    EXPECT_EQ(rows->GetCount(), 2);
    EXPECT_TRUE(rows->MoveToLast());
    EXPECT_EQ(rows->GetEntry(entry), Status::SUCCESS);
    EXPECT_EQ(entry.key.ToString(), "c");
  });
}

TEST(Like, Patterns) {
  using Client::IsLike;
  EXPECT_TRUE(IsLike("abcabd", "%ab_"));
  EXPECT_TRUE(IsLike("aXbXc", "a%b%c"));
  EXPECT_TRUE(IsLike("", "%%"));
  EXPECT_TRUE(IsLike("a\\", "a\\"));
  EXPECT_TRUE(IsLike("_", "\\_"));
  EXPECT_FALSE(IsLike("x", "\\_"));
  EXPECT_FALSE(IsLike("", "_"));
  EXPECT_FALSE(IsLike("abc", "ab"));
  EXPECT_FALSE(IsLike("ABC", "abc"));
  // Takes no time that grows with the number of percent signs.
  std::string many;
  for (int i = 0; i < 2000; ++i) many += "a%";
  EXPECT_FALSE(IsLike(std::string(20'000, 'a'), many + "b"));
}

}  // namespace
}  // namespace KORA::DistributedKv
