package kora.data.distributed.user;

import java.lang.ref.WeakReference;
import java.util.Collection;
import java.util.List;
import java.util.Optional;
import java.util.function.Consumer;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.Value;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.ObserverRelay;
import kora.data.distributed.internal.Relays;
import kora.data.distributed.internal.Results;
import kora.data.distributed.internal.SnapshotRelay;

/** A multi-version store. */
final class MultiKvStoreImpl extends NativeStore implements MultiKvStore {
  MultiKvStoreImpl(String storeId, NativeHandle handle, KvManagerConfig config, Object manager) {
    super(storeId, handle, config, manager, Relays.ofStore());
    handle.whenClosed(observers::cutAll);
  }

  @Override
  public void put(String key, Value value) {
    byte[] bytes = Keys.encode(key);
    Arguments.notNull(value, "value");
    Results.done(call(store -> nativePut(bytes, value, store)));
  }

  @Override
  public void delete(String key) {
    byte[] bytes = Keys.encode(key);
    Results.done(call(store -> nativeDelete(bytes, store)));
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
  public void clear() {
    run(MultiKvStoreImpl::nativeClear);
  }

  @Override
  public void startTransaction() {
    run(MultiKvStoreImpl::nativeStartTransaction);
  }

  @Override
  public void commit() {
    run(MultiKvStoreImpl::nativeCommit);
  }

  @Override
  public void rollback() {
    run(MultiKvStoreImpl::nativeRollback);
  }

  @Override
  public KvStoreSnapshot snapshot() {
    NativeHandle snapshot = handle.open(
        this, snapshotName(), store -> nativeGetKvStoreSnapshot(null, store), MultiKvStoreImpl::release);
    return new KvStoreSnapshotImpl(0).guardedBy(snapshot, this);
  }

  @Override
  public Subscription subscribe(KvStoreObserver observer) {
    Arguments.notNull(observer, "observer");
    ObserverRelay newRelay =
        new SnapshotRelay(adoptingSnapshots(observer), releasing(new WeakReference<>(handle), snapshotName()));
    return call(store -> observers.add(observer, newRelay,
        relay -> Results.done(nativeSubscribe(relay.type(), relay, config, store)),
        this::unregister));
  }

  @Override
  public void unsubscribe(KvStoreObserver observer) {
    Arguments.notNull(observer, "observer");
    run(store -> observers.remove(observer, this::unregister));
  }

  private void unregister(ObserverRelay relay) {
    Results.done(call(store -> nativeUnSubscribe(relay.type(), relay, config, store)));
  }

  /** Native code delivers bare snapshots; the observer gets them under the guard of this store. */
  private KvStoreObserver adoptingSnapshots(KvStoreObserver observer) {
    return new KvStoreObserver() {
      @Override
      public void onChange(ChangeNotification notification) {
        observer.onChange(notification);
      }

      @Override
      public void onChange(ChangeNotification notification, KvStoreSnapshot bare) {
        adopt(bare, handle, snapshotName()).ifPresent(guard -> tell(notification, bare, guard));
      }

      private void tell(ChangeNotification notification, KvStoreSnapshot bare, NativeHandle guard) {
        try {
          observer.onChange(notification, ((KvStoreSnapshotImpl) bare).guardedBy(guard, MultiKvStoreImpl.this));
        } catch (Throwable thrown) {
          guard.close();
          throw thrown;
        }
      }
    };
  }

  /**
   * Ends snapshots that find no observer.
   *
   * @param store held weakly, since native code keeps who subscribed for the life of the process
   */
  private static Consumer<KvStoreSnapshot> releasing(WeakReference<NativeHandle> store, String name) {
    return bare -> {
      NativeHandle open = store.get();
      if (open != null) {
        adopt(bare, open, name).ifPresent(NativeHandle::close);
      }
    };
  }

  /** A store that has ended has taken away all that its snapshots held; then there is nothing to guard. */
  private static Optional<NativeHandle> adopt(KvStoreSnapshot bare, NativeHandle store, String name) {
    return store.adopt(name, ((KvStoreSnapshotImpl) bare).nativeHandle(), MultiKvStoreImpl::release);
  }

  private String snapshotName() {
    return "The snapshot of store '" + getStoreId() + "'";
  }

  private static void release(long snapshot, long store) {
    nativeReleaseKvStoreSnapshot(store, new KvStoreSnapshotImpl(snapshot));
  }

  private static native boolean nativePut(byte[] key, Value value, long store);

  private static native boolean nativeDelete(byte[] key, long store);

  private static native boolean nativeSubscribe(
      SubscribeType type, KvStoreObserver observer, KvManagerConfig config, long store);

  private static native boolean nativeUnSubscribe(
      SubscribeType type, KvStoreObserver observer, KvManagerConfig config, long store);

  private static native long nativeGetKvStoreSnapshot(KvStoreObserver observer, long store);

  private static native void nativeReleaseKvStoreSnapshot(long store, KvStoreSnapshot snapshot);

  private static native void nativePutBatch(Entry[] entries, long store);

  private static native void nativeDeleteBatch(String[] keys, long store);

  private static native void nativeClear(long store);

  private static native void nativeStartTransaction(long store);

  private static native void nativeCommit(long store);

  private static native void nativeRollback(long store);
}
