package kora.data.distributed.common;

import kora.data.distributed.internal.Arguments;

/**
 * How a store is opened. Immutable.
 *
 * <p>An option that the store client does not offer makes opening fail with NOT_SUPPORT; it is never ignored.
 */
public final class Options {
  private static final Options DEFAULTS = builder().build();

  private final boolean createIfMissing;
  private final boolean encrypt;
  private final boolean backup;
  private final boolean autoSync;
  private final SecurityLevel securityLevel;
  private final Schema schema;
  private final KvStoreType kvStoreType;

  private Options(Builder builder) {
    createIfMissing = builder.createIfMissing;
    encrypt = builder.encrypt;
    backup = builder.backup;
    autoSync = builder.autoSync;
    securityLevel = builder.securityLevel;
    schema = builder.schema;
    kvStoreType = KvStoreType.SINGLE_VERSION;
  }

  private Options(Options other, KvStoreType type) {
    createIfMissing = other.createIfMissing;
    encrypt = other.encrypt;
    backup = other.backup;
    autoSync = other.autoSync;
    securityLevel = other.securityLevel;
    schema = other.schema;
    kvStoreType = type;
  }

  /**
   * The options of a store that is opened without any: created if missing, all else off.
   *
   * @return the options
   */
  public static Options defaults() {
    return DEFAULTS;
  }

  /**
   * Starts from the defaults.
   *
   * @return a builder, for one thread
   */
  public static Builder builder() {
    return new Builder();
  }

  /**
   * Whether a store that does not exist is created; otherwise opening it fails with STORE_NOT_FOUND.
   *
   * @return the option
   */
  public boolean isCreateIfMissing() {
    return createIfMissing;
  }

  /**
   * Whether the store's files are encrypted.
   *
   * @return the option
   */
  public boolean isEncrypt() {
    return encrypt;
  }

  /**
   * Whether the store client keeps a backup of the store.
   *
   * @return the option
   */
  public boolean isBackup() {
    return backup;
  }

  /**
   * Whether changes are synchronised with other devices without being asked to.
   *
   * @return the option
   */
  public boolean isAutoSync() {
    return autoSync;
  }

  /**
   * How much harm the loss or disclosure of the data would do.
   *
   * @return the level
   */
  public SecurityLevel getSecurityLevel() {
    return securityLevel;
  }

  /**
   * The kind of store; opening sets it.
   *
   * @return the kind
   */
  public KvStoreType getKvStoreType() {
    return kvStoreType;
  }

  /**
   * The form that values must have.
   *
   * @return the schema, or null if values are free
   */
  public Schema getSchema() {
    return schema;
  }

  /**
   * A schema in binary form; this version knows none.
   *
   * @return null
   */
  public byte[] getBinarySchema() {
    return null;
  }

  /**
   * The kind of owner of the store, a number of the store client's; this version knows one.
   *
   * @return 0
   */
  public int getStoreOwnerType() {
    return 0;
  }

  /** These options for a store of this kind. */
  Options with(KvStoreType type) {
    return new Options(this, type);
  }

  /** Collects options; for one thread. */
  public static final class Builder {
    private boolean createIfMissing = true;
    private boolean encrypt;
    private boolean backup;
    private boolean autoSync;
    private SecurityLevel securityLevel = SecurityLevel.NO_LEVEL;
    private Schema schema;

    private Builder() {}

    /**
     * Whether to create a store that does not exist. Default: true.
     *
     * @param create the option
     * @return this builder
     */
    public Builder createIfMissing(boolean create) {
      createIfMissing = create;
      return this;
    }

    /**
     * Whether to encrypt the store's files. Default: false. A store stays as it was created; opening it the
     * other way fails with INVALID_ARGUMENT.
     *
     * @param encrypted the option
     * @return this builder
     */
    public Builder encrypt(boolean encrypted) {
      encrypt = encrypted;
      return this;
    }

    /**
     * Whether to keep backups of the store, from which a damaged one is recovered. Default: false. A backup is
     * made when the last handle is closed and every now and then in between, as
     * {@link StoreClientSettings.Builder#backupInterval} says, if something was written.
     *
     * @param backedUp the option
     * @return this builder
     */
    public Builder backup(boolean backedUp) {
      backup = backedUp;
      return this;
    }

    /**
     * Whether to synchronise changes without being asked to: what is committed here goes to the hub at once, and what
     * other devices bring there comes from it. Default: false; such a store is synchronised when it is asked to.
     *
     * @param automatic the option
     * @return this builder
     */
    public Builder autoSync(boolean automatic) {
      autoSync = automatic;
      return this;
    }

    /**
     * How much harm the loss or disclosure of the data would do. Default: NO_LEVEL. A store keeps the level
     * that it was created with; opening it with another one fails with SECURITY_LEVEL_ERROR.
     *
     * @param level the level
     * @return this builder
     */
    public Builder securityLevel(SecurityLevel level) {
      securityLevel = Arguments.notNull(level, "security level");
      return this;
    }

    /**
     * The form that values must have. Default: none.
     *
     * @param form the schema
     * @return this builder
     */
    public Builder schema(Schema form) {
      schema = Arguments.notNull(form, "schema");
      return this;
    }

    /**
     * The options collected so far.
     *
     * @return the options
     */
    public Options build() {
      return new Options(this);
    }
  }
}
