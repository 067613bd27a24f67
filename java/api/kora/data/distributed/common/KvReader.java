package kora.data.distributed.common;

import java.util.List;
import java.util.Optional;
import java.util.OptionalDouble;
import java.util.OptionalInt;
import java.util.OptionalLong;

/**
 * Reads values by key.
 *
 * <p>Each read comes in two forms: {@code get} throws KEY_NOT_FOUND for an absent key, {@code find} answers
 * with an empty optional. The reads of one type throw INVALID_FORMAT when the value is of another type. Only a store
 * throws EXCEED_MAX_ACCESS_RATE; what it handed out is read at any rate.
 */
public interface KvReader {
  /**
   * The value of a key, if there is one.
   *
   * @param key not empty
   * @return the value, or empty if the key is absent
   * @throws KvStoreException STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  Optional<Value> find(String key);

  /**
   * All entries whose keys begin with a prefix. They are read at once: a long list takes memory accordingly.
   *
   * @param prefix the beginning of the keys; empty for all entries
   * @return the entries in the order of their keys' bytes, in a list that can't be changed
   * @throws KvStoreException STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  List<Entry> getEntries(String prefix);

  /**
   * Whether a key has a value.
   *
   * @param key not empty
   * @return whether there is one
   * @throws KvStoreException STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default boolean contains(String key) {
    return find(key).isPresent();
  }

  /**
   * The value of a key.
   *
   * @param key not empty
   * @return the value
   * @throws KvStoreException KEY_NOT_FOUND, STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default Value get(String key) {
    return find(key).orElseThrow(() ->
        new KvStoreException(KvStoreErrorCode.KEY_NOT_FOUND, "No value is stored under '" + key + "'."));
  }

  /**
   * The text stored under a key.
   *
   * @param key not empty
   * @return the text
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default String getString(String key) {
    return get(key).asString();
  }

  /**
   * The number stored under a key.
   *
   * @param key not empty
   * @return the number
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default int getInt(String key) {
    return get(key).asInt();
  }

  /**
   * The number stored under a key.
   *
   * @param key not empty
   * @return the number
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default long getLong(String key) {
    return get(key).asLong();
  }

  /**
   * The number stored under a key.
   *
   * @param key not empty
   * @return the number
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default float getFloat(String key) {
    return get(key).asFloat();
  }

  /**
   * The number stored under a key.
   *
   * @param key not empty
   * @return the number
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default double getDouble(String key) {
    return get(key).asDouble();
  }

  /**
   * The truth value stored under a key.
   *
   * @param key not empty
   * @return the truth value
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default boolean getBoolean(String key) {
    return get(key).asBoolean();
  }

  /**
   * The bytes stored under a key.
   *
   * @param key not empty
   * @return the bytes
   * @throws KvStoreException KEY_NOT_FOUND, INVALID_FORMAT (another type), STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default byte[] getBytes(String key) {
    return get(key).asBytes();
  }

  /**
   * The text stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the text, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default Optional<String> findString(String key) {
    return find(key).map(Value::asString);
  }

  /**
   * The number stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the number, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default OptionalInt findInt(String key) {
    Optional<Value> value = find(key);
    return value.isPresent() ? OptionalInt.of(value.get().asInt()) : OptionalInt.empty();
  }

  /**
   * The number stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the number, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default OptionalLong findLong(String key) {
    Optional<Value> value = find(key);
    return value.isPresent() ? OptionalLong.of(value.get().asLong()) : OptionalLong.empty();
  }

  /**
   * The number stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the number, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default Optional<Float> findFloat(String key) {
    return find(key).map(Value::asFloat);
  }

  /**
   * The number stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the number, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default OptionalDouble findDouble(String key) {
    Optional<Value> value = find(key);
    return value.isPresent() ? OptionalDouble.of(value.get().asDouble()) : OptionalDouble.empty();
  }

  /**
   * The truth value stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the truth value, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default Optional<Boolean> findBoolean(String key) {
    return find(key).map(Value::asBoolean);
  }

  /**
   * The bytes stored under a key, if there is a value.
   *
   * @param key not empty
   * @return the bytes, or empty if the key is absent
   * @throws KvStoreException INVALID_FORMAT (another type), STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default Optional<byte[]> findBytes(String key) {
    return find(key).map(Value::asBytes);
  }
}
