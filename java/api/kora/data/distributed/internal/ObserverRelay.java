package kora.data.distributed.internal;

import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;

/** Relays the changes of a single store. */
public class ObserverRelay extends Relay<KvStoreObserver> implements KvStoreObserver {
  private final SubscribeType type;

  public ObserverRelay(SubscribeType type, KvStoreObserver target) {
    this(type, target, true);
  }

  ObserverRelay(SubscribeType type, KvStoreObserver target, boolean endsWithService) {
    super(target, endsWithService);
    this.type = type;
  }

  /** The choice with which the store was asked for changes; it is asked to stop with the same. */
  public final SubscribeType type() {
    return type;
  }

  @Override
  public final void onChange(ChangeNotification notification) {
    deliver(observer -> observer.onChange(notification));
  }
}
