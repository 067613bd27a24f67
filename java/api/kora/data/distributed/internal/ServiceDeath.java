package kora.data.distributed.internal;

import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.function.Consumer;
import kora.data.distributed.common.KvStoreServiceDeathRecipient;

/**
 * The one recipient that native code knows of, for all of the program's. Native code forgets what ends with the
 * service for each recipient that it tells: with several, what one of them registers anew would end with the next.
 */
public final class ServiceDeath implements KvStoreServiceDeathRecipient {
  private final List<DeathRelay> relays = new CopyOnWriteArrayList<>();

  /** Adds a relay; {@code register} makes this known to native code for the first. */
  public synchronized void add(DeathRelay relay, Consumer<ServiceDeath> register) {
    if (relays.isEmpty()) {
      register.accept(this);
    }
    relays.add(relay);
  }

  /** Takes a relay away; {@code unregister} takes this back from native code with the last. */
  public synchronized void remove(DeathRelay relay, Consumer<ServiceDeath> unregister) {
    if (relays.remove(relay) && relays.isEmpty()) {
      unregister.accept(this);
    }
  }

  @Override
  public void onRemoteDied() {
    Relay.serviceDied();
    relays.forEach(DeathRelay::tell);
  }
}
