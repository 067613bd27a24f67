package kora.data.distributed.common;

import kora.data.distributed.user.KvStoreSnapshot;

/**
 * Is told of the changes of a store.
 *
 * <p>Called on a callback thread: one call at a time for each store, in the order of the commits, soon after
 * the commit. An observer that takes long holds up the others; one that takes very long loses the oldest of
 * its notifications. What it throws goes to the uncaught exception handler of the thread. It may call the
 * store, also to unsubscribe itself or to close it.
 */
@FunctionalInterface
public interface KvStoreObserver {
  /**
   * The store has changed.
   *
   * @param notification what has changed
   */
  void onChange(ChangeNotification notification);

  /**
   * A multi-version store has changed. This form closes the snapshot and calls {@link
   * #onChange(ChangeNotification)}.
   *
   * @param notification what has changed
   * @param snapshot the store as it was right after the change; it belongs to the observer, which
   *     closes it; if this throws, it is closed
   */
  default void onChange(ChangeNotification notification, KvStoreSnapshot snapshot) {
    snapshot.close();
    onChange(notification);
  }
}
