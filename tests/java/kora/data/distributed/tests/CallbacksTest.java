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
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.internal.DeathRelay;
import kora.data.distributed.internal.ObserverRelay;
import kora.data.distributed.internal.Relays;
import kora.data.distributed.internal.ServiceDeath;
import kora.data.distributed.internal.SnapshotRelay;
import kora.data.distributed.internal.Syncs;
import kora.data.distributed.user.KvStoreSnapshot;
import org.junit.jupiter.api.Test;

/** What stands between native callbacks and a program's listeners, without native code. */
class CallbacksTest {
  private static final Duration LONG = Duration.ofMinutes(1);

  @Test
  void aSyncIsCompletedByTheDevicesThatItIsAbout() throws Exception {
    Object store = new Object();
    CompletableFuture<Map<String, Boolean>> ab = expect(store, List.of("a", "b"), LONG);
    CompletableFuture<Map<String, Boolean>> b = expect(store, List.of("b"), LONG);
    CompletableFuture<Map<String, Boolean>> c = expect(store, List.of("c", "d"), LONG);
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
    CompletableFuture<Map<String, Boolean>> slow = expect(store, List.of("slow"), Duration.ofMillis(5));
    ExecutionException late = assertThrows(ExecutionException.class, () -> slow.get(20, TimeUnit.SECONDS));
    assertEquals(TimeoutException.class, late.getCause().getClass());

    CompletableFuture<Map<String, Boolean>> other = expect(new Object(), List.of("x"), LONG);
    CompletableFuture<Map<String, Boolean>> pending = expect(store, List.of("x"), LONG);
    Syncs.CALLBACK.storeClosed(store);
    ExecutionException closed = assertThrows(ExecutionException.class, pending::get);
    assertEquals(KvStoreErrorCode.STORE_NOT_OPEN, ((KvStoreException) closed.getCause()).getErrorCode());
    assertFalse(other.isDone());
    other.cancel(false);
  }

  /** Two recipients hear of one death; what the first of them registers anew does not end with the second. */
  @Test
  void theServiceTakesObserversWithItAndTheyCanReturn() {
    List<String> events = new ArrayList<>();
    KvStoreObserver observer = notification -> events.add("heard");
    Relays<KvStoreObserver, ObserverRelay> single = Relays.ofStore();
    Relays<KvStoreObserver, ObserverRelay> multi = Relays.ofStore();
    ObserverRelay before = new ObserverRelay(SubscribeType.ALL, observer);
    ObserverRelay lasting = new SnapshotRelay(observer, snapshot -> {});
    Subscription first = add(single, observer, before, events);
    add(multi, observer, lasting, events);
    assertFails(KvStoreErrorCode.STORE_ALREADY_SUBSCRIBE, () -> add(single, observer, before, events));

    ServiceDeath death = new ServiceDeath();
    ObserverRelay[] renewed = {null};
    DeathRelay renews = new DeathRelay(() -> {
      assertFails(KvStoreErrorCode.STORE_NOT_SUBSCRIBE, () -> single.remove(observer, relay -> {}));
      renewed[0] = new ObserverRelay(SubscribeType.ALL, observer);
      add(single, observer, renewed[0], events);
    });
    DeathRelay listens = new DeathRelay(() -> events.add("died"));
    death.add(renews, recipient -> events.add("recipient"));
    death.add(listens, recipient -> events.add("recipient"));
    death.onRemoteDied();
    for (ObserverRelay relay : List.of(before, renewed[0], lasting)) {
      relay.onChange(null);
    }
    first.close();
    single.remove(observer, relay -> events.add("-"));
    multi.remove(observer, relay -> events.add("-"));
    // Native code goes on telling of deaths, and nothing is registered with it twice.
    death.remove(renews);
    death.remove(listens);
    add(single, observer, before, events);
    death.onRemoteDied();
    assertFails(KvStoreErrorCode.STORE_NOT_SUBSCRIBE, () -> single.remove(observer, relay -> {}));
    death.add(listens, recipient -> events.add("recipient"));
    assertEquals(List.of("+", "+", "recipient", "+", "died", "heard", "heard", "-", "-", "+"), events);
  }

  @Test
  void aSnapshotThatFindsNoObserverIsReleased() {
    List<String> events = new ArrayList<>();
    KvStoreObserver observer = new KvStoreObserver() {
      @Override
      public void onChange(ChangeNotification notification) {}

      @Override
      public void onChange(ChangeNotification notification, KvStoreSnapshot snapshot) {
        events.add("delivered");
      }
    };
    Relays<KvStoreObserver, ObserverRelay> relays = Relays.ofStore();
    ObserverRelay relay = new SnapshotRelay(observer, snapshot -> events.add("released"));
    Subscription subscription = add(relays, observer, relay, events);
    relay.onChange(null, null);
    subscription.close();
    relay.onChange(null, null);
    assertEquals(List.of("+", "delivered", "-", "released"), events);
  }

  @Test
  void aRefusedRegistrationLeavesNothing() {
    Relays<KvStoreObserver, ObserverRelay> relays = Relays.ofStore();
    KvStoreObserver observer = notification -> {};
    ObserverRelay relay = new ObserverRelay(SubscribeType.ALL, observer);
    assertThrows(IllegalStateException.class, () -> relays.add(observer, relay, refused -> {
      throw new IllegalStateException();
    }, ended -> {}));
    add(relays, observer, relay, new ArrayList<>());
  }

  private static CompletableFuture<Map<String, Boolean>> expect(Object store, List<String> devices, Duration timeout) {
    CompletableFuture<Map<String, Boolean>> outcome = new CompletableFuture<>();
    Syncs.CALLBACK.expect(store, devices, timeout, outcome);
    return outcome;
  }

  private static Subscription add(Relays<KvStoreObserver, ObserverRelay> relays, KvStoreObserver observer,
      ObserverRelay relay, List<String> events) {
    return relays.add(observer, relay, added -> events.add("+"), removed -> events.add("-"));
  }
}
