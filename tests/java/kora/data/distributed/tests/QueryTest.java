package kora.data.distributed.tests;

import static kora.data.distributed.common.Condition.and;
import static kora.data.distributed.common.Condition.field;
import static kora.data.distributed.common.Condition.fieldAt;
import static kora.data.distributed.common.Condition.or;
import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import kora.data.distributed.common.Condition;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.FieldType;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Query;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** Queries and schemas: their texts, and the store client's answers. */
@Tag("limits")
class QueryTest extends WithManager {
  private static final Schema PEOPLE = Schema.builder()
      .mandatory("name", FieldType.STRING)
      .optional("age", FieldType.INT)
      .withDefault("address.city", FieldType.STRING, "Rome")
      .index("age")
      .index("address.city", "age")
      .build();

  @Test
  void buildersWriteAsciiJson() {
    Query query = Query.builder().prefix("\u00FC\"\\\n").device("d").offset(1).limit(2).orderBy("a.b")
        .orderByDescending(fieldAt("c.d")).where(field("a").in(1, "x", true, 2.5, Long.MAX_VALUE)).where(fieldAt("a.b", "c").isNull())
        .build();
    assertEquals("{\"prefix\":\"\\u00fc\\\"\\\\\\u000a\",\"device\":\"d\",\"where\":{\"and\":["
        + "{\"field\":\"a\",\"in\":[1,\"x\",true,2.5,9223372036854775807]},{\"field\":[\"a.b\",\"c\"],\"null\":true}]},"
        + "\"order\":[\"a.b\",{\"field\":[\"c.d\"],\"desc\":true}],\"limit\":2,\"offset\":1}", query.toString());
    assertEquals("{}", Query.builder().build().toJson());
    assertEquals(query, Query.ofJson(query.toJson()));
    assertEquals("{\"mode\":\"loose\",\"fields\":[{\"field\":\"n\",\"type\":\"long\",\"default\":7}],\"indexes\":[[\"n\"]]}",
        Schema.builder().loose().withDefault("n", FieldType.LONG, 7).index("n").build().toString());
  }

