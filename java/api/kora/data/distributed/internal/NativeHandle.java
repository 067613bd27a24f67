package kora.data.distributed.internal;

import java.lang.ref.Cleaner;
import java.lang.ref.Reference;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.LongConsumer;
import java.util.function.LongFunction;
import java.util.function.LongUnaryOperator;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;

/**
 * The guard of a native object: lets calls in while it is open, and ends it when it was closed and the last
 * user is out.
 *
 * <p>Users are counted: the open object itself is one until it is closed, each call in progress is one, and
 * each open child (a store is a child of its manager, a snapshot of its store) is one. Whoever brings the
 * count of a closed object to zero ends it; so nothing ends while it is in use, children end first, and no
 * thread holds a lock meanwhile.
 *
 * <p>A handle never refers to the object that a program holds, so that it can close what a program forgot.
 */
public final class NativeHandle {
  /** Ends a native object. */
  @FunctionalInterface
  public interface End {
    /**
     * Called once, when nobody uses the object any more.
     *
     * @param handle the object
     * @param parent the object that it was opened from, which is still usable
     */
    void end(long handle, long parent);
  }

  private static final long CLOSED = 1L << 62;
  private static final long ENDED = 1L << 61;
  private static final Cleaner CLEANER = Cleaner.create();

  /** The number of users, with the two flags above it. */
  private final AtomicLong users = new AtomicLong(1);

  private final String name;
  private final long handle;
  private final NativeHandle parent;
  private final End end;
  private final Set<NativeHandle> children = ConcurrentHashMap.newKeySet();
  private final CountDownLatch ended = new CountDownLatch(1);
  private final Throwable openedHere = new Throwable("opened here");
  private volatile Runnable whenClosed = () -> {};
  private volatile RuntimeException endFailure;

  private NativeHandle(String name, long handle, NativeHandle parent, End end) {
    this.name = name;
    this.handle = handle;
    this.parent = parent;
    this.end = end;
  }

  /** Guards a native object that has no parent. */
  public static NativeHandle root(String name, long handle, LongConsumer end) {
    return new NativeHandle(name, handle, null, (h, none) -> end.accept(h));
  }

  /**
   * Opens a child.
   *
   * @param owner the program's object for this handle, kept reachable during the call
   * @param opener takes this handle, opens the child and returns its handle
   */
  public NativeHandle open(Object owner, String childName, LongUnaryOperator opener, End childEnd) {
    enter();
    NativeHandle child;
    try {
      long childHandle = opener.applyAsLong(handle);
      if (childHandle == 0) {
        throw new KvStoreException(KvStoreErrorCode.DEFAULT_DB_ERROR, childName + " could not be opened.");
      }
      child = new NativeHandle(childName, childHandle, this, childEnd);
    } catch (Throwable failure) {
      exit();
      throw failure;
    } finally {
      Reference.reachabilityFence(owner);
    }
    if (!takeIn(child)) {
      throw closedException();
    }
    return child;
  }

  /**
   * Guards a child that native code has opened of its own accord.
   *
   * @return the child, unless this has been closed: then the child has ended. Where this has ended already, nothing
   *     can be done for the child any more
   */
  public Optional<NativeHandle> adopt(String childName, long childHandle, End childEnd) {
    if ((users.getAndIncrement() & ENDED) != 0) {
      exit();
      return Optional.empty();
    }
    NativeHandle child = new NativeHandle(childName, childHandle, this, childEnd);
    return takeIn(child) ? Optional.of(child) : Optional.empty();
  }

  /** From here on the child's end gives back the use that began for it. Returns false if this has been closed. */
  private boolean takeIn(NativeHandle child) {
    children.add(child);
    if (isClosed()) {
      child.beginClose();
      return false;
    }
    return true;
  }

  /**
   * Calls the native object.
   *
   * @param owner the program's object for this handle, kept reachable during the call
   */
  public <T> T call(Object owner, LongFunction<T> call) {
    enter();
    try {
      return call.apply(handle);
    } finally {
      exit();
      Reference.reachabilityFence(owner);
    }
  }

  /** As {@link #call}, for a call without a result. */
  public void run(Object owner, LongConsumer call) {
    enter();
    try {
      call.accept(handle);
    } finally {
      exit();
      Reference.reachabilityFence(owner);
    }
  }

  /** Sets what is done as soon as the object is closed, before it ends; it must not refer to the owner. */
  public void whenClosed(Runnable action) {
    whenClosed = action;
  }

  /** Has the object closed when its owner is no longer reachable. */
  public void closeWithOwner(Object owner) {
    CLEANER.register(owner, this::closeForgotten);
  }

  /**
   * Closes the object and waits for its end; on a callback thread it doesn't wait, because a call in progress
   * may itself be waiting for that thread.
   */
  public void close() {
    boolean first = beginClose();
    if (!Callbacks.isCallbackThread()) {
      awaitEnd();
      if (first && endFailure != null) {
        throw endFailure;
      }
    }
  }

  private void closeForgotten() {
    if (beginClose()) {
      warn(name + " was never closed.", openedHere);
    }
  }

  private boolean beginClose() {
    if ((users.getAndUpdate(state -> state | CLOSED) & CLOSED) != 0) {
      return false;
    }
    whenClosed.run();
    children.forEach(NativeHandle::beginClose);
    exit();
    return true;
  }

  private boolean isClosed() {
    return (users.get() & CLOSED) != 0;
  }

  private void enter() {
    if ((users.getAndIncrement() & CLOSED) != 0) {
      exit();
      throw closedException();
    }
  }

  private void exit() {
    // The exchange tells the one last user from those that came too late, were refused and leave again.
    if (users.decrementAndGet() == CLOSED && users.compareAndSet(CLOSED, CLOSED | ENDED)) {
      end();
    }
  }

  private void end() {
    try {
      end.end(handle, parent == null ? 0 : parent.handle);
    } catch (RuntimeException failure) {
      endFailure = failure;
      warn(name + " could not be closed properly.", failure);
    } finally {
      if (parent != null) {
        parent.children.remove(this);
        parent.exit();
      }
      ended.countDown();
    }
  }

  private void awaitEnd() {
    boolean interrupted = false;
    while (true) {
      try {
        ended.await();
        break;
      } catch (InterruptedException e) {
        interrupted = true;
      }
    }
    if (interrupted) {
      Thread.currentThread().interrupt();
    }
  }

  /** Looks up the logger each time, since that is slow and hardly any program needs it. */
  private static void warn(String text, Throwable cause) {
    System.getLogger("kora.data.distributed").log(System.Logger.Level.WARNING, text, cause);
  }

  private KvStoreException closedException() {
    return new KvStoreException(KvStoreErrorCode.STORE_NOT_OPEN, name + " has been closed.");
  }
}
