package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicReference;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.internal.Callbacks;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.ObserverRelay;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** The guard alone, with a stand-in for the native object. */
@Timeout(30)
class NativeHandleTest {
  private static final int THREADS = 8;

  @Test
  void endsOnceAndNeverWhileInUse() throws InterruptedException {
    for (int round = 0; round < 500; round++) {
      AtomicInteger inUse = new AtomicInteger();
      AtomicInteger ends = new AtomicInteger();
      AtomicInteger usedAtEnd = new AtomicInteger();
      NativeHandle handle = NativeHandle.root("The object", 1, h -> {
        usedAtEnd.set(inUse.get());
        ends.incrementAndGet();
      });
      CountDownLatch start = new CountDownLatch(1);
      List<Thread> threads = new ArrayList<>();
      for (int i = 0; i < THREADS; i++) {
        boolean closes = i < 2;
        threads.add(new Thread(() -> {
          await(start);
          if (closes) {
            handle.close();
            assertEquals(1, ends.get());
          }
          useUntilClosed(handle, inUse);
        }));
      }
      AtomicReference<Throwable> failure = new AtomicReference<>();
      threads.forEach(thread -> thread.setUncaughtExceptionHandler((t, thrown) -> failure.set(thrown)));
      threads.forEach(Thread::start);
      start.countDown();
      for (Thread thread : threads) {
        thread.join();
      }
      assertEquals(null, failure.get());
      assertEquals(1, ends.get());
      assertEquals(0, usedAtEnd.get());
    }
  }

  @Test
  void childrenEndBeforeTheirParent() {
    List<String> order = Collections.synchronizedList(new ArrayList<>());
    NativeHandle parent = NativeHandle.root("The parent", 1, h -> order.add("parent"));
    NativeHandle child = parent.open(this, "The child", h -> 2, (h, p) -> order.add("child " + h + " of " + p));
    NativeHandle closedChild = parent.open(this, "The child", h -> 3, (h, p) -> order.add("first"));
    closedChild.close();
    parent.close();
    child.close();
    assertEquals(List.of("first", "child 2 of 1", "parent"), order);
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> child.run(this, h -> {}));
    assertFails(KvStoreErrorCode.STORE_NOT_OPEN, () -> parent.open(this, "Another", h -> 4, (h, p) -> {}));
    assertEquals(3, order.size());
  }

  @Test
  void whatNativeCodeOpensItselfEndsWithItsParentOrAtOnce() {
    List<String> order = new ArrayList<>();
    NativeHandle.End end = (h, p) -> order.add("child " + h + " of " + p);
    NativeHandle parent = NativeHandle.root("The parent", 1, h -> order.add("parent"));
    assertTrue(parent.adopt("The child", 2, end).isPresent());
    parent.run(this, h -> {
      Callbacks.run(parent::close);
      assertTrue(parent.adopt("The child", 3, end).isEmpty());
    });
    assertEquals(List.of("child 2 of 1", "child 3 of 1", "parent"), order);
    assertTrue(parent.adopt("The child", 4, end).isEmpty());
    assertEquals(3, order.size());
  }

  @Test
  void aFailedOpenLeavesTheParentClosable() {
    AtomicInteger ends = new AtomicInteger();
    NativeHandle parent = NativeHandle.root("The parent", 1, h -> ends.incrementAndGet());
    assertThrows(IllegalStateException.class, () -> parent.open(this, "The child", h -> {
      throw new IllegalStateException();
    }, (h, p) -> {}));
    assertFails(KvStoreErrorCode.DEFAULT_DB_ERROR, () -> parent.open(this, "The child", h -> 0, (h, p) -> {}));
    parent.close();
    assertEquals(1, ends.get());
  }

  @Test
  void closingInACallbackLeavesTheEndToTheCallInProgress() throws InterruptedException {
    AtomicInteger ends = new AtomicInteger();
    NativeHandle handle = NativeHandle.root("The object", 1, h -> ends.incrementAndGet());
    CountDownLatch closed = new CountDownLatch(1);
    ObserverRelay relay = new ObserverRelay(SubscribeType.ALL, notification -> {
      handle.close();
      closed.countDown();
    });
    handle.run(this, h -> {
      Thread callbacks = new Thread(() -> relay.onChange(null));
      callbacks.start();
      await(closed);
      assertEquals(0, ends.get());
    });
    assertEquals(1, ends.get());
    // Also when the client calls back on the very thread that is in a call.
    NativeHandle second = NativeHandle.root("The object", 1, h -> ends.incrementAndGet());
    second.run(this, h -> new ObserverRelay(SubscribeType.ALL, n -> second.close()).onChange(null));
    assertEquals(2, ends.get());
  }

  @Test
  void aFailedEndIsToldToWhoCloses() {
    KvStoreException failure = new KvStoreException(KvStoreErrorCode.DB_ERROR, null);
    NativeHandle handle = NativeHandle.root("The object", 1, h -> {
      throw failure;
    });
    assertEquals(failure, assertFails(KvStoreErrorCode.DB_ERROR, handle::close));
    handle.close();
  }

  private static void useUntilClosed(NativeHandle handle, AtomicInteger inUse) {
    try {
      while (true) {
        handle.run(inUse, h -> {
          inUse.incrementAndGet();
          Thread.yield();
          inUse.decrementAndGet();
        });
      }
    } catch (KvStoreException closed) {
      assertEquals(KvStoreErrorCode.STORE_NOT_OPEN, closed.getErrorCode());
    }
  }

  private static void await(CountDownLatch latch) {
    try {
      assertTrue(latch.await(20, TimeUnit.SECONDS));
    } catch (InterruptedException e) {
      throw new AssertionError(e);
    }
  }
}
