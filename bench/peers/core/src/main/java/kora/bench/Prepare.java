package kora.bench;

import java.nio.file.Files;
import java.nio.file.Path;

/** Fills a store with records, once, in a process that does nothing else. */
public final class Prepare {
  private Prepare() {}

  /** The arguments: the store, the number of entries, the size of a value. */
  public static void main(String[] arguments) throws Exception {
    int entries = Integer.parseInt(arguments[1]);
    int valueSize = Integer.parseInt(arguments[2]);
    Path folder = Data.prepared(arguments[0], entries, valueSize);
    if (Files.isDirectory(folder)) {
      return;
    }
    Path unfinished = folder.resolveSibling(folder.getFileName() + ".new");
    Data.delete(unfinished);
    Files.createDirectories(unfinished);
    try (Store store = Driver.of(arguments[0]).open(unfinished, Driver.Durability.PROCESS)) {
      fill(store, entries, valueSize);
    }
    Files.move(unfinished, folder);
  }

  private static void fill(Store store, int entries, int valueSize) throws Exception {
    for (int done = 0; done < entries; done += Data.GROUP) {
      String[] keys = new String[Data.GROUP];
      for (int i = 0; i < keys.length; ++i) {
        keys[i] = Data.key((done + i) * Data.STEP % entries);
      }
      store.putBatch(keys, Data.payload(valueSize, done / Data.GROUP));
    }
  }
}
