package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicReferenceArray;
import java.util.logging.Handler;
import java.util.logging.LogRecord;
import java.util.logging.Logger;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

@Timeout(120)
class LifetimeTest extends WithManager {
  @Test
  void eachObjectIsClosedOnItsOwn() {
    SingleKvStore first = manager.openSingle("store");
    SingleKvStore second = manager.openSingle("store");
    first.close();
    first.close();
    second.putInt("a", 1);
    manager.close();
    manager.close();
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> second.getInt("a"));
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, manager::storeIds);
  }

  @Test
  void threadsMayCloseWhatOthersUse() throws Exception {
    AtomicReferenceArray<SingleKvStore> stores = new AtomicReferenceArray<>(3);
    for (int i = 0; i < stores.length(); i++) {
      stores.set(i, manager.openSingle("store" + i));
    }
    long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(5);
    List<Callable<Integer>> workers = new ArrayList<>();
    for (int seed = 0; seed < 8; seed++) {
      Random random = new Random(seed);
      workers.add(() -> {
        int closes = 0;
        while (System.nanoTime() < end) {
          closes += useOrClose(manager, stores, random);
        }
        return closes;
      });
    }
    ExecutorService pool = Executors.newFixedThreadPool(workers.size());
    int closes = 0;
    for (Future<Integer> worker : pool.invokeAll(workers)) {
      closes += worker.get();
    }
    pool.shutdown();
    assertTrue(closes > 100, "only " + closes + " closes");
  }

  private static int useOrClose(KvManager manager, AtomicReferenceArray<SingleKvStore> stores, Random random) {
    int index = random.nextInt(stores.length());
    SingleKvStore store = stores.get(index);
    String key = "key" + random.nextInt(50);
    KvStoreObserver observer = notification -> assertNotNull(key);
    try {
      switch (random.nextInt(40)) {
        case 0:
          store.close();
          SingleKvStore again = manager.openSingle("store" + index);
          if (!stores.compareAndSet(index, store, again)) {
            again.close();
          }
          return 1;
        case 1:
          store.subscribe(SubscribeType.ALL, observer);
          break;
        case 2:
          store.putBatch(List.of(new Entry(key, Value.ofInt(1)), new Entry(key + "b", Value.ofInt(2))));
          break;
        case 3:
          store.getEntries("key1");
          break;
        case 4:
          walk(store);
          break;
        default:
          store.putInt(key, random.nextInt());
          store.findInt(key);
      }
    } catch (KvStoreException failure) {
      boolean expected = failure.getErrorCode() == KvStoreErrorCode.STORE_NOT_OPEN
          || failure.getErrorCode() == KvStoreErrorCode.NOT_SUPPORT;
      if (!expected) {
        throw failure;
      }
    }
    return 0;
  }

  private static void walk(SingleKvStore store) {
    try (KvStoreResultSet resultSet = store.getResultSet("")) {
      while (resultSet.moveToNext()) {
        assertNotNull(resultSet.getEntry());
      }
    }
  }

  @Test
  void aForgottenStoreIsClosedWithOneWarning() throws InterruptedException {
    BlockingQueue<LogRecord> warnings = new LinkedBlockingQueue<>();
    Logger logger = Logger.getLogger("kora.data.distributed");
    Handler handler = new QueueHandler(warnings);
    logger.addHandler(handler);
    logger.setUseParentHandlers(false);
    try {
      forget(manager);
      LogRecord warning = null;
      for (int i = 0; i < 200 && warning == null; i++) {
        System.gc();
        warning = warnings.poll(50, TimeUnit.MILLISECONDS);
      }
      assertNotNull(warning, "a forgotten store was not closed");
      assertTrue(warning.getMessage().contains("forgotten"), warning.getMessage());
      boolean saysWhere = List.of(warning.getThrown().getStackTrace()).stream()
          .anyMatch(frame -> frame.getMethodName().equals("forget"));
      assertTrue(saysWhere, "the warning does not say where the store was opened");
      manager.deleteStore("forgotten");
      assertFails(KvStoreErrorCode.DEFAULT_DB_ERROR, () -> manager.deleteStore("observed"));
      assertEquals(null, warnings.poll());
    } finally {
      logger.removeHandler(handler);
      logger.setUseParentHandlers(true);
    }
  }

  /** Leaves two stores to the garbage collector; the one with a subscription must stay open all the same. */
  private static void forget(KvManager manager) {
    manager.openSingle("observed").subscribe(SubscribeType.ALL, notification -> {});
    manager.openSingle("forgotten").putInt("a", 1);
  }

  private static final class QueueHandler extends Handler {
    private final BlockingQueue<LogRecord> records;

    QueueHandler(BlockingQueue<LogRecord> records) {
      this.records = records;
    }

    @Override
    public void publish(LogRecord logRecord) {
      records.add(logRecord);
    }

    @Override
    public void flush() {}

    @Override
    public void close() {}
  }
}
