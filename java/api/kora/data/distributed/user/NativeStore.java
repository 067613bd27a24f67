package kora.data.distributed.user;

import java.util.Collection;
import java.util.List;
import java.util.function.LongConsumer;
import java.util.function.LongFunction;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStore;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.ObserverRelay;
import kora.data.distributed.internal.Relays;

/** What the two kinds of store share: their guard, and the checks of arguments that come in bulk. */
abstract class NativeStore implements KvStore {
  final NativeHandle handle;
  final KvManagerConfig config;
  final Relays<KvStoreObserver, ObserverRelay> observers;
  private final String storeId;
  /** Forgotten together with its stores, or not at all. */
  private final Object manager;

  NativeStore(String storeId, NativeHandle handle, KvManagerConfig config, Object manager,
      Relays<KvStoreObserver, ObserverRelay> observers) {
    this.storeId = storeId;
    this.handle = handle;
    this.config = config;
    this.manager = manager;
    this.observers = observers;
    handle.closeWithOwner(this);
  }

  @Override
  public final String getStoreId() {
    return storeId;
  }

  @Override
  public final void close() {
    handle.close();
  }

  final <T> T call(LongFunction<T> call) {
    return handle.call(this, call);
  }

  final void run(LongConsumer call) {
    handle.run(this, call);
  }

  static Entry[] array(List<Entry> entries) {
    Entry[] array = Arguments.notNull(entries, "list of entries").toArray(new Entry[0]);
    for (Entry entry : array) {
      Arguments.notNull(entry, "entry");
    }
    return array;
  }

  static String[] keyArray(Collection<String> keys) {
    String[] array = Arguments.notNull(keys, "collection of keys").toArray(new String[0]);
    for (String key : array) {
      Keys.check(key);
    }
    return array;
  }
}
