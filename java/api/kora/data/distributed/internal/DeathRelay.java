package kora.data.distributed.internal;

import kora.data.distributed.common.KvStoreServiceDeathRecipient;

/** Relays the death of the service to one recipient of the program's. */
public final class DeathRelay extends Relay<KvStoreServiceDeathRecipient> {
  public DeathRelay(KvStoreServiceDeathRecipient target) {
    super(target, false);
  }

  void tell() {
    deliver(KvStoreServiceDeathRecipient::onRemoteDied);
  }
}
