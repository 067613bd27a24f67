package kora.data.distributed.internal;

import java.util.function.Consumer;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.user.KvStoreSnapshot;

/** Relays the changes of a multi-version store, each with a snapshot that somebody must release. */
public final class SnapshotRelay extends ObserverRelay {
  private final Consumer<KvStoreSnapshot> release;

  /**
   * Relays to an observer.
   *
   * @param release releases a snapshot that finds no observer; native code keeps it for the life of the process
   */
  public SnapshotRelay(KvStoreObserver target, Consumer<KvStoreSnapshot> release) {
    super(SubscribeType.ALL, target, false);
    this.release = release;
  }

  @Override
  public void onChange(ChangeNotification notification, KvStoreSnapshot snapshot) {
    if (!deliver(observer -> observer.onChange(notification, snapshot))) {
      Callbacks.run(() -> release.accept(snapshot));
    }
  }
}
