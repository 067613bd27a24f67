package kora.data.distributed.tests;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.Iterator;
import java.util.List;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;

/** A store that fails for good while it is open. */
class DeathTest extends WithManager {
  @Test
  void recipientsHearOfEachDeathOnceAndTheStoreServesAgainWhenReopened() throws Exception {
    LinkedBlockingQueue<String> deaths = new LinkedBlockingQueue<>();
    folder("store");
    LinkedBlockingQueue<ChangeNotification> changes = new LinkedBlockingQueue<>();
    KvStoreObserver observer = changes::add;
    SingleKvStore healthy = manager.openSingle("healthy");
    healthy.subscribe(SubscribeType.ALL, observer);
    manager.registerDeathRecipient(() -> {
      healthy.subscribe(SubscribeType.ALL, observer);
      deaths.add("one");
    });
    manager.registerDeathRecipient(() -> deaths.add("two"));
    for (int round = 0; round < 2; round++) {
      try (SingleKvStore store = manager.openSingle("store")) {
        store.putString("key", "value");
        delete(folder("store"));
        assertNotNull(deaths.poll(20, TimeUnit.SECONDS));
        assertNotNull(deaths.poll(20, TimeUnit.SECONDS));
        Stores.assertFails(KvStoreErrorCode.DB_ERROR, () -> store.getString("key"));
        Stores.assertFails(KvStoreErrorCode.DB_ERROR, () -> store.putString("key", "value"));
        try (SingleKvStore reopened = manager.openSingle("store")) {
          reopened.putString("key", "again");
          assertEquals("again", reopened.getString("key"));
        }
      }
      assertNull(deaths.poll());
      healthy.putInt("heard once", round);
      assertNotNull(changes.poll(20, TimeUnit.SECONDS));
    }
    healthy.putInt("last", 1);
    assertEquals("last", changes.poll(20, TimeUnit.SECONDS).getInsertEntries().get(0).getKey());
  }

  @Test
  void whatAFailedStoreHandedOutSaysSoAndCanBeClosed() throws Exception {
    LinkedBlockingQueue<String> deaths = new LinkedBlockingQueue<>();
    folder("single");
    manager.registerDeathRecipient(() -> deaths.add("died"));
    SingleKvStore single = manager.openSingle("single");
    List<Subscription> subscriptions = List.of(single.subscribe(SubscribeType.ALL, change -> {}),
        manager.openSingle("healthy").subscribe(SubscribeType.ALL, change -> {}));
    single.putBatch(List.of(new Entry("a", Value.ofInt(1)), new Entry("b", Value.ofInt(2))));
    KvStoreResultSet resultSet = single.getResultSet("");
    Iterator<Entry> entries = resultSet.iterator();
    entries.next();
    MultiKvStore multi = manager.openMulti("multi");
    KvStoreSnapshot snapshot = multi.snapshot();
    for (String store : List.of("single", "multi")) {
      delete(folder(store));
      assertNotNull(deaths.poll(20, TimeUnit.SECONDS));
    }
    Stores.assertFails(KvStoreErrorCode.DB_ERROR, entries::next);
    Stores.assertFails(KvStoreErrorCode.DB_ERROR, () -> resultSet.stream().forEach(entry -> {}));
    Stores.assertFails(KvStoreErrorCode.DB_ERROR, () -> snapshot.find("a"));
    for (Subscription subscription : subscriptions) {
      subscription.close();
    }
    resultSet.close();
    snapshot.close();
    single.close();
    multi.close();
  }

  /** The store's folder; ends the test where the store client keeps none. */
  private Path folder(String store) {
    String home = System.getenv("KORA_DATA_HOME");
    Assumptions.assumeTrue(home != null && !System.getProperty("kora.library.path").contains("own-client"));
    return Path.of(home, application, store);
  }

  private static void delete(Path folder) throws IOException {
    try (Stream<Path> tree = Files.walk(folder)) {
      List<Path> deepestFirst = tree.sorted(Comparator.reverseOrder()).collect(Collectors.toList());
      for (Path path : deepestFirst) {
        Files.deleteIfExists(path);
      }
    }
  }
}
