package kora.bench;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** Fills a store with records, once, in a process that does nothing else. */
public final class Prepare {
  private static final long REST_MILLISECONDS = 3000;

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
      settle(unfinished);
    }
    Files.move(unfinished, folder);
  }

  /** Waits until the store has done in the background what the records have left it to do: its files rest. */
  private static void settle(Path folder) throws Exception {
    List<String> before = List.of();
    for (List<String> now = files(folder); !now.equals(before); now = files(folder)) {
      before = now;
      Thread.sleep(REST_MILLISECONDS);
    }
  }

  private static List<String> files(Path folder) throws IOException {
    try (Stream<Path> tree = Files.walk(folder)) {
      return tree.map(path -> path + " " + path.toFile().length()).sorted().collect(Collectors.toList());
    } catch (UncheckedIOException gone) {
      return List.of(gone.toString());
    }
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