  @Test
  void badArgumentsAreRefusedAtOnce() {
    for (Object bad : new Object[] {Double.NaN, Float.POSITIVE_INFINITY, 'c', List.of(), null}) {
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> field("a").equalTo(bad));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> field("a").in(1, bad));
    }
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> field(""));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> fieldAt("a", ""));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, Condition::and);
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> or(field("a").isNull(), null));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> Query.builder().limit(-1));
  }

  @Test
  void everyConditionFindsItsDocuments() {
    SingleKvStore store = manager.openSingle("store");
    store.putString("a", "{\"n\":1,\"s\":\"Ada\",\"o\":{\"x.y\":true}}");
    store.putString("b", "{\"n\":2.5,\"s\":\"B\u00E9a\"}");
    store.putString("c", "{\"n\":-7,\"s\":\"\uD83D\uDE00\"}");
    store.putInt("d", 1);
    Map<Condition, String> expected = new LinkedHashMap<>();
    expected.put(field("n").equalTo(1), "a");
    expected.put(field("n").notEqualTo(1), "bc");
    expected.put(field("n").lessThan(1.0f), "c");
    expected.put(field("n").atMost(1L), "ac");
    expected.put(field("n").greaterThan(2.4), "b");
    expected.put(field("n").atLeast(2.5), "b");
    expected.put(field("n").in(1, -7), "ac");
    expected.put(field("n").notIn(1, -7), "b");
    expected.put(field("s").like("_\u00E9%"), "b");
    expected.put(field("s").notLike("%a"), "c");
    expected.put(field("s").equalTo("\uD83D\uDE00"), "c");
    expected.put(fieldAt("o", "x.y").equalTo(true), "a");
    expected.put(field("o").isNull(), "bc");
    expected.put(field("o").isNotNull(), "a");
    expected.put(and(field("n").greaterThan(0), or(field("s").like("A%"), field("s").like("Z%"))), "a");
    expected.forEach((condition, keys) ->
        assertEquals(keys, keys(store.getEntries(Query.where(condition))), condition.toString()));

    Query query = Query.builder().orderByDescending("n").offset(1).limit(2).where(field("n").isNotNull()).build();
    assertEquals("ac", keys(store.getEntries(query)));
    assertEquals(2, store.getCount(query));
    try (KvStoreResultSet resultSet = store.getResultSet(query)) {
      store.delete("c");
      assertEquals(2, resultSet.getCount());
      assertTrue(resultSet.moveToLast());
      assertEquals("{\"n\":-7,\"s\":\"\uD83D\uDE00\"}", resultSet.getEntry().getValue().asString());
    }
    store.putInt("\uD83D\uDE00", 1);
    assertEquals(1, store.getCount(Query.builder().prefix("\uD83D\uDE00").build()));
  }

  @Test
  void badQueriesHaveTheirCodes() {
    SingleKvStore store = manager.openSingle("store", Options.builder().schema(PEOPLE).build());
    for (Query bad : List.of(Query.ofJson("x"), Query.ofJson("{\"where\":1}"), Query.ofJson("{\"limit\":-1}"))) {
      assertFails(KvStoreErrorCode.INVALID_QUERY_FORMAT, () -> store.getEntries(bad));
      assertFails(KvStoreErrorCode.INVALID_QUERY_FORMAT, () -> store.getCount(bad));
      assertFails(KvStoreErrorCode.INVALID_QUERY_FORMAT, () -> store.getResultSet(bad));
    }
    // What is no JSON does not become some by being written in ASCII.
    for (String bad : List.of("\"\\\u00E9\"", "\"\0\"", "\"\\\0\"", "\u00E9")) {
      assertFails(KvStoreErrorCode.INVALID_QUERY_FORMAT, () -> store.getCount(Query.ofJson("{\"prefix\":" + bad + "}")));
    }
    assertEquals("{\"prefix\":\"\\\\\\u00e9\"}", Query.ofJson("{\"prefix\":\"\\\\\u00E9\"}").toJson());
    for (Query bad : List.of(Query.where(field("height").isNull()), Query.where(field("age").equalTo("x")),
        Query.builder().orderBy("height").build(), Query.where(field("a..b").isNull()))) {
      assertFails(KvStoreErrorCode.INVALID_QUERY_FIELD, () -> store.getEntries(bad));
    }
  }

  @Test
  void aNameMayHaveADot() {
    Schema schema = Schema.builder().mandatory(fieldAt("o", "x.y"), FieldType.INT)
        .mandatoryWithDefault(fieldAt("z.z"), FieldType.STRING, "Z").index(fieldAt("z.z"), fieldAt("o", "x.y")).build();
    SingleKvStore store = manager.openSingle("store", Options.builder().schema(schema).build());
    store.putString("a", "{\"o\":{\"x.y\":2}}");
    store.putString("b", "{\"o\":{\"x.y\":1},\"z.z\":\"Z\"}");
    assertFails(KvStoreErrorCode.CONSTRAIN_VIOLATION, () -> store.putString("c", "{\"o\":{\"x.y\":3},\"z.z\":null}"));
    Query query = Query.builder().where(fieldAt("z.z").equalTo("Z")).orderBy(fieldAt("o", "x.y")).build();
    assertEquals("ba", keys(store.getEntries(query)));
  }

  @Test
  void aSchemaHoldsAndIsKept() {
    SingleKvStore store = manager.openSingle("store", Options.builder().schema(PEOPLE).build());
    store.putString("ada", "{\"name\":\"Ada\",\"age\":36}");
    assertFails(KvStoreErrorCode.INVALID_FIELD_TYPE, () -> store.putBatch(List.of(
        new Entry("cleo", Value.ofString("{\"name\":\"Cleo\"}")), new Entry("bob", Value.ofString("{\"name\":7}")))));
    assertEquals("ada", keys(store.getEntries(Query.where(field("address.city").equalTo("Rome")))));
    store.close();
    SingleKvStore again = manager.openSingle("store");
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> again.putInt("bob", 1));
  }

  private static String keys(List<Entry> entries) {
    return entries.stream().map(Entry::getKey).collect(Collectors.joining());
  }
}
