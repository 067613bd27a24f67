package kora.data.distributed.common;

import java.util.Iterator;
import java.util.Spliterator;
import java.util.Spliterators;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;

/**
 * A cursor over the entries of a single store, as they were when it was opened. It begins before the first
 * entry. Several threads may use it, but share its one position.
 *
 * <p>As an {@link Iterable} and as a {@link #stream} it shows all entries in their order:
 *
 * <pre>{@code
 * try (KvStoreResultSet entries = store.getResultSet("user/")) {
 *   for (Entry entry : entries) {
 *     System.out.println(entry.getKey());
 *   }
 * }
 * }</pre>
 */
public interface KvStoreResultSet extends AutoCloseable, Iterable<Entry> {
  /**
   * The number of entries.
   *
   * @return the number
   * @throws KvStoreException STORE_NOT_OPEN
   */
  int getCount();

  /**
   * The position.
   *
   * @return 0 for the first entry, -1 before it, {@link #getCount} after the last
   * @throws KvStoreException STORE_NOT_OPEN
   */
  int getPosition();

  /**
   * Moves to the first entry.
   *
   * @return false if there is none
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean moveToFirst();

  /**
   * Moves to the last entry.
   *
   * @return false if there is none
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean moveToLast();

  /**
   * Moves to the next entry.
   *
   * @return false if there is none; the position is then after the last
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean moveToNext();

  /**
   * Moves to the previous entry.
   *
   * @return false if there is none; the position is then before the first
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean moveToPrevious();

  /**
   * Moves by a number of entries.
   *
   * @param offset how many; negative to move towards the beginning
   * @return whether there is an entry at the new position
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean move(int offset);

  /**
   * Moves to a position.
   *
   * @param position 0 for the first entry
   * @return whether there is an entry at the position
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean moveToPosition(int position);

  /**
   * Whether this is the first entry.
   *
   * @return whether it is
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean isFirst();

  /**
   * Whether this is the last entry.
   *
   * @return whether it is
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean isLast();

  /**
   * Whether the position is before the first entry.
   *
   * @return whether it is
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean isBeforeFirst();

  /**
   * Whether the position is after the last entry.
   *
   * @return whether it is
   * @throws KvStoreException STORE_NOT_OPEN
   */
  boolean isAfterLast();

  /**
   * The entry at the position.
   *
   * @return the entry
   * @throws KvStoreException KEY_NOT_FOUND (there is no entry at the position), STORE_NOT_OPEN, DB_ERROR
   */
  Entry getEntry();

  /**
   * All entries from the first, wherever the position is. Each is read when it is asked for, which moves the
   * position to it; the iterator itself keeps its own place, so it goes on rightly whatever moves the position
   * meanwhile. Its {@code next} throws what {@link #getEntry} throws.
   *
   * @throws KvStoreException STORE_NOT_OPEN
   */
  @Override
  Iterator<Entry> iterator();

  /**
   * As {@link #iterator}; knows how many entries are left.
   *
   * @throws KvStoreException STORE_NOT_OPEN
   */
  @Override
  default Spliterator<Entry> spliterator() {
    return Spliterators.spliterator(
        iterator(), getCount(), Spliterator.ORDERED | Spliterator.IMMUTABLE | Spliterator.NONNULL);
  }

  /**
   * All entries from the first, in their order; each is read when the stream needs it, as by {@link #iterator}.
   * Closing the stream closes this result set, so a program that needs nothing else may hold the stream alone:
   * {@code try (Stream<Entry> entries = store.getResultSet(prefix).stream())}.
   *
   * @return the stream
   * @throws KvStoreException STORE_NOT_OPEN
   */
  default Stream<Entry> stream() {
    return StreamSupport.stream(spliterator(), false).onClose(this::close);
  }

  /** Closes the result set, as closing its store does. Closing again does nothing. */
  @Override
  void close();
}
