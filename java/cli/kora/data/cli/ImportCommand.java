package kora.data.cli;

import java.io.BufferedReader;
import java.io.FilterInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.user.SingleKvStore;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora import}. */
@Command(
    name = "import",
    description = "Stores the records of a file; values of keys that exist are replaced. A store that does not exist is"
        + " created. At the first bad record it stops and says its line; the records before it are stored.")
final class ImportCommand implements Runnable {
  private static final int BATCH_RECORDS = 1000;
  private static final int BATCH_BYTES = 8 << 20;

  @ParentCommand private StoreScope scope;

  @Option(names = "--format", description = "${COMPLETION-CANDIDATES} (default: by the name of the file).")
  private RecordFormat format;

  @Parameters(paramLabel = "FILE", description = "'-' reads standard input.")
  private Path file;

  @Override
  public void run() {
    boolean standardInput = file.toString().equals("-");
    RecordFormat chosen = RecordFormat.choose(format, standardInput ? null : file);
    try (Input in = new Input(standardInput ? System.in : Files.newInputStream(file));
        ProgressBar bar = new ProgressBar(standardInput ? 0 : Files.size(file))) {
      scope.use(StoreScope.Missing.CREATE, store -> new Import(store, in, bar).run(chosen));
    } catch (NoSuchFileException absent) {
      throw new Failure("there is no file " + file);
    } catch (IOException failure) {
      throw new Failure(file + " can't be read: " + failure.getMessage());
    }
  }

  /** One import in progress. */
  private final class Import {
    private final SingleKvStore store;
    private final Input in;
    private final ProgressBar bar;
    private final List<Entry> batch = new ArrayList<>();
    private int batchBytes;
    private long stored;

    Import(SingleKvStore store, Input in, ProgressBar bar) {
      this.store = store;
      this.in = in;
      this.bar = bar;
    }

    void run(RecordFormat chosen) {
      try {
        RecordReader records = chosen.reader(in.text());
        for (Entry entry = next(records); entry != null; entry = next(records)) {
          add(entry, records);
        }
        storeBatch(records);
      } catch (IOException failure) {
        throw stopped(null, failure);
      }
      scope.out().printf("imported %d records%n", stored);
    }

    private Entry next(RecordReader records) {
      try {
        return records.next();
      } catch (IOException | Failure | KvStoreException failure) {
        storeBatch(records);
        throw stopped(records, failure);
      }
    }

    private void add(Entry entry, RecordReader records) {
      batch.add(entry);
      batchBytes += entry.getKey().length() + entry.getValue().getPayloadSize();
      if (batch.size() == BATCH_RECORDS || batchBytes >= BATCH_BYTES) {
        storeBatch(records);
      }
    }

    private void storeBatch(RecordReader records) {
      try {
        store.putBatch(batch);
      } catch (KvStoreException failure) {
        throw stopped(records, failure);
      }
      stored += batch.size();
      batch.clear();
      batchBytes = 0;
      bar.update(in.bytesRead, stored);
    }

    private Failure stopped(RecordReader records, Exception failure) {
      boolean badText = failure instanceof CharacterCodingException;
      String where = records == null ? "" : (badText ? " after line " : ", line ") + records.line();
      String why = badText ? "this is not UTF-8" : failure.getMessage();
      return new Failure(file + where + ": " + why + "; " + stored + " records were imported before");
    }
  }

  /** The bytes of the file, counted, and the text in them. */
  private static final class Input extends FilterInputStream {
    private long bytesRead;

    Input(InputStream in) {
      super(in);
    }

    /** What is not UTF-8 is an error here, not a replacement character; a byte order mark is skipped. */
    BufferedReader text() throws IOException {
      BufferedReader text = new BufferedReader(new InputStreamReader(this, StandardCharsets.UTF_8.newDecoder()));
      text.mark(1);
      if (text.read() != '\uFEFF') {
        text.reset();
      }
      return text;
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
      int count = super.read(buffer, offset, length);
      bytesRead += Math.max(count, 0);
      return count;
    }
  }
}
