package kora.data.distributed.internal;

import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.user.KvStoreSnapshot;

/** Relays the changes of a store. */
public final class ObserverRelay extends Relay<KvStoreObserver> implements KvStoreObserver {
  private final SubscribeType type;

  public ObserverRelay(SubscribeType type, KvStoreObserver target) {
    super(target);
    this.type = type;
  }

  /** The choice with which the store was asked for changes; it is asked to stop with the same. */
  public SubscribeType type() {
    return type;
  }

  @Override
  public void onChange(ChangeNotification notification) {
    deliver(observer -> observer.onChange(notification));
  }

  @Override
  public void onChange(ChangeNotification notification, KvStoreSnapshot snapshot) {
    deliver(observer -> observer.onChange(notification, snapshot));
  }
}
