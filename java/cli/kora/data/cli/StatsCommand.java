package kora.data.cli;

import java.io.IOException;
import java.io.PrintStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.LongStream;
import java.util.stream.Stream;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreResultSet;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora stats}. */
@Command(name = "stats", description = "Counts the records, their types and bytes, and the files on disk.")
final class StatsCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> {
      try (KvStoreResultSet entries = store.getResultSet("")) {
        print(entries);
      }
    });
  }

  private void print(KvStoreResultSet entries) {
    Map<String, Long> types = new TreeMap<>();
    long keyBytes = 0;
    long valueBytes = 0;
    for (Entry entry : entries) {
      types.merge(TypedText.of(entry.getValue()).type, 1L, Long::sum);
      keyBytes += entry.getKey().getBytes(StandardCharsets.UTF_8).length;
      valueBytes += entry.getValue().getPayloadSize();
    }

    PrintStream out = scope.out();
    out.println("store    " + scope.storeName());
    out.println("records  " + entries.getCount());
    types.forEach((type, count) -> out.println("  " + type + "  " + count));
    out.println("bytes    " + keyBytes + " in keys, " + valueBytes + " in values");
    if (entries.moveToFirst()) {
      String first = JsonLinesWriter.escaped(entries.getEntry().getKey());
      entries.moveToLast();
      out.println("keys     " + first + " to " + JsonLinesWriter.escaped(entries.getEntry().getKey()));
    }
    printFiles(scope.folder());
  }

  private void printFiles(Path folder) {
    if (!Files.isDirectory(folder)) {
      return;
    }
    try (Stream<Path> tree = Files.walk(folder)) {
      long[] sizes = tree.filter(Files::isRegularFile).mapToLong(StatsCommand::size).toArray();
      scope.out().println("files    " + sizes.length + " of " + LongStream.of(sizes).sum()
          + " bytes in " + folder);
    } catch (IOException | UncheckedIOException unreadable) {
      throw new Failure(folder + " can't be read: " + unreadable.getMessage());
    }
  }

  /** 0 for a file that is gone by now: the engine replaces files all the time. */
  private static long size(Path file) {
    try {
      return Files.size(file);
    } catch (IOException gone) {
      return 0;
    }
  }
}
