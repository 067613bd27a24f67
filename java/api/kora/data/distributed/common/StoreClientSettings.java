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
    private static final Duration MAX_TIME = Duration.ofDays(366);

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
      return set("home", absolute(folder, "home"));
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
      return set("encryption.key.file", absolute(file, "key file"));
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
     * The nodes of the hub, an etcd cluster at which devices meet that keep stores in step; {@code docs/etcd.md}
     * says how to run one. Default: the environment variable KORA_DATA_ENDPOINTS, else none, and this device works
     * alone.
     *
     * @param endpoints {@code host:port} of 1 to 16 nodes; {@code https://} in front of each turns TLS on
     * @return this builder
     */
    public Builder clusterEndpoints(String... endpoints) {
      for (String endpoint : Arguments.notNull(endpoints, "array of endpoints")) {
        Arguments.notNull(endpoint, "endpoint");
      }
      return set("cluster.endpoints", String.join(",", endpoints));
    }

    /**
     * Who may vouch for the hub; this turns TLS on. Default: the environment variable KORA_DATA_CLUSTER_CA, else
     * those whom the system trusts.
     *
     * @param file certificates in PEM
     * @return this builder
     */
    public Builder clusterCa(Path file) {
      return set("cluster.ca", absolute(file, "file of certificates"));
    }

    /**
     * Who may vouch for the hub, as {@link #clusterCa(Path)}.
     *
     * @param pem certificates in PEM
     * @return this builder
     */
    public Builder clusterCa(String pem) {
      return set("cluster.ca", Arguments.notNull(pem, "text of certificates"));
    }

    /**
     * The certificate by which this device shows the hub who it is, for a hub that asks for one; this turns TLS on.
     * Default: the environment variables KORA_DATA_CLUSTER_CERTIFICATE and KORA_DATA_CLUSTER_KEY, else none.
     *
     * @param certificate the certificate, in PEM
     * @param key its private key, in PEM
     * @return this builder
     */
    public Builder clusterCertificate(Path certificate, Path key) {
      return set("cluster.certificate", absolute(certificate, "file of the certificate"))
          .set("cluster.key", absolute(key, "file of the key"));
    }

    /**
     * The certificate of this device, as {@link #clusterCertificate(Path, Path)}.
     *
     * @param certificatePem the certificate, in PEM
     * @param keyPem its private key, in PEM
     * @return this builder
     */
    public Builder clusterCertificate(String certificatePem, String keyPem) {
      return set("cluster.certificate", Arguments.notNull(certificatePem, "text of the certificate"))
          .set("cluster.key", Arguments.notNull(keyPem, "text of the key"));
    }

    /**
     * The name that the hub's certificate has to bear. Default: the environment variable
     * KORA_DATA_CLUSTER_SERVER_NAME, else the host in the endpoint.
     *
     * @param host a host name
     * @return this builder
     */
    public Builder clusterServerName(String host) {
      return set("cluster.server.name", Arguments.notNull(host, "server name"));
    }

    /**
     * As whom this device enters a hub that has users. Default: the environment variables KORA_DATA_CLUSTER_USER and
     * KORA_DATA_CLUSTER_PASSWORD, else nobody.
     *
     * <p>The password is a String, since the store client keeps it in memory for as long as the process runs, to
     * enter again after each loss of the hub: an array that the program wipes would protect nothing.
     *
     * @param name the user, 1 to 128 bytes in UTF-8
     * @param password the password, 1 to 1,024 bytes in UTF-8; without TLS it crosses the network in the clear
     * @return this builder
     */
    public Builder clusterUser(String name, String password) {
      settings.remove("cluster.password.file");
      return set("cluster.user", Arguments.notNull(name, "user"))
          .set("cluster.password", Arguments.notNull(password, "password"));
    }

    /**
     * As whom this device enters a hub that has users, with a password that stays out of the program.
     *
     * @param name the user, 1 to 128 bytes in UTF-8
     * @param passwordFile the password and nothing else; an end of line behind it does not count
     * @return this builder
     */
    public Builder clusterUser(String name, Path passwordFile) {
      settings.remove("cluster.password");
      return set("cluster.user", Arguments.notNull(name, "user"))
          .set("cluster.password.file", absolute(passwordFile, "password file"));
    }

    /**
     * What the keys on the hub begin with; devices of different name spaces do not meet. Default: the environment
     * variable KORA_DATA_CLUSTER_NAMESPACE, else "kora-data".
     *
     * @param name 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
     * @return this builder
     */
    public Builder clusterNamespace(String name) {
      return set("cluster.namespace", Arguments.notNull(name, "name space"));
    }

    /**
     * After how long a silence this device counts as gone for the others. Default: the environment variable
     * KORA_DATA_CLUSTER_LEASE (milliseconds), else 10 seconds.
     *
     * @param time 2 seconds to an hour; the hub counts whole seconds
     * @return this builder
     */
    public Builder clusterLease(Duration time) {
      return set("cluster.lease", millis(time, "lease time"));
    }

    /**
     * How long a request to the hub may take before another node is asked. Default: the environment variable
     * KORA_DATA_CLUSTER_TIMEOUT (milliseconds), else 1 second.
     *
     * @param time 100 milliseconds to a minute, in whole milliseconds
     * @return this builder
     */
    public Builder clusterTimeout(Duration time) {
      return set("cluster.timeout", millis(time, "time-out"));
    }

    /**
     * After how long a loss of the hub the death recipients are told, once for each loss; synchronisation goes on by
     * itself when the hub is back. Default: the environment variable KORA_DATA_CLUSTER_DEATH_AFTER (milliseconds),
     * else 1 minute.
     *
     * @param time 1 second to a day, in whole milliseconds, or 0 for never
     * @return this builder
     */
    public Builder clusterDeathAfter(Duration time) {
      return set("cluster.death.after", millis(time, "time until death"));
    }

    /**
     * The settings made so far.
     *
     * @return the settings
     */
    public StoreClientSettings build() {
      return new StoreClientSettings(settings);
    }

    private static String absolute(Path file, String name) {
      return Arguments.notNull(file, name).toAbsolutePath().toString();
    }

    /** A part of a millisecond counts as a whole: 0 may have a meaning of its own. */
    private static String millis(Duration time, String name) {
      boolean fits = Arguments.notNull(time, name).compareTo(Duration.ZERO) >= 0 && time.compareTo(MAX_TIME) <= 0;
      if (!fits) {
        throw Arguments.invalid("The " + name + " must be 0 to " + MAX_TIME + ": " + time + ".");
      }
      return Long.toString(time.plusNanos(999_999).toMillis());
    }

    private Builder set(String name, String value) {
      settings.put(name, value);
      return this;
    }
  }
}
