package kora.data.distributed.internal;

import java.time.Duration;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.TimeUnit;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.SyncCallback;

/**
 * The synchronisations in progress. Native code has one callback for the process and says only which devices
 * a completion is about; so it is taken for that of the oldest synchronisation with just these devices, else
 * of the oldest that shares one with it.
 */
public final class Syncs implements SyncCallback {
  /** The one callback that native code is given. */
  public static final Syncs CALLBACK = new Syncs();

  private final List<Sync> pending = new CopyOnWriteArrayList<>();

  private Syncs() {}

  /**
   * A future for a synchronisation that is about to begin.
   *
   * @param store tells its store from others
   */
  public CompletableFuture<Map<String, Boolean>> expect(
      Object store, List<String> devices, Duration timeout) {
    Sync sync = new Sync(store, new HashSet<>(devices));
    pending.add(sync);
    sync.future.whenComplete((result, failure) -> pending.remove(sync));
    return sync.future.orTimeout(timeout.toNanos(), TimeUnit.NANOSECONDS);
  }

  /** Fails what is pending for a store that is being closed. */
  public void storeClosed(Object store) {
    for (Sync sync : pending) {
      if (sync.store == store) {
        KvStoreException failure = new KvStoreException(
            KvStoreErrorCode.STORE_NOT_OPEN, "The store was closed before the synchronisation had ended.");
        Callbacks.run(() -> sync.future.completeExceptionally(failure));
      }
    }
  }

  @Override
  public void syncCompleted(Map<String, Integer> results) {
    Callbacks.run(() -> {
      Sync sync = take(results.keySet());
      if (sync != null) {
        Map<String, Boolean> successes = new LinkedHashMap<>();
        results.forEach((device, status) -> successes.put(device, status == 0));
        sync.future.complete(successes);
      }
    });
  }

  private synchronized Sync take(Set<String> devices) {
    Sync taken = null;
    for (Sync sync : pending) {
      if (sync.devices.equals(devices)) {
        taken = sync;
        break;
      }
      if (taken == null && sync.devices.stream().anyMatch(devices::contains)) {
        taken = sync;
      }
    }
    pending.remove(taken);
    return taken;
  }

  private static final class Sync {
    final Object store;
    final Set<String> devices;
    final CompletableFuture<Map<String, Boolean>> future = new CompletableFuture<>();

    Sync(Object store, Set<String> devices) {
      this.store = store;
      this.devices = devices;
    }
  }
}
