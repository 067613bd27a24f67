package kora.bench;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.Semaphore;
import java.util.concurrent.atomic.AtomicLong;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.user.SingleKvStore;

/** Observers of Kora: the way from a put to its observer, puts that are observed, and what things at rest take. */
public final class Callbacks {
  private static final int ENTRIES = 100_000;
  private static final int WARM_UP = 20_000;
  private static final byte[] PAYLOAD = Data.payload(100, 0);

  private final SingleKvStore store;
  private final Set<Thread> threads = ConcurrentHashMap.newKeySet();

  private Callbacks(SingleKvStore store) {
    this.store = store;
  }

  /** The argument: the number of puts. */
  public static void main(String[] arguments) throws Exception {
    int puts = Integer.parseInt(arguments[0]);
    Path home = Files.createTempDirectory("kora-bench");
    StoreClient.configure(StoreClientSettings.builder().home(home).build());
    try (KvManager manager = KvManagerFactory.create("bench")) {
      try (SingleKvStore store = manager.openSingle("observed")) {
        Callbacks callbacks = new Callbacks(store);
        callbacks.latency(WARM_UP);
        long[] nanos = callbacks.latency(puts);
        print("put to observer, median", 1, nanos[puts / 2] / 1e3, "us");
        print("put to observer, 99 %", 1, nanos[puts / 100 * 99] / 1e3, "us");
        for (int observers : new int[] {0, 1, 4}) {
          callbacks.throughput(observers, puts * 2);
        }
        print("callback threads", 1, callbacks.threads.size(), "");
        for (Thread thread : callbacks.threads) {
          if (!thread.getName().equals("kora-callbacks")) {
            throw new IllegalStateException("called on " + thread + ", which Java did not start");
          }
        }
        cursors(store);
        watches(store);
      }
      idleStores(manager);
    } finally {
      Data.delete(home);
    }
  }

  /** Sorted times from before a put to inside its observer, one put after the other. */
  private long[] latency(int puts) throws InterruptedException {
    Semaphore told = new Semaphore(0);
    AtomicLong at = new AtomicLong();
    long[] nanos = new long[puts];
    try (Subscription subscription = store.subscribe(SubscribeType.ALL, change -> {
      at.set(System.nanoTime());
      note(change);
      told.release();
    })) {
      for (int i = 0; i < puts; ++i) {
        long start = System.nanoTime();
        store.putBytes(Data.key(i % ENTRIES), PAYLOAD);
        told.acquire();
        nanos[i] = at.get() - start;
      }
    }
    Arrays.sort(nanos);
    return nanos;
  }

  private void throughput(int observers, int puts) throws Exception {
    AtomicLong told = new AtomicLong();
    List<Subscription> subscriptions = new ArrayList<>();
    for (int i = 0; i < observers; ++i) {
      subscriptions.add(store.subscribe(SubscribeType.ALL, change -> {
        note(change);
        told.incrementAndGet();
      }));
    }
    long start = System.nanoTime();
    for (int i = 0; i < puts; ++i) {
      store.putBytes(Data.key(i % ENTRIES), PAYLOAD);
    }
    long written = System.nanoTime();
    awaitQuiet(told);
    long quiet = System.nanoTime();
    print("put, observed", observers, (double) (written - start) / puts, "ns");
    if (observers > 0) {
      print("notifications a second", observers, told.get() * 1e9 / (quiet - start), "");
      print("notifications lost", observers, (long) observers * puts - told.get(), "");
    }
    for (Subscription subscription : subscriptions) {
      subscription.close();
    }
  }

  /** Until nothing has come for a while: a slow observer may have lost some, so their number is not known. */
  private static void awaitQuiet(AtomicLong told) throws InterruptedException {
    for (long before = -1; before != told.get();) {
      before = told.get();
      Thread.sleep(20);
    }
  }

  private void note(ChangeNotification change) {
    threads.add(Thread.currentThread());
  }

  private static void cursors(SingleKvStore store) throws Exception {
    final int count = 100;
    List<KvStoreResultSet> open = new ArrayList<>();
    double before = Process.residentMemory();
    for (int i = 0; i < count; ++i) {
      KvStoreResultSet cursor = store.getResultSet("");
      cursor.moveToPosition(i * 100);
      open.add(cursor);
    }
    print("memory of a cursor", ENTRIES, (Process.residentMemory() - before) * 1024 / count, "KiB");
    open.forEach(KvStoreResultSet::close);
  }

  private static void watches(SingleKvStore store) throws Exception {
    final int count = 1000;
    List<Subscription> open = new ArrayList<>();
    double before = Process.residentMemory();
    for (int i = 0; i < count; ++i) {
      open.add(store.subscribe(SubscribeType.ALL, change -> open.size()));
    }
    print("memory of a watch", 1, (Process.residentMemory() - before) * 1024 / count, "KiB");
    open.forEach(Subscription::close);
  }

  private static void idleStores(KvManager manager) throws Exception {
    final int count = 50;
    List<SingleKvStore> open = new ArrayList<>();
    double before = Process.residentMemory();
    for (int i = 0; i < count; ++i) {
      open.add(manager.openSingle("idle" + i));
    }
    print("memory of an idle store", 1, (Process.residentMemory() - before) * 1024 / count, "KiB");
    open.forEach(SingleKvStore::close);
  }

  private static void print(String row, int number, double value, String unit) {
    System.out.printf(Locale.ROOT, "%s,kora,%d,100,1,%.2f,%s%n", row, number, value, unit);
  }
}
