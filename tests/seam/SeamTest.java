import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The Java API and the unchanged bridge over the example's in-memory client. */
class SeamTest {
  private KvManager manager;

  @BeforeEach
  void openManager() {
    manager = KvManagerFactory.create("seam");
  }

  @AfterEach
  void deleteStores() {
    manager.close();
    try (KvManager cleaner = KvManagerFactory.create("seam")) {
      cleaner.storeIds().forEach(cleaner::deleteStore);
    }
  }

  @Test
  void dataOutlivesTheStoreObjectButNotTheProcess() {
    try (SingleKvStore store = manager.openSingle("data")) {
      store.putString("a/1", "one");
      store.putInt("a/2", 2);
      store.putBatch(List.of(new Entry("a/3", Value.ofDouble(3.5)), new Entry("b", Value.ofBoolean(true))));
      store.deleteBatch(List.of("b", "absent"));
    }
    assertEquals(List.of("data"), manager.storeIds());
    try (SingleKvStore store = manager.openSingle("data", Options.builder().createIfMissing(false).build())) {
      assertEquals("one", store.getString("a/1"));
      assertTrue(store.find("b").isEmpty());
      assertEquals(List.of("a/1", "a/2", "a/3"), keys(store.getEntries("a/")));
      store.delete("a/1");
      assertEquals(List.of("a/2", "a/3"), keys(store.getEntries("")));
    }
  }

  @Test
  void aTransactionIsToldOnceAndARollbackNever() throws InterruptedException {
    BlockingQueue<ChangeNotification> changes = new LinkedBlockingQueue<>();
    try (SingleKvStore store = manager.openSingle("observed")) {
      store.putString("kept", "before");
      store.putString("gone", "last value");
      Subscription subscription = store.subscribe(SubscribeType.ALL, changes::add);
      store.startTransaction();
      store.putString("never", "seen");
      store.rollback();
      store.transaction(() -> {
        store.putString("new", "1");
        store.putString("kept", "after");
        store.delete("gone");
        store.putString("passing", "x");
        store.delete("passing");
        assertEquals("after", store.getString("kept"));
      });
      ChangeNotification change = changes.poll(10, TimeUnit.SECONDS);
      assertNotNull(change);
      assertEquals(List.of(new Entry("new", Value.ofString("1"))), change.getInsertEntries());
      assertEquals(List.of(new Entry("kept", Value.ofString("after"))), change.getUpdateEntries());
      assertEquals(List.of(new Entry("gone", Value.ofString("last value"))), change.getDeleteEntries());
      assertTrue(store.find("never").isEmpty());

      subscription.close();
      store.putString("unheard", "x");
    }
    assertNull(changes.poll(100, TimeUnit.MILLISECONDS));
  }

  @Test
  void aResultSetIsStableAndMovesBothWays() {
    try (SingleKvStore store = manager.openSingle("cursor")) {
      for (int i = 0; i < 5; ++i) {
        store.putInt("k" + i, i);
      }
      try (KvStoreResultSet cursor = store.getResultSet("k")) {
        store.delete("k0");
        assertEquals(5, cursor.getCount());
        assertTrue(cursor.isBeforeFirst());
        assertTrue(cursor.moveToNext());
        assertEquals("k0", cursor.getEntry().getKey());
        assertTrue(cursor.move(3));
        assertEquals(3, cursor.getPosition());
        assertTrue(cursor.moveToLast() && cursor.isLast());
        assertEquals(4, cursor.getEntry().getValue().asInt());
        assertFalse(cursor.move(Integer.MAX_VALUE));
        assertTrue(cursor.isAfterLast());
        assertThrows(KvStoreException.class, cursor::getEntry);
        assertTrue(cursor.moveToPrevious() && cursor.moveToFirst() && cursor.isFirst());
        assertFalse(cursor.moveToPosition(-7));
        assertEquals(-1, cursor.getPosition());
      }
    }
  }

  @Test
  void aMultiVersionStoreIsReadThroughSnapshots() throws InterruptedException {
    BlockingQueue<String> seen = new LinkedBlockingQueue<>();
    try (MultiKvStore store = manager.openMulti("versions")) {
      store.putString("a", "1");
      try (KvStoreSnapshot old = store.snapshot()) {
        Subscription subscription = store.subscribe(new KvStoreObserver() {
          @Override
          public void onChange(ChangeNotification change) {
            throw new AssertionError("the form without a snapshot");
          }

          @Override
          public void onChange(ChangeNotification change, KvStoreSnapshot snapshot) {
            seen.add(snapshot.getString("a"));
            snapshot.close();
          }
        });
        store.putString("a", "2");
        store.putString("a", "3");
        assertEquals("2", seen.poll(10, TimeUnit.SECONDS));
        assertEquals("3", seen.poll(10, TimeUnit.SECONDS));
        assertEquals("1", old.getString("a"));
        assertEquals(List.of("a"), old.getKeys(""));
        subscription.close();
      }
      store.clear();
      try (KvStoreSnapshot empty = store.snapshot()) {
        assertEquals(List.of(), empty.getEntries(""));
      }
    }
  }

  @Test
  void whatTheClientLeavesOutOrRefusesHasItsCode() {
    try (SingleKvStore store = manager.openSingle("refusals")) {
      assertCode(KvStoreErrorCode.NOT_SUPPORT, () -> store.getEntriesWithQuery("{}"));
      assertCode(KvStoreErrorCode.NOT_SUPPORT, () -> store.getCountWithQuery("{}"));
      assertCode(KvStoreErrorCode.KEY_NOT_FOUND, () -> store.get("absent"));
      assertCode(KvStoreErrorCode.DEFAULT_DB_ERROR, store::commit);
      assertCode(KvStoreErrorCode.DEFAULT_DB_ERROR, () -> manager.deleteStore("refusals"));
      assertCode(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.openMulti("refusals"));
    }
    Options encrypted = Options.builder().encrypt(true).build();
    assertCode(KvStoreErrorCode.NOT_SUPPORT, () -> manager.openSingle("other", encrypted));
    assertCode(KvStoreErrorCode.STORE_NOT_FOUND, () -> manager.deleteStore("absent"));
  }

  private static void assertCode(KvStoreErrorCode code, Runnable action) {
    assertEquals(code, assertThrows(KvStoreException.class, action::run).getErrorCode());
  }

  private static List<String> keys(List<Entry> entries) {
    return entries.stream().map(Entry::getKey).collect(Collectors.toList());
  }
}
