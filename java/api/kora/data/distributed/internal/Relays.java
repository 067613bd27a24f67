package kora.data.distributed.internal;

import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.Consumer;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.Subscription;

/** The listeners of one store or manager, with the relay of each. */
public final class Relays<L, R extends Relay<L>> {
  private final Map<L, R> relays = Collections.synchronizedMap(new IdentityHashMap<>());
  private final KvStoreErrorCode whenPresent;
  private final KvStoreErrorCode whenAbsent;

  private Relays(KvStoreErrorCode whenPresent, KvStoreErrorCode whenAbsent) {
    this.whenPresent = whenPresent;
    this.whenAbsent = whenAbsent;
  }

  /** For the observers of a store. */
  public static <R extends ObserverRelay> Relays<KvStoreObserver, R> ofStore() {
    return new Relays<>(KvStoreErrorCode.STORE_ALREADY_SUBSCRIBE, KvStoreErrorCode.STORE_NOT_SUBSCRIBE);
  }

  /** For the listeners of a manager. */
  public static <L, R extends Relay<L>> Relays<L, R> ofManager() {
    return new Relays<>(KvStoreErrorCode.INVALID_ARGUMENT, KvStoreErrorCode.INVALID_ARGUMENT);
  }

  /**
   * Registers a listener.
   *
   * @param relay made for the listener
   * @param register makes the relay known to native code
   * @param unregister takes that back, when the answer is closed
   */
  public Subscription add(L listener, R relay, Consumer<R> register, Consumer<R> unregister) {
    forgetEnded();
    if (relays.putIfAbsent(listener, relay) != null) {
      throw new KvStoreException(whenPresent, "This listener is registered already.");
    }
    try {
      // Whoever unregisters a relay waits until it is registered.
      synchronized (relay) {
        register(relay, register, unregister);
      }
    } catch (Throwable failure) {
      relays.remove(listener, relay);
      relay.cut();
      throw failure;
    }
    return () -> {
      if (relays.remove(listener, relay)) {
        unregisterIfKnown(relay, unregister);
      }
    };
  }

  /** Again if the service dies meanwhile: native code may have dropped the relay with it, or taken it afterwards. */
  private void register(R relay, Consumer<R> register, Consumer<R> unregister) {
    for (;;) {
      relay.begin();
      register.accept(relay);
      if (!relay.hasEnded()) {
        return;
      }
      try {
        unregister.accept(relay);
      } catch (KvStoreException dropped) {
        // So there is nothing to take back.
      }
    }
  }

  /**
   * Ends the registration of a listener.
   *
   * @param unregister takes the relay back from native code
   */
  public void remove(L listener, Consumer<R> unregister) {
    forgetEnded();
    R relay = relays.remove(listener);
    if (relay == null) {
      throw new KvStoreException(whenAbsent, "This listener is not registered.");
    }
    unregister(relay, unregister);
  }

  /** Cuts all links; native code drops its side when the store closes. */
  public void cutAll() {
    takeAll().forEach(Relay::cut);
  }

  /** Ends all registrations. */
  public void removeAll(Consumer<R> unregister) {
    forgetEnded();
    for (R relay : takeAll()) {
      try {
        unregister(relay, unregister);
      } catch (KvStoreException refused) {
        // The link is cut, which is all that the listener can notice.
      }
    }
  }

  private List<R> takeAll() {
    synchronized (relays) {
      List<R> all = List.copyOf(relays.values());
      relays.clear();
      return all;
    }
  }

  private void unregister(R relay, Consumer<R> unregister) {
    relay.cut();
    synchronized (relay) {
      unregister.accept(relay);
    }
  }

  /** Native code has dropped its side when the store has closed or failed, or the service has ended. */
  private void unregisterIfKnown(R relay, Consumer<R> unregister) {
    try {
      unregister(relay, unregister);
    } catch (KvStoreException refused) {
      KvStoreErrorCode code = refused.getErrorCode();
      if (code != KvStoreErrorCode.STORE_NOT_OPEN && code != KvStoreErrorCode.DB_ERROR && !relay.hasEnded()) {
        throw refused;
      }
    }
  }

  private void forgetEnded() {
    relays.values().removeIf(relay -> {
      boolean ended = relay.hasEnded();
      if (ended) {
        relay.cut();
      }
      return ended;
    });
  }
}
