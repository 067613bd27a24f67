package kora.data.distributed.tests;

import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import kora.data.distributed.common.Durability;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.SingleKvStore;

/** The programs that run in a process of their own. */
public final class ChildProgram {
  private ChildProgram() {}

  /**
   * Runs one of them.
   *
   * @param arguments its name and its arguments
   * @throws Exception whatever it throws
   */
  public static void main(String[] arguments) throws Exception {
    switch (arguments[0]) {
      case "put":
        put();
        break;
      case "hold":
        put();
        System.out.write('h');
        System.out.flush();
        System.in.read();
        break;
      case "batch":
        batch(Integer.parseInt(arguments[1]));
        break;
      case "exit":
        exit(arguments[1]);
        break;
      case "loaders":
        loaders(new URL(arguments[1]), new URL(arguments[2]));
        break;
      case "limited":
        limited(Integer.parseInt(arguments[1]));
        break;
      case "access":
        access(Boolean.parseBoolean(arguments[1]));
        break;
      case "configure":
        configure(arguments[1]);
        break;
      default:
        throw new IllegalArgumentException(arguments[0]);
    }
  }

  private static void put() {
    try (KvManager manager = KvManagerFactory.create("child"); SingleKvStore store = manager.openSingle("store")) {
      store.putInt("key", 1);
    }
  }

  private static void batch(int count) {
    List<Entry> entries = new ArrayList<>();
    for (int i = 0; i < count; i++) {
      entries.add(new Entry(String.format("%08d", i), Value.ofInt(i)));
    }
    try (KvManager manager = KvManagerFactory.create("child"); SingleKvStore store = manager.openSingle("store")) {
      long start = System.nanoTime();
      store.putBatch(entries);
      long written = System.nanoTime();
      List<Entry> read = store.getEntries("");
      long end = System.nanoTime();
      System.out.printf("%d entries in one call: written in %d ms, read in %d ms%n", count,
          (written - start) / 1_000_000, (end - written) / 1_000_000);
      if (!read.equals(entries)) {
        throw new AssertionError("what was read differs");
      }
    }
  }

  /** Ends in the middle of writes and notifications. */
  private static void exit(String way) throws InterruptedException {
    SingleKvStore store = KvManagerFactory.create("child").openSingle("store");
    BlockingQueue<Object> notifications = new LinkedBlockingQueue<>();
    store.subscribe(SubscribeType.ALL, notifications::add);
    for (int i = 0; i < 3; i++) {
      Thread writer = new Thread(() -> write(store));
      writer.setDaemon(true);
      writer.start();
    }
    notifications.take();
    if (way.equals("exit")) {
      System.exit(3);
    } else if (way.equals("throw")) {
      throw new IllegalStateException("the end");
    }
  }

  private static void write(SingleKvStore store) {
    try {
      for (int i = 0; ; i++) {
        store.putInt("key" + i % 1000, i);
        store.getEntries("key99");
      }
    } catch (KvStoreException refused) {
      // The store client takes nothing more while the process ends.
    }
  }

  private static void loaders(URL api, URL program) throws Exception {
    runObserve(api, program);
    runObserve(api, program);
  }

  private static void runObserve(URL api, URL program) throws Exception {
    URLClassLoader loader =
        new URLClassLoader("child", new URL[] {api, program}, ClassLoader.getPlatformClassLoader());
    Class<?> type = Class.forName(ChildProgram.class.getName(), true, loader);
    type.getMethod("observe").invoke(null);
  }

  /**
   * Prints the key of a change, or the refusal.
   *
   * @throws InterruptedException if interrupted
   */
  public static void observe() throws InterruptedException {
    try (KvManager manager = KvManagerFactory.create("child"); SingleKvStore store = manager.openSingle("store")) {
      BlockingQueue<String> keys = new LinkedBlockingQueue<>();
      store.subscribe(SubscribeType.ALL, change -> keys.add(change.getInsertEntries().get(0).getKey()));
      store.putInt("key", 1);
      System.out.println("received " + keys.poll(20, TimeUnit.SECONDS));
    } catch (KvStoreException refusal) {
      System.out.println("refused " + refusal.getErrorCode() + ": " + refusal.getMessage());
    }
  }

  /** Writes until the rate turns a write away, and prints what became of the calls that never are. */
  private static void limited(int rate) {
    StoreClient.configure(StoreClientSettings.builder().rateLimit(rate).deviceName("d\u00e9j\u00e0 \ud83d\ude00").build());
    try (KvManager manager = KvManagerFactory.create("child"); SingleKvStore store = manager.openSingle("store")) {
      store.startTransaction();
      try {
        for (int i = 0; i < 1000 * rate; i++) {
          store.putInt("key", i);
        }
      } catch (KvStoreException refusal) {
        System.out.println("refused " + refusal.getErrorCode());
      }
      store.rollback();
      System.out.println("named " + manager.localDevice().getName().codePointCount(0, 7));
    }
  }

  /** Reads a value, prints it and writes another. */
  private static void access(boolean readOnly) {
    StoreClient.configure(StoreClientSettings.builder().readOnly(readOnly).build());
    try (KvManager manager = KvManagerFactory.create("child"); SingleKvStore store = manager.openSingle("store")) {
      System.out.println("read " + store.findInt("key").orElse(0));
      store.putInt("key", 1);
    } catch (KvStoreException refusal) {
      System.out.println("refused " + refusal.getErrorCode());
    }
  }

  private static void configure(String home) {
    tryConfigure("bad", StoreClientSettings.builder().memoryBudget(1));
    for (StoreClientSettings.Builder bad : List.of(cluster().clusterEndpoints("hub"), cluster().clusterEndpoints(),
        cluster().clusterCa("nonsense\n"), cluster().clusterCertificate("", "key"), cluster().clusterServerName(""),
        cluster().clusterUser("", "password"), cluster().clusterUser("user", Path.of("absent")),
        cluster().clusterNamespace(".hidden"), cluster().clusterLease(Duration.ofMillis(1999)),
        cluster().clusterTimeout(Duration.ofMinutes(1).plusMillis(1)), cluster().clusterDeathAfter(Duration.ofNanos(1)))) {
      tryConfigure("cluster", bad);
    }
    StoreClient.configure(cluster().build());
    StoreClient.configure(StoreClientSettings.builder().home(Path.of(home)).durability(Durability.POWER)
        .memoryBudget(16 << 20).deviceName("child").deviceType("test").build());
    put();
    tryConfigure("late", StoreClientSettings.builder().deviceName("late"));
  }

  /** All settings of the hub, the default of none. */
  private static StoreClientSettings.Builder cluster() {
    return StoreClientSettings.builder().clusterUser("user", "password").clusterNamespace("test")
        .clusterLease(Duration.ofSeconds(2)).clusterTimeout(Duration.ofSeconds(2))
        .clusterDeathAfter(Duration.ZERO);
  }

  private static void tryConfigure(String what, StoreClientSettings.Builder settings) {
    try {
      StoreClient.configure(settings.build());
      System.out.println(what + " accepted");
    } catch (KvStoreException failure) {
      System.out.println(what + " " + failure.getErrorCode() + ": " + failure.getMessage());
    }
  }
}
