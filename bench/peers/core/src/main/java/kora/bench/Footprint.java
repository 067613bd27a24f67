package kora.bench;

import java.nio.file.Path;
import java.util.Locale;

/**
 * What a store takes in a fresh process: the load of its library, opening, memory after random reads, disk. One
 * line for each.
 */
public final class Footprint {
  private static final int READS = 20_000;

  private Footprint() {}

  /** The arguments: the store, the number of entries, the size of a value. */
  public static void main(String[] arguments) throws Exception {
    String name = arguments[0];
    int entries = Integer.parseInt(arguments[1]);
    int valueSize = Integer.parseInt(arguments[2]);
    String place = String.format(Locale.ROOT, "%s,%d,%d,1", name, entries, valueSize);

    Path folder = Data.prepared(name, entries, valueSize);
    Data.key(0);
    double before = Process.residentMemory();
    Driver driver = Driver.of(name);

    long start = System.nanoTime();
    driver.load();
    long loaded = System.nanoTime();
    try (Store store = driver.open(folder, Driver.Durability.PROCESS)) {
      store.get(Data.key(0));
      long opened = System.nanoTime();
      for (int i = 0; i < READS; ++i) {
        store.get(Data.key((i * 7_368_787L) % entries));
      }
      print("load", place, (loaded - start) / 1e6, "ms");
      print("open", place, (opened - loaded) / 1e6, "ms");
      print("memory", place, Process.residentMemory() - before, "MiB");
    }
    print("disk", place, Data.size(folder) / 1048576.0, "MiB");
  }

  private static void print(String row, String place, double value, String unit) {
    System.out.printf(Locale.ROOT, "%s,%s,%.2f,%s%n", row, place, value, unit);
  }
}
