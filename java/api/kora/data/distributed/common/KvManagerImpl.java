package kora.data.distributed.common;

import java.util.List;
import kora.data.distributed.device.DeviceChangeCallback;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.device.DeviceInfo;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.DeathRelay;
import kora.data.distributed.internal.DeviceRelay;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.PackageAccess;
import kora.data.distributed.internal.Relays;
import kora.data.distributed.internal.Results;
import kora.data.distributed.internal.ServiceDeath;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;

/** A manager. All of a process share one native manager, which lives as long as the process. */
final class KvManagerImpl implements KvManager {
  private static final ServiceDeath SERVICE_DEATH = new ServiceDeath();
  private static long nativeManager;

  private final KvManagerConfig config;
  private final NativeHandle handle;
  private final Relays<DeviceChangeCallback, DeviceRelay> deviceListeners;
  private final Relays<KvStoreServiceDeathRecipient, DeathRelay> deathRecipients;

  KvManagerImpl(KvManagerConfig config) {
    this.config = config;
    Relays<DeviceChangeCallback, DeviceRelay> listeners = Relays.ofManager();
    Relays<KvStoreServiceDeathRecipient, DeathRelay> recipients = Relays.ofManager();
    handle = NativeHandle.root("The manager of '" + config.getAppId() + "'", nativeManager(), manager -> {
      listeners.removeAll(relay -> nativeUnRegisterDeviceChangeListener(relay, manager));
      recipients.removeAll(SERVICE_DEATH::remove);
    });
    handle.closeWithOwner(this);
    deviceListeners = listeners;
    deathRecipients = recipients;
  }

  @Override
  public SingleKvStore openSingle(String storeId, Options options) {
    NativeHandle store = open(storeId, options, KvStoreType.SINGLE_VERSION);
    return PackageAccess.STORES.single(storeId, store, config, this);
  }

  @Override
  public MultiKvStore openMulti(String storeId, Options options) {
    NativeHandle store = open(storeId, options, KvStoreType.MULTI_VERSION);
    return PackageAccess.STORES.multi(storeId, store, config, this);
  }

  @Override
  public void deleteStore(String storeId) {
    Arguments.identifier(storeId, "store identifier");
    handle.run(this, manager -> nativeDeleteKvStore(storeId, config.getAppId(), manager));
  }

  @Override
  public List<String> storeIds() {
    return Results.list(handle.call(this, manager -> nativeGetAllKvStoreId(config.getAppId(), manager)));
  }

  @Override
  public DeviceInfo localDevice() {
    return Results.notNull(handle.call(this, KvManagerImpl::nativeGetLocalDeviceInfo));
  }

  @Override
  public List<DeviceInfo> devices(DeviceFilterStrategy strategy) {
    Arguments.notNull(strategy, "filter strategy");
    return Results.list(
        handle.call(this, manager -> nativeGetConnectedDevicesInfo(strategy.name(), manager)));
  }

  @Override
  public Subscription registerDeviceListener(DeviceChangeCallback listener, DeviceFilterStrategy strategy) {
    Arguments.notNull(listener, "listener");
    Arguments.notNull(strategy, "filter strategy");
    return handle.call(this, manager -> deviceListeners.add(listener, new DeviceRelay(listener),
        relay -> nativeRegisterDeviceChangeListener(relay, strategy.name(), manager),
        this::unregister));
  }

  @Override
  public void unregisterDeviceListener(DeviceChangeCallback listener) {
    Arguments.notNull(listener, "listener");
    handle.run(this, manager -> deviceListeners.remove(listener, this::unregister));
  }

  @Override
  public Subscription registerDeathRecipient(KvStoreServiceDeathRecipient recipient) {
    Arguments.notNull(recipient, "recipient");
    return handle.call(this, manager -> deathRecipients.add(recipient, new DeathRelay(recipient),
        relay -> SERVICE_DEATH.add(relay, death -> nativeRegisterServiceDeath(death, manager)),
        SERVICE_DEATH::remove));
  }

  @Override
  public void unregisterDeathRecipient(KvStoreServiceDeathRecipient recipient) {
    Arguments.notNull(recipient, "recipient");
    handle.run(this, manager -> deathRecipients.remove(recipient, SERVICE_DEATH::remove));
  }

  @Override
  public void close() {
    handle.close();
  }

  private NativeHandle open(String storeId, Options options, KvStoreType type) {
    Arguments.identifier(storeId, "store identifier");
    Options typed = Arguments.notNull(options, "options object").with(type);
    String appId = config.getAppId();
    return handle.open(this, "The store '" + storeId + "'",
        manager -> nativeGetKvStore(typed, storeId, appId, manager),
        (store, manager) -> nativeCloseKvStore(typed, appId, new OpenStore(storeId, store), manager));
  }

  private void unregister(DeviceRelay relay) {
    handle.run(this, manager -> nativeUnRegisterDeviceChangeListener(relay, manager));
  }

  private static synchronized long nativeManager() {
    if (nativeManager == 0) {
      nativeManager = nativeSetup();
    }
    if (nativeManager == 0) {
      throw new KvStoreException(
          KvStoreErrorCode.DEFAULT_DB_ERROR, "The native manager could not be created.");
    }
    return nativeManager;
  }

  private static native long nativeSetup();

  private static native long nativeGetKvStore(Options options, String storeId, String appId, long manager);

  private static native void nativeCloseKvStore(Options options, String appId, KvStore store, long manager);

  private static native void nativeDeleteKvStore(String storeId, String appId, long manager);

  private static native List<String> nativeGetAllKvStoreId(String appId, long manager);

  private static native void nativeRegisterServiceDeath(KvStoreServiceDeathRecipient recipient, long manager);

  private static native void nativeUnRegisterServiceDeath(
      KvStoreServiceDeathRecipient recipient, long manager);

  private static native DeviceInfo nativeGetLocalDeviceInfo(long manager);

  private static native List<DeviceInfo> nativeGetConnectedDevicesInfo(String filter, long manager);

  private static native void nativeRegisterDeviceChangeListener(
      DeviceChangeCallback listener, String filter, long manager);

  private static native void nativeUnRegisterDeviceChangeListener(
      DeviceChangeCallback listener, long manager);
}
