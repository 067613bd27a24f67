package kora.data.distributed.common;

import java.util.List;
import kora.data.distributed.device.DeviceChangeCallback;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.device.DeviceInfo;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;

/**
 * Opens, lists and deletes the stores of one application.
 *
 * <p>A manager that is no longer reachable, and whose stores are not either, is closed in the end, with a
 * warning that says where it was created; programs should not wait for that.
 */
public interface KvManager extends AutoCloseable {
  /**
   * Opens a single store, which is created if it does not exist.
   *
   * @param storeId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @return the store; the caller closes it, or closing this manager does
   * @throws KvStoreException as {@link #openSingle(String, Options)}
   */
  default SingleKvStore openSingle(String storeId) {
    return openSingle(storeId, Options.defaults());
  }

  /**
   * Opens a single store.
   *
   * @param storeId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @param options how to open it
   * @return the store; the caller closes it, or closing this manager does
   * @throws KvStoreException INVALID_ARGUMENT (also if it is a store of the other kind, or was created with
   *     the other choice of encryption), STORE_NOT_FOUND (also where it would be created, but stores are
   *     only read), NOT_SUPPORT, SECURITY_LEVEL_ERROR, SCHEMA_MISMATCH, INVALID_SCHEMA, READ_ONLY (it would have to
   *     take over the schema, and may only be read), DB_ERROR (also if another process has it open, if another
   *     version has written it, or if it is damaged and may only be read or has no backups), STORE_NOT_OPEN (this
   *     manager is closed); RECOVER_SUCCESS (it was damaged and is as its backup has it; open it again),
   *     RECOVER_FAILED
   */
  SingleKvStore openSingle(String storeId, Options options);

  /**
   * Opens a multi-version store, which is created if it does not exist.
   *
   * @param storeId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @return the store; the caller closes it, or closing this manager does
   * @throws KvStoreException as {@link #openMulti(String, Options)}
   */
  default MultiKvStore openMulti(String storeId) {
    return openMulti(storeId, Options.defaults());
  }

  /**
   * Opens a multi-version store.
   *
   * @param storeId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @param options how to open it
   * @return the store; the caller closes it, or closing this manager does
   * @throws KvStoreException as {@link #openSingle(String, Options)}
   */
  MultiKvStore openMulti(String storeId, Options options);

  /**
   * Deletes a store and all its data.
   *
   * @param storeId the name of the store, which must not be open
   * @throws KvStoreException STORE_NOT_FOUND, INVALID_ARGUMENT, STORE_NOT_OPEN (this manager is closed),
   *     READ_ONLY, DB_ERROR; DEFAULT_DB_ERROR if the store is open
   */
  void deleteStore(String storeId);

  /**
   * The names of all stores of the application.
   *
   * @return the identifiers, in a list that can't be changed
   * @throws KvStoreException STORE_NOT_OPEN, DB_ERROR
   */
  List<String> storeIds();

  /**
   * This device. Its identifier is drawn at random once and kept in the folder of all stores; name and type
   * come from {@link StoreClientSettings}.
   *
   * @return the device
   * @throws KvStoreException DB_ERROR if the identifier can be neither read nor kept; STORE_NOT_OPEN
   */
  DeviceInfo localDevice();

  /**
   * The other devices, as the hub shows them: none, where no hub is configured ({@link
   * StoreClientSettings.Builder#clusterEndpoints}) or it was never reached. The first call may wait for the
   * hub, a few times as long as a request may take.
   *
   * @param strategy which of them
   * @return the devices, in a list that can't be changed
   * @throws KvStoreException STORE_NOT_OPEN
   */
  List<DeviceInfo> devices(DeviceFilterStrategy strategy);

  /**
   * Has a listener told when devices come and go. This joins them, unless an open store has done so.
   *
   * @param listener the listener; it can be registered once
   * @param strategy which devices
   * @return ends the registration when closed
   * @throws KvStoreException INVALID_ARGUMENT if it is registered already; STORE_NOT_OPEN
   */
  Subscription registerDeviceListener(DeviceChangeCallback listener, DeviceFilterStrategy strategy);

  /**
   * Ends the registration of a listener.
   *
   * @param listener the same object as in {@link #registerDeviceListener}
   * @throws KvStoreException INVALID_ARGUMENT if it is not registered; STORE_NOT_OPEN
   */
  void unregisterDeviceListener(DeviceChangeCallback listener);

  /**
   * Has a recipient told when a store fails for good: its disk has errors, or its folder was deleted. All calls
   * on that store fail with DB_ERROR then, until it is opened again. It is also told when the hub has been lost
   * for as long as {@link StoreClientSettings.Builder#clusterDeathAfter} says: stores go on working then, and synchronisation
   * resumes by itself. Observers of single stores and device listeners of the process end with either notice; once a
   * recipient has been registered in the process, they also do while none is.
   *
   * @param recipient the recipient; it can be registered once
   * @return ends the registration when closed
   * @throws KvStoreException INVALID_ARGUMENT if it is registered already; STORE_NOT_OPEN
   */
  Subscription registerDeathRecipient(KvStoreServiceDeathRecipient recipient);

  /**
   * Ends the registration of a recipient.
   *
   * @param recipient the same object as in {@link #registerDeathRecipient}
   * @throws KvStoreException INVALID_ARGUMENT if it is not registered; STORE_NOT_OPEN
   */
  void unregisterDeathRecipient(KvStoreServiceDeathRecipient recipient);

  /**
   * Closes the manager: its stores first, as {@link KvStore#close} describes it; registrations end. Other
   * managers of the same application go on. Closing again does nothing.
   */
  @Override
  void close();
}
