package kora.data.distributed.internal;

import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.function.Consumer;
import kora.data.distributed.common.KvStoreServiceDeathRecipient;

/**
 * The one recipient that native code knows of, for all of the program's. Native code forgets what ends with the
 * service for each recipient that it tells: with several, what one of them registers anew would end with the next.
 *
 * <p>Once registered it stays so for the life of the process, also when the program has none left: native code that is
 * about to tell it forgets observers even if it is taken back meanwhile, and nobody here would know that they have ended.
 */
public final class ServiceDeath implements KvStoreServiceDeathRecipient {
  private final List<DeathRelay> relays = new CopyOnWriteArrayList<>();
  private boolean registered;

  /** Adds a relay; {@code register} makes this known to native code for the first. */
  public synchronized void add(DeathRelay relay, Consumer<ServiceDeath> register) {
    if (!registered) {
      register.accept(this);
      registered = true;
    }
    relays.add(relay);
  }

  /** Takes a relay away. */
  public void remove(DeathRelay relay) {
    relays.remove(relay);
  }

  @Override
  public void onRemoteDied() {
    Relay.serviceDied();
    relays.forEach(DeathRelay::tell);
  }
}
