package kora.data.distributed.common;

import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.Arguments;

/** A key and its value. Immutable. */
public final class Entry {
  // Native code makes entries through the empty constructor and sets both fields by name.
  private String key;
  private Value value;

  private Entry() {}

  /**
   * Joins a key and a value.
   *
   * @param key not empty
   * @param value the value
   */
  public Entry(String key, Value value) {
    this.key = Keys.check(key);
    this.value = Arguments.notNull(value, "value");
  }

  /**
   * The key.
   *
   * @return the key
   */
  public String getKey() {
    return key;
  }

  /**
   * The value.
   *
   * @return the value
   */
  public Value getValue() {
    return value;
  }

  @Override
  public boolean equals(Object other) {
    return other instanceof Entry && key.equals(((Entry) other).key) && value.equals(((Entry) other).value);
  }

  @Override
  public int hashCode() {
    return 31 * key.hashCode() + value.hashCode();
  }

  @Override
  public String toString() {
    return key + ": " + value;
  }
}
