package kora.bench;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.ThreadLocalRandom;
import java.util.concurrent.TimeUnit;
import org.openjdk.jmh.annotations.Benchmark;
import org.openjdk.jmh.annotations.BenchmarkMode;
import org.openjdk.jmh.annotations.Mode;
import org.openjdk.jmh.annotations.OutputTimeUnit;
import org.openjdk.jmh.annotations.Scope;
import org.openjdk.jmh.annotations.Setup;
import org.openjdk.jmh.annotations.State;
import org.openjdk.jmh.annotations.TearDown;

/** What is measured of stores that look into documents: nanoseconds a query. */
@BenchmarkMode(Mode.AverageTime)
@OutputTimeUnit(TimeUnit.NANOSECONDS)
public class Queries {
  /** A store in a folder of its own. */
  @State(Scope.Benchmark)
  public static class Filled extends Parameters {
    private Path folder;
    Documents documents;

    @Setup
    public void open() throws Exception {
      folder = Files.createTempDirectory(Path.of(System.getProperty("bench.data")), "documents-");
      String name = store.substring(0, 1).toUpperCase(Locale.ROOT) + store.substring(1);
      documents = (Documents) Class.forName("kora.bench." + name + "Documents").getConstructor(Path.class)
          .newInstance(folder);
      documents.fill(entries);
    }

    @TearDown
    public void close() throws Exception {
      documents.close();
      Data.delete(folder);
    }
  }

  @Benchmark
  public List<?> query(Filled state) throws Exception {
    int groups = state.entries / Documents.OF_A_GROUP;
    List<?> found = state.documents.find(ThreadLocalRandom.current().nextInt(groups));
    if (found.size() != Documents.OF_A_GROUP) {
      throw new IllegalStateException("found " + found.size() + " documents of " + Documents.OF_A_GROUP);
    }
    return found;
  }
}
