package kora.data.distributed.common;

/** Why an operation failed. */
public enum KvStoreErrorCode {
  /** An argument is null, malformed or outside its limits. */
  INVALID_ARGUMENT("An argument is null, malformed or outside its limits."),
  /** The store, snapshot, result set or manager has been closed. */
  STORE_NOT_OPEN("The store is not open."),
  /** No store has this identifier. */
  STORE_NOT_FOUND("There is no store of this name."),
  /** The observer is subscribed to this store already. */
  STORE_ALREADY_SUBSCRIBE("The observer is subscribed already."),
  /** The observer is not subscribed to this store. */
  STORE_NOT_SUBSCRIBE("The observer is not subscribed."),
  /** No value is stored under the key. */
  KEY_NOT_FOUND("No value is stored under this key."),
  /** The database below the store failed: disk full, no permission, in use by another process, damaged. */
  DB_ERROR("The database failed; the log of the store client says why."),
  /** A failure that has no code of its own. */
  DEFAULT_DB_ERROR("The store client refused or failed; its log says why."),
  /** The store client does not offer this operation or option. */
  NOT_SUPPORT("The store client does not support this."),
  /** The schema differs from the one that the store was created with. */
  SCHEMA_MISMATCH("The schema differs from the one that the store was created with."),
  /** The schema is malformed. */
  INVALID_SCHEMA("The schema is malformed."),
  /** The store can only be read. */
  READ_ONLY("The store can only be read."),
  /** The value has other fields than the schema. */
  INVALID_VALUE_FIELDS("The value has other fields than the schema."),
  /** A field of the value has another type than in the schema. */
  INVALID_FIELD_TYPE("A field of the value has another type than in the schema."),
  /** The value breaks a constraint of the schema. */
  CONSTRAIN_VIOLATION("The value breaks a constraint of the schema."),
  /** The value is not of the expected type or form. */
  INVALID_FORMAT("The value is not of the expected form."),
  /** The query text is malformed. */
  INVALID_QUERY_FORMAT("The query is malformed."),
  /** The query names a field that the schema does not have. */
  INVALID_QUERY_FIELD("The query names a field that the schema does not have."),
  /** A damaged store was recovered from its backup; it can be opened again. */
  RECOVER_SUCCESS("The store was damaged and has been recovered from its backup; open it again."),
  /** A damaged store could not be recovered. */
  RECOVER_FAILED("The store is damaged and could not be recovered."),
  /** Too many calls in too short a time. */
  EXCEED_MAX_ACCESS_RATE("Too many calls in too short a time."),
  /** The security level differs from the one that the store was created with. */
  SECURITY_LEVEL_ERROR("The security level differs from the one that the store was created with.");

  private final String description;

  KvStoreErrorCode(String description) {
    this.description = description;
  }

  /**
   * What the code means, as a sentence.
   *
   * @return the text that an exception without a text of its own carries
   */
  public String getDescription() {
    return description;
  }
}
