package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static kora.data.distributed.tests.Stores.ifSupported;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.ref.WeakReference;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreServiceDeathRecipient;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.Value;
import kora.data.distributed.device.DeviceChangeCallback;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

@Timeout(60)
class ObserverTest extends WithManager {
  private final BlockingQueue<ChangeNotification> changes = new LinkedBlockingQueue<>();
  private final KvStoreObserver observer = changes::add;
  private final SingleKvStore store = manager.openSingle("store");

  @Test
  void eachCommitIsToldOnceAndInOrder() throws InterruptedException {
    store.putInt("old", 1);
    store.putInt("gone", 1);
    store.subscribe(SubscribeType.LOCAL, observer);
    store.startTransaction();
    store.putInt("never", 1);
    store.rollback();
    store.transaction(() -> {
      store.putInt("new", 1);
      store.putInt("old", 2);
      store.delete("gone");
      store.putInt("passing", 1);
      store.delete("passing");
    });
    store.delete("old");
    ChangeNotification first = next();
    assertEquals(List.of(new Entry("new", Value.ofInt(1))), first.getInsertEntries());
    assertEquals(List.of(new Entry("old", Value.ofInt(2))), first.getUpdateEntries());
    assertEquals(List.of(new Entry("gone", Value.ofInt(1))), first.getDeleteEntries());
    assertEquals(List.of(new Entry("old", Value.ofInt(2))), next().getDeleteEntries());
    assertNull(changes.poll(50, TimeUnit.MILLISECONDS));
  }

  @Test
  void keysOfEveryKindArrive() throws InterruptedException {
    store.subscribe(SubscribeType.ALL, observer);
    store.putBatch(
        CodecTest.HARD_TEXTS.stream().map(key -> new Entry(key, Value.ofInt(1))).collect(Collectors.toList()));
    Set<String> keys = next().getInsertEntries().stream().map(Entry::getKey).collect(Collectors.toSet());
    assertEquals(new HashSet<>(CodecTest.HARD_TEXTS), keys);
  }

  @Test
  void subscribingTwiceOrUnsubscribingAStrangerFails() throws InterruptedException {
    assertFails(KvStoreErrorCode.STORE_NOT_SUBSCRIBE, () -> store.unsubscribe(observer));
    Subscription subscription = store.subscribe(SubscribeType.ALL, observer);
    assertFails(
        KvStoreErrorCode.STORE_ALREADY_SUBSCRIBE, () -> store.subscribe(SubscribeType.LOCAL, observer));
    store.unsubscribe(observer);
    store.putInt("unheard", 1);
    store.subscribe(SubscribeType.ALL, observer);
    subscription.close();
    store.putInt("heard", 1);
    assertEquals("heard", next().getInsertEntries().get(0).getKey());
    store.close();
    subscription.close();
  }

  @Test
  void whatAnObserverThrowsGoesToTheHandlerOfItsThread() throws InterruptedException {
    BlockingQueue<Throwable> uncaught = new LinkedBlockingQueue<>();
    RuntimeException thrown = new RuntimeException("thrown by an observer");
    Thread.UncaughtExceptionHandler before = Thread.getDefaultUncaughtExceptionHandler();
    Thread.setDefaultUncaughtExceptionHandler((thread, failure) -> uncaught.add(failure));
    try {
      store.subscribe(SubscribeType.ALL, notification -> {
        throw thrown;
      });
      store.subscribe(SubscribeType.ALL, observer);
      store.putInt("a", 1);
      assertEquals(thrown, uncaught.poll(20, TimeUnit.SECONDS));
      assertNotNull(next());
    } finally {
      Thread.setDefaultUncaughtExceptionHandler(before);
    }
  }

