package kora.data.distributed.common;

/**
 * An open store. The same store may be opened several times; each object is closed on its own.
 *
 * <p>A store that is no longer reachable and has no subscriptions is closed in the end, with a warning that
 * says where it was opened; programs should not wait for that.
 */
public interface KvStore extends AutoCloseable {
  /**
   * The name of the store within its application.
   *
   * @return the identifier, also when the store is closed
   */
  String getStoreId();

  /**
   * Closes the store: first its snapshots and result sets, then itself, once the calls that are in progress
   * on other threads have returned. Subscriptions end. Closing again does nothing. Called from an observer,
   * it does not wait: the last call in progress then closes the store.
   *
   * @throws KvStoreException DB_ERROR if the store client fails; the store can't be used any more all the
   *     same
   */
  @Override
  void close();
}
