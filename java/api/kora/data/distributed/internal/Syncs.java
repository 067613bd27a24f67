package kora.data.distributed.internal;

import java.time.Duration;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ConcurrentNavigableMap;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.SyncCallback;

/**
 * The synchronisations in progress. Native code has one callback for the process, which says only which devices a
 * completion is about. So each synchronisation has a number, which the store client gives back with its completion: one
 * that was given up leaves nothing that a later one could take for its own. With a store client that does not, a
 * completion is taken for that of the oldest synchronisation with just these devices, else of the oldest that shares one
 * with it.
 */
public final class Syncs implements SyncCallback {
  /** The one callback that native code is given. */
  public static final Syncs CALLBACK = new Syncs();

  private static final long NONE = 0;

  private final AtomicLong lastNumber = new AtomicLong(NONE);
  /** By number, so the oldest comes first. */
  private final ConcurrentNavigableMap<Long, Sync> pending = new ConcurrentSkipListMap<>();

  private Syncs() {}

  /**
   * Expects the end of the synchronisation that this thread begins next.
   *
   * @param store tells its store from others
   * @param outcome completed then, or with a failure when the time is over
   */
  public void expect(
      Object store, List<String> devices, Duration timeout, CompletableFuture<Map<String, Boolean>> outcome) {
    long number = lastNumber.incrementAndGet();
    pending.put(number, new Sync(store, new HashSet<>(devices), outcome));
    outcome.whenComplete((result, failure) -> pending.remove(number));
    outcome.orTimeout(timeout.toNanos(), TimeUnit.NANOSECONDS);
    try {
      nativeNumberNext(number);
    } catch (UnsatisfiedLinkError notOffered) {
      // The devices have to do.
    }
  }

  /** Fails what is pending for a store that is being closed. */
  public void storeClosed(Object store) {
    for (Sync sync : pending.values()) {
      if (sync.store == store) {
        KvStoreException failure = new KvStoreException(
            KvStoreErrorCode.STORE_NOT_OPEN, "The store was closed before the synchronisation had ended.");
        Callbacks.run(() -> sync.outcome.completeExceptionally(failure));
      }
    }
  }

  @Override
  public void syncCompleted(Map<String, Integer> results) {
    Callbacks.run(() -> {
      long number = completed();
      Sync sync = number == NONE ? take(results.keySet()) : pending.remove(number);
      if (sync != null) {
        Map<String, Boolean> successes = new LinkedHashMap<>();
        results.forEach((device, status) -> successes.put(device, status == 0));
        sync.outcome.complete(successes);
      }
    });
  }

  private static long completed() {
    try {
      return nativeCompleted();
    } catch (UnsatisfiedLinkError notOffered) {
      return NONE;
    }
  }

  private synchronized Sync take(Set<String> devices) {
    Long taken = null;
    for (Map.Entry<Long, Sync> entry : pending.entrySet()) {
      Set<String> expected = entry.getValue().devices;
      if (expected.equals(devices)) {
        taken = entry.getKey();
        break;
      }
      if (taken == null && expected.stream().anyMatch(devices::contains)) {
        taken = entry.getKey();
      }
    }
    return taken == null ? null : pending.remove(taken);
  }

  private static native void nativeNumberNext(long number);

  private static native long nativeCompleted();

  private static final class Sync {
    final Object store;
    final Set<String> devices;
    final CompletableFuture<Map<String, Boolean>> outcome;

    Sync(Object store, Set<String> devices, CompletableFuture<Map<String, Boolean>> outcome) {
      this.store = store;
      this.devices = devices;
      this.outcome = outcome;
    }
  }
}
