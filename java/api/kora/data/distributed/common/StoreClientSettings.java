package kora.data.distributed.common;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import kora.data.distributed.internal.Arguments;

/** Settings for the store client of this process. Immutable; what is not set keeps its default. */
public final class StoreClientSettings {
  private final Map<String, String> settings;

  private StoreClientSettings(Map<String, String> settings) {
    this.settings = Map.copyOf(settings);
  }

  /**
   * Starts with nothing set.
   *
   * @return a builder, for one thread
   */
  public static Builder builder() {
    return new Builder();
  }

  /** Names and values by turns, in UTF-8. */
  byte[][] toBytes() {
    List<byte[]> bytes = new ArrayList<>();
    settings.forEach((name, value) -> {
      bytes.add(name.getBytes(StandardCharsets.UTF_8));
      bytes.add(value.getBytes(StandardCharsets.UTF_8));
    });
    return bytes.toArray(new byte[0][]);
  }

  /** Collects settings; for one thread. */
  public static final class Builder {
    private final Map<String, String> settings = new LinkedHashMap<>();

    private Builder() {}

    /**
     * The folder that holds all stores; it is created with the first one. Default: the environment variable
     * KORA_DATA_HOME, else kora-data in the user's data folder.
     *
     * @param folder the folder
     * @return this builder
     */
    public Builder home(Path folder) {
      return set("home", Arguments.notNull(folder, "home").toAbsolutePath().toString());
    }

    /**
     * What a write survives once its call has returned. Default: {@link Durability#PROCESS}.
     *
     * @param durability the choice
     * @return this builder
     */
    public Builder durability(Durability durability) {
      return set("durability", Arguments.notNull(durability, "durability").name().toLowerCase(Locale.ROOT));
    }

    /**
     * How much memory caches and write buffers of all stores take together. Default: 64 MiB.
     *
     * @param bytes the size in bytes, 8 MiB to 64 GiB
     * @return this builder
     */
    public Builder memoryBudget(long bytes) {
      return set("memory.budget", Long.toString(bytes));
    }

    /**
     * The file with the master key of encrypted stores: 64 hexadecimal digits. It is made, for this user alone,
     * with the first encrypted store. Default: the environment variable KORA_DATA_KEY_FILE, else .key in the
     * home folder.
     *
     * @param file the file
     * @return this builder
     */
    public Builder keyFile(Path file) {
      return set("encryption.key.file", Arguments.notNull(file, "key file").toAbsolutePath().toString());
    }

    /**
     * How often a store that was opened with {@link Options#isBackup backup} is backed up while it is open and
     * written to. Default: 15 minutes.
     *
     * @param interval 1 second to a day; parts of a second do not count
     * @return this builder
     */
    public Builder backupInterval(Duration interval) {
      return set("backup.interval", Long.toString(Arguments.notNull(interval, "interval").getSeconds()));
    }

    /**
     * Whether stores are only read: nothing is written to their folders, several processes may read the same
     * store, and what would write fails with READ_ONLY. Stores on a file system that lets nobody write are
     * opened so in any case. Default: false.
     *
     * @param only the choice
     * @return this builder
     */
    public Builder readOnly(boolean only) {
      return set("access", only ? "read-only" : "read-write");
    }

    /**
     * How many operations a store admits: calls that read or write records or begin a transaction, whatever
     * their size, counted over all threads of the process. Up to one second's operations may come at once;
     * beyond that calls fail with EXCEED_MAX_ACCESS_RATE. Default: no limit.
     *
     * @param operationsPerSecond 1 to 1,000,000, or 0 for no limit
     * @return this builder
     */
    public Builder rateLimit(int operationsPerSecond) {
      return set("rate.limit", Integer.toString(operationsPerSecond));
    }

    /**
     * The name by which other devices know this one. Default: the host's name.
     *
     * @param name the name, 1 to 128 bytes in UTF-8
     * @return this builder
     */
    public Builder deviceName(String name) {
      return set("device.name", Arguments.notNull(name, "device name"));
    }

    /**
     * What kind of device this is. Default: "unknown".
     *
     * @param type the type, 1 to 128 bytes in UTF-8
     * @return this builder
     */
    public Builder deviceType(String type) {
      return set("device.type", Arguments.notNull(type, "device type"));
    }

    /**
     * The settings made so far.
     *
     * @return the settings
     */
    public StoreClientSettings build() {
      return new StoreClientSettings(settings);
    }

    private Builder set(String name, String value) {
      settings.put(name, value);
      return this;
    }
  }
}
