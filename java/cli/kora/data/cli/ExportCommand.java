package kora.data.cli;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreResultSet;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora export}. */
@Command(
    name = "export",
    description = "Writes the records of the store, as they are at this moment, types included, so that import makes the "
        + "same records again.")
final class ExportCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Option(names = "--format", description = "csv or jsonl (default: by the name of the file; jsonl without a file).")
  private RecordFormat format;

  @Option(names = "--prefix", defaultValue = "", description = "Only records whose keys begin with this.")
  private String prefix;

  @Parameters(paramLabel = "FILE", arity = "0..1", description = "Default: standard output.")
  private Path file;

  @Override
  public void run() {
    RecordFormat chosen = file == null && format == null ? RecordFormat.JSONL : RecordFormat.choose(format, file);
    scope.use(StoreScope.Missing.FAIL, store -> {
      try (KvStoreResultSet entries = store.getResultSet(prefix)) {
        if (file == null) {
          write(chosen, entries, new OutputStreamWriter(scope.out(), StandardCharsets.UTF_8));
        } else {
          writeFile(chosen, entries);
          scope.out().printf("exported %d records%n", entries.getCount());
        }
      } catch (IOException failure) {
        throw new Failure((file == null ? "standard output" : file) + " can't be written: " + failure.getMessage());
      }
    });
  }

  /** Under another name until it is complete, so that an earlier file is replaced by a whole one or not at all. */
  private void writeFile(RecordFormat chosen, Iterable<Entry> entries) throws IOException {
    Path folder = file.toAbsolutePath().getParent();
    Path unfinished = Files.createTempFile(folder, "." + file.getFileName(), ".part");
    try {
      try (Writer out = Files.newBufferedWriter(unfinished)) {
        write(chosen, entries, out);
      }
      Files.move(unfinished, file, StandardCopyOption.REPLACE_EXISTING);
    } finally {
      Files.deleteIfExists(unfinished);
    }
  }

  private static void write(RecordFormat chosen, Iterable<Entry> entries, Writer out) throws IOException {
    BufferedWriter buffered = new BufferedWriter(out);
    RecordWriter records = chosen.writer(buffered);
    for (Entry entry : entries) {
      records.write(entry);
    }
    buffered.flush();
  }
}
