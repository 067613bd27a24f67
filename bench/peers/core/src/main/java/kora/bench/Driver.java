package kora.bench;

import java.nio.file.Path;
import java.util.Locale;

/** A kind of store. The class is found by its name, since its library may be missing. */
public interface Driver {
  /** What a write is to survive. */
  enum Durability {
    /** The end of the process. */
    PROCESS,
    /** The loss of power. */
    POWER
  }

  /** Memory for caches and write buffers that each store may take, in bytes. */
  long MEMORY_BUDGET = 64L << 20;

  /** Loads the native library, where there is one. */
  void load() throws Exception;

  /** Opens or creates the store in a folder that is there. */
  Store open(Path folder, Durability durability) throws Exception;

  /** The driver of a store: {@code rocksdb} is {@code kora.bench.RocksdbDriver}. */
  static Driver of(String name) throws ReflectiveOperationException {
    String type = name.substring(0, 1).toUpperCase(Locale.ROOT) + name.substring(1);
    return (Driver) Class.forName("kora.bench." + type + "Driver").getDeclaredConstructor().newInstance();
  }
}
