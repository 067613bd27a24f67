package kora.data.distributed.internal;

import kora.data.distributed.common.KvStoreServiceDeathRecipient;

/** Relays the death of the service. */
public final class DeathRelay extends Relay<KvStoreServiceDeathRecipient>
    implements KvStoreServiceDeathRecipient {
  public DeathRelay(KvStoreServiceDeathRecipient target) {
    super(target);
  }

  @Override
  public void onRemoteDied() {
    serviceDied();
    deliver(KvStoreServiceDeathRecipient::onRemoteDied);
  }
}
