package kora.bench;

import java.util.List;

/**
 * A store as a Java program wants it: text keys in the order of their bytes, and values with a type. What is
 * answered are objects of the program's own, complete and free of the store.
 */
public interface Store extends AutoCloseable {
  void put(String key, byte[] payload) throws Exception;

  /** The value, or null. */
  Object get(String key) throws Exception;

  /** Writes all keys or none. */
  void putBatch(String[] keys, byte[] payload) throws Exception;

  /** The entries whose keys begin so. */
  List<?> list(String prefix) throws Exception;

  /** Walks over all entries, each of them made an object, and answers their number. */
  long walk() throws Exception;

  /** Reads and writes each key, all in one transaction. */
  void transact(String[] keys, byte[] payload) throws Exception;

  /** Reads a key from a snapshot that is taken for it. */
  Object snapshotGet(String key) throws Exception;

  @Override
  void close() throws Exception;
}
