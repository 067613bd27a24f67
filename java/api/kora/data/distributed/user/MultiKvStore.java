package kora.data.distributed.user;

import kora.data.distributed.common.KvStore;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvWriter;
import kora.data.distributed.common.Subscription;

/** A store that is read through snapshots. */
public interface MultiKvStore extends KvStore, KvWriter {
  /**
   * Removes all entries, all at once. Observers are told of each as deleted: in one change, or outside a
   * transaction in several, one after the other, where there are more than 10,000 entries or 8 MiB; each of
   * these comes with the snapshot of the empty store.
   *
   * @throws KvStoreException STORE_NOT_OPEN, READ_ONLY, EXCEED_MAX_ACCESS_RATE, DB_ERROR; INVALID_ARGUMENT if there are
   *     too many for the open transaction
   */
  void clear();

  /**
   * The store as it is now, to read from; with an open transaction, as that has changed it.
   *
   * @return the snapshot; the caller closes it
   * @throws KvStoreException STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  KvStoreSnapshot snapshot();

  /**
   * Has an observer told of all changes, local and remote, each with a snapshot taken right after it. The
   * subscription keeps this store open until it is closed.
   *
   * @param observer the observer; it can be subscribed once to each store object
   * @return ends the subscription when closed
   * @throws KvStoreException STORE_ALREADY_SUBSCRIBE, STORE_NOT_OPEN
   */
  Subscription subscribe(KvStoreObserver observer);

  /**
   * Ends an observer's subscription.
   *
   * @param observer the same object as in {@link #subscribe}
   * @throws KvStoreException STORE_NOT_SUBSCRIBE, STORE_NOT_OPEN
   */
  void unsubscribe(KvStoreObserver observer);
}
