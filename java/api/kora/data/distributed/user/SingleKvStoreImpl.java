package kora.data.distributed.user;

import java.time.Duration;
import java.util.Arrays;
import java.util.Collection;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.CompletableFuture;
import java.util.function.LongUnaryOperator;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.SecurityLevel;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.SyncCallback;
import kora.data.distributed.common.SyncMode;
import kora.data.distributed.common.Value;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Callbacks;
import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.ObserverRelay;
import kora.data.distributed.internal.PackageAccess;
import kora.data.distributed.internal.Relays;
import kora.data.distributed.internal.Results;
import kora.data.distributed.internal.Syncs;
import kora.data.distributed.internal.Texts;

/** A single store. */
final class SingleKvStoreImpl extends NativeStore implements SingleKvStore {
  private static final Duration DEFAULT_SYNC_TIMEOUT = Duration.ofMinutes(1);
  private static final int MAX_LABELS = 64;
  private static final int MAX_LABEL_SIZE = 128;

  private final Object syncLock = new Object();
  private boolean syncCallbackRegistered;

  SingleKvStoreImpl(String storeId, NativeHandle handle, KvManagerConfig config, Object manager) {
    super(storeId, handle, config, manager, Relays.ofStore());
    Relays<KvStoreObserver, ObserverRelay> relays = observers;
    handle.whenClosed(() -> {
      relays.cutAll();
      Syncs.CALLBACK.storeClosed(handle);
    });
  }

  @Override
  public Optional<Value> find(String key) {
    byte[] bytes = Keys.encode(key);
    return Results.find(() -> call(store -> nativeGet(bytes, store)));
  }

  @Override
  public List<Entry> getEntries(String prefix) {
    byte[] bytes = Keys.encodePrefix(prefix);
    return Results.list(call(store -> nativeGetEntries(bytes, store)));
  }

  @Override
  public void put(String key, Value value) {
    byte[] bytes = Keys.encode(key);
    Arguments.notNull(value, "value");
    run(store -> nativePut(bytes, value, store));
  }

  @Override
  public void delete(String key) {
    byte[] bytes = Keys.encode(key);
    run(store -> nativeDelete(bytes, store));
  }

  @Override
  public void putBatch(List<Entry> entries) {
    Entry[] array = array(entries);
    run(store -> nativePutBatch(array, store));
  }

  @Override
  public void deleteBatch(Collection<String> keys) {
    String[] array = keyArray(keys);
    run(store -> nativeDeleteBatch(array, store));
  }

  @Override
  public void startTransaction() {
    run(SingleKvStoreImpl::nativeStartTransaction);
  }

  @Override
  public void commit() {
    run(SingleKvStoreImpl::nativeCommit);
  }

  @Override
  public void rollback() {
    run(SingleKvStoreImpl::nativeRollback);
  }

  @Override
  public Subscription subscribe(SubscribeType type, KvStoreObserver observer) {
    Arguments.notNull(type, "subscribe type");
    Arguments.notNull(observer, "observer");
    ObserverRelay newRelay = new ObserverRelay(type, keepingThisOpen(observer));
    return call(store -> observers.add(observer, newRelay,
        relay -> nativeRegisterObserver(type, relay, config, store),
        this::unregister));
  }

  @Override
  public void unsubscribe(KvStoreObserver observer) {
    Arguments.notNull(observer, "observer");
    run(store -> observers.remove(observer, this::unregister));
  }

  @Override
  public List<Entry> getEntriesWithQuery(String query) {
    String ascii = ascii(query);
    return Results.list(call(store -> nativeGetEntriesWithQuery(ascii, store)));
  }

  @Override
  public int getCountWithQuery(String query) {
    String ascii = ascii(query);
    return call(store -> nativeGetCountWithQuery(ascii, store));
  }

  @Override
  public KvStoreResultSet getResultSet(String prefix) {
    byte[] bytes = Keys.encodePrefix(prefix);
    return openResultSet(store -> nativeGetResultSet(bytes, store));
  }

