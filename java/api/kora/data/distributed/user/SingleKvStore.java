package kora.data.distributed.user;

import java.time.Duration;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.concurrent.CompletableFuture;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvReader;
import kora.data.distributed.common.KvStore;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.KvWriter;
import kora.data.distributed.common.Query;
import kora.data.distributed.common.SecurityLevel;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.SyncCallback;
import kora.data.distributed.common.SyncMode;
import kora.data.distributed.internal.Arguments;

/** A store with one value for each key. */
public interface SingleKvStore extends KvStore, KvReader, KvWriter {
  /**
   * Has an observer told of changes. The subscription keeps this store open until it is closed.
   *
   * @param type which changes
   * @param observer the observer; it can be subscribed once to each store object
   * @return ends the subscription when closed
   * @throws KvStoreException STORE_ALREADY_SUBSCRIBE, STORE_NOT_OPEN
   */
  Subscription subscribe(SubscribeType type, KvStoreObserver observer);

  /**
   * Ends an observer's subscription.
   *
   * @param observer the same object as in {@link #subscribe}
   * @throws KvStoreException STORE_NOT_SUBSCRIBE, STORE_NOT_OPEN
   */
  void unsubscribe(KvStoreObserver observer);

  /**
   * All entries that match a query.
   *
   * @param query the query text, as docs/query.md describes it
   * @return the entries, in a list that can't be changed
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  List<Entry> getEntriesWithQuery(String query);

  /**
   * All entries that match a query.
   *
   * @param query the query
   * @return the entries, in a list that can't be changed
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default List<Entry> getEntries(Query query) {
    return getEntriesWithQuery(Arguments.notNull(query, "query").toJson());
  }

  /**
   * The number of entries that a query delivers.
   *
   * @param query the query
   * @return the number
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default int getCount(Query query) {
    return getCountWithQuery(Arguments.notNull(query, "query").toJson());
  }

  /**
   * A cursor over all entries that match a query. It shows the store as it was when the cursor was opened.
   *
   * @param query the query
   * @return the result set; the caller closes it
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  default KvStoreResultSet getResultSet(Query query) {
    return getResultSetWithQuery(Arguments.notNull(query, "query").toJson());
  }

  /**
   * The number of entries that a query delivers.
   *
   * @param query the query text, as docs/query.md describes it
   * @return the number
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  int getCountWithQuery(String query);

  /**
   * A cursor over all entries whose keys begin with a prefix, in the order of their keys' bytes. It is opened by
   * walking over the keys once; after that it takes little memory, however many there are.
   *
   * @param prefix the beginning of the keys; empty for all entries
   * @return the result set; the caller closes it
   * @throws KvStoreException STORE_NOT_OPEN, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  KvStoreResultSet getResultSet(String prefix);

  /**
   * A cursor over all entries that match a query.
   *
   * @param query the query text, as docs/query.md describes it
   * @return the result set; the caller closes it
   * @throws KvStoreException INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, STORE_NOT_OPEN,
   *     EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  KvStoreResultSet getResultSetWithQuery(String query);

  /**
   * Synchronises with other devices, with the delay that the store has and a time-out of one minute.
   *
   * @param deviceIds the identifiers of the devices, at least one
   * @param mode the direction
   * @return as {@link #sync(Collection, SyncMode, Duration, Duration)}
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, DB_ERROR
   */
  default CompletableFuture<Map<String, Boolean>> sync(Collection<String> deviceIds, SyncMode mode) {
    return sync(deviceIds, mode, Duration.ZERO, Duration.ofMinutes(1));
  }

  /**
   * Synchronises with other devices, with the delay that the store has and a time-out of one minute.
   *
   * @param deviceIds the identifiers of the devices, at least one
   * @param mode the direction
   * @param callback is told of the outcome exactly once, never on the calling thread before this returns; where
   *     none came in time, or the store was closed first, all devices count as failed. It is called on the threads
   *     on which the future of the other form completes
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, DB_ERROR; the callback is not called then
   */
  void sync(Collection<String> deviceIds, SyncMode mode, SyncCallback callback);

