package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.internal.DeathRelay;
import kora.data.distributed.internal.ObserverRelay;
import kora.data.distributed.internal.Relays;
import kora.data.distributed.internal.Syncs;
import org.junit.jupiter.api.Test;

/** What stands between native callbacks and a program's listeners, without native code. */
class CallbacksTest {
  private static final Duration LONG = Duration.ofMinutes(1);

  @Test
  void aSyncIsCompletedByTheDevicesThatItIsAbout() throws Exception {
    Object store = new Object();
    CompletableFuture<Map<String, Boolean>> ab = Syncs.CALLBACK.expect(store, List.of("a", "b"), LONG);
    CompletableFuture<Map<String, Boolean>> b = Syncs.CALLBACK.expect(store, List.of("b"), LONG);
    CompletableFuture<Map<String, Boolean>> c = Syncs.CALLBACK.expect(store, List.of("c", "d"), LONG);
    Syncs.CALLBACK.syncCompleted(Map.of("b", 0));
    assertTrue(b.isDone() && !ab.isDone());
    Syncs.CALLBACK.syncCompleted(Map.of("b", 1, "a", 0));
    assertEquals(Map.of("a", true, "b", false), ab.get());
    Syncs.CALLBACK.syncCompleted(Map.of("unknown", 0));
    assertFalse(c.isDone());
    Syncs.CALLBACK.syncCompleted(Map.of("c", 0));
    assertEquals(Map.of("c", true), c.get());
  }

  @Test
  void aSyncEndsWithItsTimeOutOrItsStore() {
    Object store = new Object();
    CompletableFuture<Map<String, Boolean>> slow =
        Syncs.CALLBACK.expect(store, List.of("slow"), Duration.ofMillis(5));
    ExecutionException late = assertThrows(ExecutionException.class, () -> slow.get(20, TimeUnit.SECONDS));
    assertEquals(TimeoutException.class, late.getCause().getClass());

    CompletableFuture<Map<String, Boolean>> other = Syncs.CALLBACK.expect(new Object(), List.of("x"), LONG);
    CompletableFuture<Map<String, Boolean>> pending = Syncs.CALLBACK.expect(store, List.of("x"), LONG);
    Syncs.CALLBACK.storeClosed(store);
    ExecutionException closed = assertThrows(ExecutionException.class, pending::get);
    assertEquals(KvStoreErrorCode.STORE_NOT_OPEN, ((KvStoreException) closed.getCause()).getErrorCode());
    assertFalse(other.isDone());
    other.cancel(false);
  }

  @Test
  void theServiceTakesObserversWithItAndTheyCanReturn() {
    Relays<KvStoreObserver, ObserverRelay> single = Relays.ofStore(true);
    Relays<KvStoreObserver, ObserverRelay> multi = Relays.ofStore(false);
    KvStoreObserver observer = notification -> {};
    List<String> natives = new ArrayList<>();
    Subscription first = add(single, observer, natives);
    add(multi, observer, natives);
    assertFails(KvStoreErrorCode.STORE_ALREADY_SUBSCRIBE, () -> add(single, observer, natives));

    new DeathRelay(() -> natives.add("died")).onRemoteDied();
    assertFails(KvStoreErrorCode.STORE_NOT_SUBSCRIBE, () -> single.remove(observer, relay -> natives.add("-")));
    add(single, observer, natives);
    first.close();
    single.remove(observer, relay -> natives.add("-"));
    multi.remove(observer, relay -> natives.add("-"));
    assertEquals(List.of("+", "+", "died", "+", "-", "-"), natives);
  }

  @Test
  void aRefusedRegistrationLeavesNothing() {
    Relays<KvStoreObserver, ObserverRelay> relays = Relays.ofStore(true);
    KvStoreObserver observer = notification -> {};
    ObserverRelay relay = new ObserverRelay(SubscribeType.ALL, observer);
    assertThrows(IllegalStateException.class, () -> relays.add(observer, relay, refused -> {
      throw new IllegalStateException();
    }, ended -> {}));
    add(relays, observer, new ArrayList<>());
  }

  private static Subscription add(
      Relays<KvStoreObserver, ObserverRelay> relays, KvStoreObserver observer, List<String> natives) {
    return relays.add(observer, new ObserverRelay(SubscribeType.ALL, observer),
        relay -> natives.add("+"), relay -> natives.add("-"));
  }
}