  @Override
  public KvStoreResultSet getResultSetWithQuery(String query) {
    String ascii = ascii(query);
    return openResultSet(store -> nativeGetResultSetWithQuery(ascii, store));
  }

  @Override
  public CompletableFuture<Map<String, Boolean>> sync(
      Collection<String> deviceIds, SyncMode mode, Duration delay, Duration timeout) {
    CompletableFuture<Map<String, Boolean>> outcome = new CompletableFuture<>();
    sync(deviceIds, mode, delay, timeout, outcome);
    return outcome;
  }

  @Override
  public void sync(Collection<String> deviceIds, SyncMode mode, SyncCallback callback) {
    Arguments.notNull(callback, "sync callback");
    List<String> devices = List.of(texts(deviceIds, "device identifier"));
    CompletableFuture<Map<String, Boolean>> outcome = new CompletableFuture<>();
    // First, so that it runs on the thread that completes the outcome, never on this one.
    outcome.whenComplete((successes, failure) -> {
      Map<String, Integer> results = new HashMap<>();
      for (String device : devices) {
        boolean succeeded = successes != null && successes.getOrDefault(device, false);
        results.put(device, succeeded ? SyncCallback.SUCCEEDED : SyncCallback.FAILED);
      }
      Callbacks.run(() -> callback.syncCompleted(results));
    });
    sync(devices, mode, Duration.ZERO, DEFAULT_SYNC_TIMEOUT, outcome);
  }

  /**
   * Synchronises.
   *
   * @param outcome completed at the end
   */
  private void sync(Collection<String> deviceIds, SyncMode mode, Duration delay, Duration timeout,
      CompletableFuture<Map<String, Boolean>> outcome) {
    String[] devices = texts(deviceIds, "device identifier");
    if (devices.length == 0) {
      throw Arguments.invalid("There are no devices to synchronise with.");
    }
    Arguments.notNull(mode, "sync mode");
    int delayMillis = millis(delay, "delay");
    millis(timeout, "time-out");
    run(store -> {
      registerSyncCallback(store);
      // It can end before the native call returns.
      Syncs.CALLBACK.expect(handle, List.of(devices), timeout, outcome);
      nativeSync(devices, mode.getCode(), delayMillis, store);
    });
  }

  @Override
  public void setAllowedSyncDelay(Duration allowedDelay) {
    int millis = millis(allowedDelay, "allowed delay");
    run(store -> nativeSetSyncParam(millis, store));
  }

  @Override
  public void removeDeviceData(String deviceId) {
    String device = Arguments.notNull(deviceId, "device identifier");
    run(store -> nativeRemoveDeviceData(device, store));
  }

  @Override
  public void setCapabilityEnabled(boolean enabled) {
    run(store -> nativeSetCapabilityEnabled(enabled, store));
  }

  @Override
  public void setCapabilityRange(Collection<String> localLabels, Collection<String> remoteLabels) {
    String[] local = labels(localLabels, "local label");
    String[] remote = labels(remoteLabels, "remote label");
    run(store -> nativeSetCapabilityRange(local, remote, store));
  }

  @Override
  public SecurityLevel getSecurityLevel() {
    int code = call(SingleKvStoreImpl::nativeGetSecurityLevel);
    for (SecurityLevel level : SecurityLevel.values()) {
      if (level.getCode() == code) {
        return level;
      }
    }
    throw new KvStoreException(
        KvStoreErrorCode.SECURITY_LEVEL_ERROR, "The security level " + code + " is unknown.");
  }

  /** An observer that refers to this store, so that it is not closed as forgotten while one is subscribed. */
  private KvStoreObserver keepingThisOpen(KvStoreObserver observer) {
    return new KvStoreObserver() {
      private final KvStoreObserver delegate = observer;
      private final Object store = SingleKvStoreImpl.this;

      @Override
      public void onChange(ChangeNotification notification) {
        delegate.onChange(notification);
      }
    };
  }

