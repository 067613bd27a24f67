package kora.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.ThreadLocalRandom;
import java.util.concurrent.TimeUnit;
import org.openjdk.jmh.annotations.Benchmark;
import org.openjdk.jmh.annotations.BenchmarkMode;
import org.openjdk.jmh.annotations.Mode;
import org.openjdk.jmh.annotations.OperationsPerInvocation;
import org.openjdk.jmh.annotations.OutputTimeUnit;
import org.openjdk.jmh.annotations.Scope;
import org.openjdk.jmh.annotations.Setup;
import org.openjdk.jmh.annotations.State;
import org.openjdk.jmh.annotations.TearDown;

/** What is measured of each store: nanoseconds an operation, or an entry where an operation has many. */
@BenchmarkMode(Mode.AverageTime)
@OutputTimeUnit(TimeUnit.NANOSECONDS)
public class Operations {
  /** A store with its records. */
  @State(Scope.Benchmark)
  public static class Filled extends Parameters {
    private static final int PAYLOADS = 256;

    Store opened;
    private final byte[][] payloads = new byte[PAYLOADS][];

    @Setup
    public void open() throws Exception {
      for (int i = 0; i < PAYLOADS; ++i) {
        payloads[i] = Data.payload(valueSize, i);
      }
      opened = Driver.of(store).open(folder(), durability());
    }

    Driver.Durability durability() {
      return Driver.Durability.PROCESS;
    }

    /** Reads leave the records as they are. */
    Path folder() throws IOException {
      return Data.prepared(store, entries, valueSize);
    }

    @TearDown
    public void close() throws Exception {
      opened.close();
      discard();
    }

    void discard() throws IOException {}

    /** Another one than the record has, as a rule: writing what is there already costs some stores nothing. */
    byte[] randomPayload() {
      return payloads[ThreadLocalRandom.current().nextInt(PAYLOADS)];
    }

    String randomKey() {
      return Data.key(ThreadLocalRandom.current().nextInt(entries));
    }

    String[] randomKeys(int count) {
      String[] keys = new String[count];
      for (int i = 0; i < count; ++i) {
        keys[i] = randomKey();
      }
      return keys;
    }
  }

  /** The same in a folder of its own. */
  @State(Scope.Benchmark)
  public static class Copied extends Filled {
    Path copy;

    @Override
    Path folder() throws IOException {
      Path prepared = super.folder();
      copy = Files.createTempDirectory(prepared.getParent(), "copy-");
      Data.delete(copy);
      Data.copy(prepared, copy);
      return copy;
    }

    @Override
    void discard() throws IOException {
      Data.delete(copy);
    }
  }

  /** The same, each commit waiting for the disk. */
  @State(Scope.Benchmark)
  public static class Safe extends Copied {
    @Override
    Driver.Durability durability() {
      return Driver.Durability.POWER;
    }
  }

  @Benchmark
  public Object get(Filled state) throws Exception {
    return state.opened.get(state.randomKey());
  }

  @Benchmark
  public Object absentGet(Filled state) throws Exception {
    return state.opened.get(Data.absentKey(ThreadLocalRandom.current().nextInt(state.entries)));
  }

  @Benchmark
  public Object snapshot(Filled state) throws Exception {
    return state.opened.snapshotGet(state.randomKey());
  }

  @Benchmark
  @OperationsPerInvocation(Data.GROUP)
  public Object list(Filled state) throws Exception {
    return state.opened.list(Data.prefix(ThreadLocalRandom.current().nextInt(state.entries / Data.GROUP)));
  }

  /** Over all entries; divided by their number later. */
  @Benchmark
  public long walk(Filled state) throws Exception {
    long count = state.opened.walk();
    if (count != state.entries) {
      throw new IllegalStateException("walked over " + count + " entries of " + state.entries);
    }
    return count;
  }

  @Benchmark
  public void put(Copied state) throws Exception {
    state.opened.put(state.randomKey(), state.randomPayload());
  }

  @Benchmark
  public void safePut(Safe state) throws Exception {
    state.opened.put(state.randomKey(), state.randomPayload());
  }

  @Benchmark
  @OperationsPerInvocation(Data.GROUP)
  public void batch(Copied state) throws Exception {
    state.opened.putBatch(state.randomKeys(Data.GROUP), state.randomPayload());
  }

  @Benchmark
  public void transaction(Copied state) throws Exception {
    state.opened.transact(state.randomKeys(10), state.randomPayload());
  }

  /** What making a random key takes, which every figure of a single operation includes. */
  @Benchmark
  public Object key(Parameters state) {
    return Data.key(ThreadLocalRandom.current().nextInt(state.entries));
  }
}