  /**
   * Synchronises with other devices. That is done through the hub: with success, the hub has all that was to be
   * pushed, this store has all that the hub had, and the device is online, so that it has its part at once if it
   * synchronises without being asked. A device that is offline or unknown is a failure in the outcome, as all are
   * to a device without a hub; what was pushed waits for it on the hub all the same. The identifier of this device
   * stands for the hub alone; what fails there fails for each device. {@link kora.data.distributed.common.StoreClient#syncReasons} tells why.
   *
   * <p>The store client ends a synchronisation as failed when it can't reach the hub, or after ten minutes.
   *
   * <p>The future completes in any case: with the outcome, or exceptionally with a {@link
   * java.util.concurrent.TimeoutException}, also when the store client could not begin, or with a {@link
   * KvStoreException} when the store is closed first.
   *
   * <p>It completes with the outcome on the callback thread, on which observers are told as well; with the time-out
   * on a thread of Java's for all such futures; and when the store is closed, on the thread that closes it. So actions
   * that take long should follow with the {@code Async} methods of the future.
   *
   * @param deviceIds the identifiers of the devices, at least one
   * @param mode the direction
   * @param delay how long the store client waits, to put synchronisations together, in whole milliseconds; 0
   *     for the one of {@link #setAllowedSyncDelay}
   * @param timeout how long to wait for the outcome
   * @return for each device whether it succeeded
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, DB_ERROR (the store has failed)
   */
  CompletableFuture<Map<String, Boolean>> sync(
      Collection<String> deviceIds, SyncMode mode, Duration delay, Duration timeout);

  /**
   * Sets the delay of synchronisations that are begun without one. It is kept with the store; the default is 0.
   *
   * @param allowedDelay in whole milliseconds
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, READ_ONLY, DB_ERROR
   */
  void setAllowedSyncDelay(Duration allowedDelay);

  /**
   * Removes the records whose last value was written on a device; another device itself keeps them. Observers
   * are told as of any deletion, in several changes where there is much to remove. An identifier from which
   * nothing came removes nothing.
   *
   * <p>In a store that was ever synchronised, the records of another device are removed here alone and at once,
   * whether or not a transaction is open. They don't come again, until that device writes them anew. In a store
   * that never was, and for this device's own records, it is a deletion of these records like any other: in a
   * transaction it is part of it, and other devices delete them too.
   *
   * @param deviceId the identifier of the device; that of this device removes what was written here; not empty
   * @throws KvStoreException INVALID_ARGUMENT, STORE_NOT_OPEN, READ_ONLY, EXCEED_MAX_ACCESS_RATE, DB_ERROR
   */
  void removeDeviceData(String deviceId);

  /**
   * Turns on or off whether this device bears its labels, and takes by labels. It is kept with the store; the
   * default is off.
   *
   * @param enabled whether only data of devices is taken whose local labels have one in common with this
   *     device's remote labels; what was passed over is fetched when the rule changes
   * @throws KvStoreException DEFAULT_DB_ERROR if the store client refuses; STORE_NOT_OPEN
   */
  void setCapabilityEnabled(boolean enabled);

  /**
   * Sets the labels by which devices choose whose data they take. They are kept with the store and replace
   * earlier ones. There can be 64 of each kind, of 1 to 128 bytes in modified UTF-8.
   *
   * @param localLabels the labels of this device, by which others choose; it bears none while the choice is off
   * @param remoteLabels the labels of those whose data is taken
   * @throws KvStoreException DEFAULT_DB_ERROR if the store client refuses; INVALID_ARGUMENT, STORE_NOT_OPEN
   */
  void setCapabilityRange(Collection<String> localLabels, Collection<String> remoteLabels);

  /**
   * The security level that the store was created with.
   *
   * @return the level
   * @throws KvStoreException STORE_NOT_OPEN, DB_ERROR
   */
  SecurityLevel getSecurityLevel();
}