  private void unregister(ObserverRelay relay) {
    run(store -> nativeUnregisterObserver(relay.type(), relay, config, store));
  }

  private KvStoreResultSet openResultSet(LongUnaryOperator opener) {
    NativeHandle resultSet = handle.open(this, "The result set of store '" + getStoreId() + "'", opener,
        (cursor, store) -> nativeCloseResultSet(PackageAccess.RESULT_SETS.toClose(cursor), store));
    return PackageAccess.RESULT_SETS.open(resultSet, this);
  }

  private void registerSyncCallback(long store) {
    synchronized (syncLock) {
      if (!syncCallbackRegistered) {
        nativeRegisterSyncCallback(Syncs.CALLBACK, store);
        syncCallbackRegistered = true;
      }
    }
  }

  private static String ascii(String query) {
    return Texts.asciiJson(Arguments.notNull(query, "query"));
  }

  private static String[] texts(Collection<String> texts, String name) {
    String[] array = Arguments.notNull(texts, "collection").toArray(new String[0]);
    for (String text : array) {
      Arguments.text(text, name);
    }
    return array;
  }

  private static String[] labels(Collection<String> labels, String name) {
    String[] array = texts(labels, name);
    boolean fit = Arrays.stream(array).allMatch(label -> Keys.encodePrefix(label).length <= MAX_LABEL_SIZE);
    if (array.length > MAX_LABELS || !fit) {
      throw Arguments.invalid("There can be " + MAX_LABELS + " " + name + "s of 1 to " + MAX_LABEL_SIZE
          + " bytes in modified UTF-8.");
    }
    return array;
  }

  private static int millis(Duration duration, String name) {
    Arguments.notNull(duration, name);
    if (duration.isNegative() || duration.compareTo(Duration.ofMillis(Integer.MAX_VALUE)) > 0) {
      throw Arguments.invalid("The " + name + " must be 0 to " + Integer.MAX_VALUE + " milliseconds.");
    }
    return (int) duration.toMillis();
  }

  private static native Value nativeGet(byte[] key, long store);

  private static native void nativePut(byte[] key, Value value, long store);

  private static native void nativeDelete(byte[] key, long store);

  private static native void nativeSync(String[] deviceIds, int mode, int delayMillis, long store);

  private static native List<Entry> nativeGetEntries(byte[] prefix, long store);

  private static native List<Entry> nativeGetEntriesWithQuery(String query, long store);

  private static native void nativeRemoveDeviceData(String deviceId, long store);

  private static native long nativeGetResultSet(byte[] prefix, long store);

  private static native long nativeGetResultSetWithQuery(String query, long store);

  private static native int nativeGetCountWithQuery(String query, long store);

  private static native void nativeCloseResultSet(KvStoreResultSet resultSet, long store);

  private static native void nativeRegisterSyncCallback(SyncCallback callback, long store);

  private static native void nativeUnRegisterSyncCallback(long store);

  private static native void nativeRegisterObserver(
      SubscribeType type, KvStoreObserver observer, KvManagerConfig config, long store);

  private static native void nativeUnregisterObserver(
      SubscribeType type, KvStoreObserver observer, KvManagerConfig config, long store);

  private static native void nativePutBatch(Entry[] entries, long store);

  private static native void nativeDeleteBatch(String[] keys, long store);

  private static native void nativeStartTransaction(long store);

  private static native void nativeCommit(long store);

  private static native void nativeRollback(long store);

  private static native void nativeSetSyncParam(int allowedDelayMillis, long store);

  private static native void nativeSetCapabilityEnabled(boolean enabled, long store);

  private static native void nativeSetCapabilityRange(
      String[] localLabels, String[] remoteLabels, long store);

  private static native int nativeGetSecurityLevel(long store);
}