  @Test
  void anObserverMayUseUnsubscribeAndCloseItsStore() throws InterruptedException {
    BlockingQueue<String> seen = new LinkedBlockingQueue<>();
    KvStoreObserver once = new KvStoreObserver() {
      @Override
      public void onChange(ChangeNotification notification) {
        store.unsubscribe(this);
        store.putInt("by the observer", 1);
        seen.add("read " + store.getInt("by the observer"));
      }
    };
    store.subscribe(SubscribeType.ALL, once);
    store.putInt("a", 1);
    assertEquals("read 1", seen.poll(20, TimeUnit.SECONDS));
    store.subscribe(SubscribeType.ALL, notification -> {
      store.close();
      seen.add("closed");
    });
    store.putInt("a", 2);
    assertEquals("closed", seen.poll(20, TimeUnit.SECONDS));
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> store.getInt("a"));
  }

  @Test
  void anUnsubscribedObserverCanBeCollected() throws InterruptedException {
    WeakReference<KvStoreObserver> reference = subscribeAndUnsubscribe();
    for (int i = 0; i < 100 && reference.get() != null; i++) {
      System.gc();
      Thread.sleep(20);
    }
    assertNull(reference.get());
  }

  private WeakReference<KvStoreObserver> subscribeAndUnsubscribe() {
    Object captured = new Object();
    KvStoreObserver shortLived = notification -> captured.hashCode();
    store.subscribe(SubscribeType.ALL, shortLived).close();
    return new WeakReference<>(shortLived);
  }

  @Test
  void aSnapshotThatIsDeliveredIsTheObserversToClose() throws InterruptedException {
    MultiKvStore multi = manager.openMulti("multi");
    BlockingQueue<KvStoreSnapshot> snapshots = new LinkedBlockingQueue<>();
    ifSupported(() -> multi.subscribe(new KvStoreObserver() {
      @Override
      public void onChange(ChangeNotification notification) {
        throw new AssertionError("a multi-version store delivers snapshots");
      }

      @Override
      public void onChange(ChangeNotification notification, KvStoreSnapshot snapshot) {
        snapshots.add(snapshot);
        if (notification.getInsertEntries().isEmpty()) {
          throw new AssertionError("an observer that fails");
        }
      }
    }));
    multi.subscribe(observer);
    multi.putInt("a", 1);
    multi.putInt("a", 2);
    try (KvStoreSnapshot first = snapshots.poll(20, TimeUnit.SECONDS)) {
      assertEquals(1, first.getInt("a"));
      assertEquals(List.of("a"), first.getKeys(""));
    }
    multi.putInt("b", 3);
    KvStoreSnapshot second = snapshots.poll(20, TimeUnit.SECONDS);
    KvStoreSnapshot third = snapshots.poll(20, TimeUnit.SECONDS);
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> second.getInt("a"));
    assertEquals(2, third.getInt("a"));
    assertEquals(2, next().getInsertEntries().size() + next().getUpdateEntries().size());
    multi.close();
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> third.getInt("a"));
  }

  @Test
  void listenersOfAManagerAreRegisteredOnceEach() {
    KvStoreServiceDeathRecipient recipient = () -> {};
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.unregisterDeathRecipient(recipient));
    Subscription registration = manager.registerDeathRecipient(recipient);
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.registerDeathRecipient(recipient));
    registration.close();
    manager.registerDeathRecipient(recipient);
    manager.unregisterDeathRecipient(recipient);
    manager.registerDeathRecipient(recipient);

    DeviceChangeCallback listener = (device, status) -> {};
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.unregisterDeviceListener(listener));
    Subscription first = ifSupported(() -> manager.registerDeviceListener(listener, DeviceFilterStrategy.NO_FILTER));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT,
        () -> manager.registerDeviceListener(listener, DeviceFilterStrategy.FILTER));
    first.close();
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> manager.unregisterDeviceListener(listener));
    manager.registerDeviceListener(listener, DeviceFilterStrategy.FILTER);
    manager.unregisterDeviceListener(listener);
  }

  private ChangeNotification next() throws InterruptedException {
    ChangeNotification change = changes.poll(20, TimeUnit.SECONDS);
    assertNotNull(change, "no notification within 20 seconds");
    assertTrue(!change.getDeviceId().isEmpty());
    return change;
  }
}
