package kora.bench.floor;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.Value;

/** Times one form of the hot natives over the null client: writes "row,form,1,100,1,nanoseconds,ns" for each row. */
public final class Floor {
  private static final long STORE;
  private static final long CURSOR;
  private static final byte[] KEY = "user/000000000000000".getBytes(StandardCharsets.US_ASCII);
  private static final Value VALUE = Value.ofBytes(new byte[100]);
  private static final Entry[] BATCH = new Entry[1000];
  private static final KvStoreObserver OBSERVER = Floor::count;

  private static int changes;

  static {
    Path folder = Path.of(System.getProperty("libraries")).toAbsolutePath();
    for (String name : List.of("kora_data_client", "kora_data_jni", "kora_floor")) {
      System.load(folder.resolve("lib" + name + ".so").toString());
    }
    STORE = NullClient.store();
    CURSOR = NullClient.cursor();
    for (int i = 0; i < BATCH.length; ++i) {
      BATCH[i] = new Entry(String.format(Locale.ROOT, "user/%015d", i), VALUE);
    }
  }

  private Floor() {}

  /** Does something so many times. */
  private interface Loop {
    void run(int times) throws Throwable;
  }

  private static final class Row {
    final String name;
    final int units;
    final Loop loop;

    Row(String name, int units, Loop loop) {
      this.name = name;
      this.units = units;
      this.loop = loop;
    }

    /** The median of some rounds, in nanoseconds a unit. */
    double measure(int rounds, long roundNanos) throws Throwable {
      int times = 1;
      while (time(times) < roundNanos) {
        times *= 2;
      }
      double[] results = new double[rounds];
      for (int i = 0; i < rounds; ++i) {
        results[i] = (double) time(times) / times / units;
      }
      Arrays.sort(results);
      return results[rounds / 2];
    }

    private long time(int times) throws Throwable {
      long start = System.nanoTime();
      loop.run(times);
      return System.nanoTime() - start;
    }
  }

  /**
   * Measures all rows.
   *
   * @param arguments the number of rounds and the milliseconds of a round
   */
  public static void main(String[] arguments) throws Throwable {
    int rounds = Integer.parseInt(arguments[0]);
    long nanos = Long.parseLong(arguments[1]) * 1_000_000;
    Natives.subscribe(OBSERVER, KvManagerConfig.of("bench"), STORE);
    for (Row row : rows()) {
      row.measure(1, nanos);
      System.out.printf(Locale.ROOT, "%s,%s,1,100,1,%.2f,ns%n", row.name, System.getProperty("form"),
          row.measure(rounds, nanos));
    }
    if (changes == 0) {
      throw new IllegalStateException("the observer was never called");
    }
  }

  private static List<Row> rows() {
    List<Row> rows = new ArrayList<>(List.of(
        new Row("get", 1, Floor::get),
        new Row("put", 1, Floor::put),
        new Row("delete", 1, Floor::delete),
        new Row("entries per entry", BATCH.length, Floor::getEntries),
        new Row("batch per entry", BATCH.length, Floor::putBatch),
        new Row("cursor next and entry", 1, Floor::walk),
        new Row("observer callback", 1, Floor::tell)));
    if (System.getProperty("form").equals("bridge")) {
      rows.add(new Row("log line that is off", 1, NullClient::log));
    }
    return rows;
  }

  private static void count(ChangeNotification change) {
    changes += change.getInsertEntries().size();
  }

  private static void get(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      Value value = (Value) Natives.GET.invokeExact(KEY, STORE);
    }
  }

  private static void put(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      Natives.PUT.invokeExact(KEY, VALUE, STORE);
    }
  }

  private static void delete(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      Natives.DELETE.invokeExact(KEY, STORE);
    }
  }

  private static void getEntries(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      List<?> list = (List<?>) (List) Natives.GET_ENTRIES.invokeExact(KEY, STORE);
    }
  }

  private static void putBatch(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      Natives.PUT_BATCH.invokeExact(BATCH, STORE);
    }
  }

  private static void walk(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      boolean moved = (boolean) Natives.MOVE_TO_NEXT.invokeExact(CURSOR);
      Entry entry = (Entry) Natives.GET_ENTRY.invokeExact(CURSOR);
    }
  }

  private static void tell(int times) throws Throwable {
    for (int i = 0; i < times; ++i) {
      Natives.NOTIFY.invokeExact(OBSERVER);
    }
  }
}
