package kora.data.distributed.common;

import java.util.Collection;
import java.util.List;
import java.util.function.Supplier;

/**
 * Writes values by key, alone, in batches and in transactions.
 *
 * <p>A write has reached the store, as durably as {@link Durability} says, when its call returns. A value
 * takes up to 4 MiB as stored, a batch or transaction up to 64 MiB; the store client refuses more with
 * INVALID_ARGUMENT. {@code docs/errors.md} says what brings each error code about.
 */
public interface KvWriter {
  /**
   * Stores a value, in place of the one that the key may have.
   *
   * @param key not empty
   * @param value the value
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, READ_ONLY, EXCEED_MAX_ACCESS_RATE, DB_ERROR; in a store
   *     with a schema INVALID_FORMAT, INVALID_VALUE_FIELDS, INVALID_FIELD_TYPE, CONSTRAIN_VIOLATION
   */
  void put(String key, Value value);

  /**
   * Removes a key and its value; an absent key is no error.
   *
   * @param key not empty
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, READ_ONLY, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  void delete(String key);

  /**
   * Stores all entries or, on failure, none. When a key occurs several times, its last value counts.
   *
   * <p>The batch crosses to native code in one call, however large it is. While it does, an entry takes about 300
   * bytes of native memory on top of its key and value, so batches of some thousand entries are the best trade.
   *
   * @param entries the entries; none must be null
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  void putBatch(List<Entry> entries);

  /**
   * Removes all keys or, on failure, none; absent keys are no error.
   *
   * @param keys the keys; none must be null or empty
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, READ_ONLY, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  void deleteBatch(Collection<String> keys);

  /**
   * Begins a transaction. It takes in all that any thread does with the store, through whatever object, until
   * {@link #commit} or {@link #rollback}; reads see what it wrote. What comes from other devices meanwhile is
   * seen where the transaction has not written itself; its writes count as made when it is committed, so they
   * win over that. A store that is closed meanwhile rolls it back.
   *
   * <p>A write that fails halfway, as when the disk can't be read, leaves only {@link #rollback}: until then
   * all else answers DB_ERROR. What is refused, such as a value that is too large, changes nothing.
   *
   * @throws KvStoreException DEFAULT_DB_ERROR if one is open already; STORE_NOT_OPEN, READ_ONLY,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  void startTransaction();

  /**
   * Makes the transaction's writes permanent, all at once.
   *
   * @throws KvStoreException DEFAULT_DB_ERROR if none is open; STORE_NOT_OPEN, DB_ERROR
   */
  void commit();

  /**
   * Drops the transaction's writes.
   *
   * @throws KvStoreException DEFAULT_DB_ERROR if none is open; STORE_NOT_OPEN, DB_ERROR
   */
  void rollback();

  /**
   * Runs an action in a transaction: commits when it returns, rolls back when it throws.
   *
   * @param action what to do; what it throws reaches the caller
   * @throws KvStoreException as {@link #startTransaction} and {@link #commit} throw it
   */
  default void transaction(Runnable action) {
    if (action == null) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_ARGUMENT, "The action is null.");
    }
    transaction(() -> {
      action.run();
      return null;
    });
  }

  /**
   * Runs an action with a result in a transaction: commits when it returns, rolls back when it throws.
   *
   * @param <T> the type of the result
   * @param action what to do; what it throws reaches the caller
   * @return what the action returned
   * @throws KvStoreException as {@link #startTransaction} and {@link #commit} throw it
   */
  default <T> T transaction(Supplier<T> action) {
    if (action == null) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_ARGUMENT, "The action is null.");
    }
    startTransaction();
    try {
      T result = action.get();
      commit();
      return result;
    } catch (Throwable failure) {
      try {
        rollback();
      } catch (KvStoreException rollbackFailure) {
        failure.addSuppressed(rollbackFailure);
      }
      throw failure;
    }
  }

  /**
   * Stores a text.
   *
   * @param key not empty
   * @param text any string
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putString(String key, String text) {
    put(key, Value.ofString(text));
  }

  /**
   * Stores a 32-bit integer.
   *
   * @param key not empty
   * @param number any
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putInt(String key, int number) {
    put(key, Value.ofInt(number));
  }

  /**
   * Stores a 64-bit integer.
   *
   * @param key not empty
   * @param number any
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putLong(String key, long number) {
    put(key, Value.ofLong(number));
  }

  /**
   * Stores a 32-bit floating point number.
   *
   * @param key not empty
   * @param number any
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putFloat(String key, float number) {
    put(key, Value.ofFloat(number));
  }

  /**
   * Stores a 64-bit floating point number.
   *
   * @param key not empty
   * @param number any
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putDouble(String key, double number) {
    put(key, Value.ofDouble(number));
  }

  /**
   * Stores a truth value.
   *
   * @param key not empty
   * @param truth any
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putBoolean(String key, boolean truth) {
    put(key, Value.ofBoolean(truth));
  }

  /**
   * Stores bytes of any meaning.
   *
   * @param key not empty
   * @param bytes copied; may be empty
   * @throws KvStoreException as {@link #put(String, Value)}
   */
  default void putBytes(String key, byte[] bytes) {
    put(key, Value.ofBytes(bytes));
  }
}
