package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static kora.data.distributed.tests.Stores.ifSupported;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.OptionalInt;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.SecurityLevel;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

class StoreTest extends WithManager {
  private final SingleKvStore store = manager.openSingle("store");

  @Test
  void everyTypeComesBackAsItWas() {
    store.putString("string", "");
    store.putInt("int", Integer.MIN_VALUE);
    store.putLong("long", Long.MAX_VALUE);
    store.putFloat("float", Float.NaN);
    store.putDouble("double", -0.0);
    store.putBoolean("boolean", false);
    store.putBytes("bytes", new byte[] {0, -1});
    store.put("own type", Value.ofPayload((byte) -7, new byte[] {1}));
    assertEquals("", store.findString("string").orElseThrow());
    assertEquals(Integer.MIN_VALUE, store.findInt("int").orElseThrow());
    assertEquals(Long.MAX_VALUE, store.findLong("long").orElseThrow());
    assertTrue(store.findFloat("float").orElseThrow().isNaN());
    assertEquals(-0.0, store.findDouble("double").orElseThrow());
    assertFalse(store.findBoolean("boolean").orElseThrow());
    assertArrayEquals(new byte[] {0, -1}, store.findBytes("bytes").orElseThrow());
    assertEquals(-7, store.get("own type").getTypeCode());
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> store.getInt("long"));
  }

  @Test
  void anAbsentKeyIsToldInBothForms() {
    assertTrue(store.find("absent").isEmpty());
    assertEquals(OptionalInt.empty(), store.findInt("absent"));
    assertFalse(store.contains("absent"));
    String message = assertFails(KvStoreErrorCode.KEY_NOT_FOUND, () -> store.getString("absent")).getMessage();
    assertTrue(message.contains("absent"), message);
    store.delete("absent");
  }

  @Test
  void keysOfEveryKindMeetOnAllPaths() {
    List<String> keys = CodecTest.HARD_TEXTS;
    for (String key : keys) {
      store.putString(key, "put");
    }
    store.putBatch(keys.stream().map(key -> new Entry(key, Value.ofString(key))).collect(Collectors.toList()));
    assertEquals(keys.size(), store.getEntries("").size());
    for (String key : keys) {
      assertEquals(key, store.getString(key));
      assertTrue(store.getEntries(key).contains(new Entry(key, Value.ofString(key))), key);
    }
    store.deleteBatch(keys.subList(0, 6));
    keys.subList(6, keys.size()).forEach(store::delete);
    assertEquals(List.of(), store.getEntries(""));
  }

  @Test
  void entriesComeInTheOrderOfTheirKeys() {
    for (String key : List.of("b", "a/2", "a/10", "a")) {
      store.putInt(key, 1);
    }
    assertEquals(List.of("a", "a/10", "a/2"), keys("a"));
    assertEquals(List.of("a/10", "a/2"), keys("a/"));
    assertThrows(UnsupportedOperationException.class, () -> store.getEntries("a").clear());
  }

  @Test
  void aBatchIsTakenWholeOrNotAtAll() {
    List<Entry> entries = new ArrayList<>(List.of(new Entry("a", Value.ofInt(1))));
    entries.add(null);
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.putBatch(entries));
    assertEquals(List.of(), store.getEntries(""));
    store.putInt("kept", 1);
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.deleteBatch(List.of("kept", "")));
    assertTrue(store.contains("kept"));
    store.putBatch(List.of());
    store.deleteBatch(List.of());
  }

  @Test
  @Tag("limits")
  void whatIsTooLargeIsRefusedWhole() {
    List<Entry> entries = List.of(new Entry("a", Value.ofInt(1)), new Entry("\0".repeat(513), Value.ofInt(1)));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.putBatch(entries));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.putBytes("a", new byte[4 << 20]));
    assertEquals(List.of(), store.getEntries(""));
    store.putBytes("\0".repeat(512), new byte[(4 << 20) - 1]);
  }

  @Test
  void aTransactionIsCommittedOrRolledBack() {
    store.transaction(() -> {
      store.putInt("a", 1);
      assertEquals(1, store.getInt("a"));
    });
    assertEquals(2, store.<Integer>transaction(() -> store.getInt("a") + 1));
    IllegalStateException cause = new IllegalStateException();
    assertEquals(cause, assertThrows(IllegalStateException.class, () -> store.transaction(() -> {
      store.putInt("a", 7);
      throw cause;
    })));
    assertEquals(1, store.getInt("a"));
    assertFails(KvStoreErrorCode.DEFAULT_DB_ERROR, store::commit);
    store.startTransaction();
    assertFails(KvStoreErrorCode.DEFAULT_DB_ERROR, store::startTransaction);
    store.delete("a");
    store.rollback();
    assertEquals(1, store.getInt("a"));
  }

  @Test
  void storesAreListedReopenedAndDeleted() {
    store.putInt("a", 1);
    manager.openMulti("multi").close();
    assertEquals(List.of("multi", "store"), manager.storeIds());
    assertFails(KvStoreErrorCode.DEFAULT_DB_ERROR, () -> manager.deleteStore("store"));
    store.close();
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.openSingle("multi"));
    Options existing = Options.builder().createIfMissing(false).build();
    assertFails(KvStoreErrorCode.STORE_NOT_FOUND, () -> manager.openSingle("absent", existing));
    try (SingleKvStore again = manager.openSingle("store", existing);
        SingleKvStore twice = manager.openSingle("store")) {
      assertEquals(1, again.getInt("a"));
      twice.putInt("a", 2);
      assertEquals(2, again.getInt("a"));
    }
    manager.deleteStore("store");
    assertFails(KvStoreErrorCode.STORE_NOT_FOUND, () -> manager.deleteStore("store"));
    assertEquals(List.of("multi"), manager.storeIds());
  }

  @Test
  void theSecurityLevelIsKept() {
    try (SingleKvStore secure =
        manager.openSingle("secure", Options.builder().securityLevel(SecurityLevel.S3).build())) {
      assertEquals(SecurityLevel.S3, secure.getSecurityLevel());
    }
    assertEquals(SecurityLevel.NO_LEVEL, store.getSecurityLevel());
  }

  @Test
  void badIdentifiersAreRefusedBeforeAnythingIsOpened() {
    for (String bad : List.of("", ".", ".hidden", "a/b", "a b", "\u00FC", "a".repeat(129), "a\0")) {
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.openSingle(bad));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.deleteStore(bad));
    }
    manager.openSingle("A-z_0.9").close();
    manager.openSingle("a".repeat(128)).close();
  }

  @Test
  void aResultSetWalksBothWays() {
    KvStoreResultSet resultSet = ifSupported(() -> {
      store.putBatch(List.of(new Entry("a", Value.ofInt(1)), new Entry("b\uD83D", Value.ofInt(2))));
      return store.getResultSet("");
    });
    try (resultSet) {
      assertEquals(2, resultSet.getCount());
      assertTrue(resultSet.isBeforeFirst() && resultSet.moveToNext() && resultSet.isFirst());
      assertTrue(resultSet.moveToNext() && resultSet.isLast());
      assertEquals(new Entry("b\uD83D", Value.ofInt(2)), resultSet.getEntry());
      assertFalse(resultSet.moveToNext());
      assertTrue(resultSet.isAfterLast() && resultSet.move(-2) && !resultSet.move(Integer.MAX_VALUE));
      assertTrue(resultSet.isAfterLast() && !resultSet.moveToPosition(-7) && resultSet.isBeforeFirst());
      assertTrue(resultSet.moveToPosition(1));
      assertEquals(1, resultSet.getPosition());
      assertTrue(resultSet.moveToPrevious() && resultSet.moveToLast() && resultSet.moveToFirst());
    }
  }

  @Test
  void aResultSetIsIterableAndAStream() {
    List<String> keys = IntStream.range(10, 60).mapToObj(i -> "k" + i).collect(Collectors.toList());
    keys.forEach(key -> store.putString(key, key));
    KvStoreResultSet resultSet = ifSupported(() -> store.getResultSet("k"));
    store.delete("k10");
    List<String> seen = new ArrayList<>();
    for (Entry entry : resultSet) {
      seen.add(entry.getKey());
      resultSet.moveToLast();
      assertEquals("k10", resultSet.iterator().next().getKey());
    }
    assertEquals(keys, seen);
    assertEquals("k12", resultSet.stream().skip(2).map(Entry::getKey).findFirst().orElseThrow());
    assertEquals(2, resultSet.getPosition());
    assertEquals(keys, resultSet.stream().parallel().map(Entry::getKey).collect(Collectors.toList()));

    Iterator<Entry> iterator = resultSet.iterator();
    try (Stream<Entry> stream = resultSet.stream()) {
      assertEquals(keys.size(), stream.count());
    }
    assertTrue(iterator.hasNext());
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, iterator::next);
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, resultSet::stream);
    try (KvStoreResultSet empty = store.getResultSet("absent")) {
      assertThrows(NoSuchElementException.class, () -> empty.iterator().next());
      assertFails(KvStoreErrorCode.KEY_NOT_FOUND, empty::getEntry);
    }
  }

  @Test
  void closingAStoreClosesWhatItOpened() {
    MultiKvStore multi = manager.openMulti("multi");
    KvStoreSnapshot snapshot = ifSupported(multi::snapshot);
    KvStoreResultSet resultSet = store.getResultSet("");
    multi.close();
    store.close();
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> snapshot.find("k"));
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> snapshot.getKeys(""));
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, resultSet::moveToNext);
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, resultSet::getEntry);
    snapshot.close();
    resultSet.close();
  }

  @Test
  void aMultiVersionStoreIsWrittenAndReadThroughSnapshots() {
    MultiKvStore multi = manager.openMulti("multi");
    List<String> keys = CodecTest.HARD_TEXTS;
    multi.clear();
    multi.transaction(() -> keys.forEach(key -> multi.putString(key, key)));
    multi.putBatch(List.of(new Entry("batch", Value.ofInt(1))));
    multi.deleteBatch(List.of("batch"));
    multi.putInt("deleted", 1);
    multi.delete("deleted");
    try (KvStoreSnapshot snapshot = ifSupported(multi::snapshot)) {
      multi.clear();
      assertEquals(keys.size(), snapshot.getKeys("").size());
      assertTrue(snapshot.getKeys("").containsAll(keys));
      keys.forEach(key -> assertEquals(key, snapshot.getString(key)));
      assertEquals(keys.size(), snapshot.getEntries("").size());
      assertFails(KvStoreErrorCode.KEY_NOT_FOUND, () -> snapshot.getInt("deleted"));
    }
    try (KvStoreSnapshot cleared = multi.snapshot()) {
      assertEquals(List.of(), cleared.getEntries(""));
    }
  }

  @Test
  void whatAClientOfOnesOwnLeavesOutHasItsCode() {
    Assumptions.assumeTrue(System.getProperty("kora.library.path").contains("own-client"));
    assertFails(KvStoreErrorCode.NOT_SUPPORT, () -> store.getEntriesWithQuery("{}"));
    assertFails(KvStoreErrorCode.NOT_SUPPORT, () -> store.getCountWithQuery("{}"));
    Options encrypted = Options.builder().encrypt(true).build();
    assertFails(KvStoreErrorCode.NOT_SUPPORT, () -> manager.openSingle("other", encrypted));
  }

  private List<String> keys(String prefix) {
    return store.getEntries(prefix).stream().map(Entry::getKey).collect(Collectors.toList());
  }
}
