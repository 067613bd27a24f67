package kora.data.distributed.tests;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.SyncMode;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.device.DeviceInfo;
import kora.data.distributed.internal.Syncs;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Test;

/** This device, and synchronisation while there are no others. */
class DeviceTest extends WithManager {
  @Test
  void thisDeviceSignsItsChangesAndKnowsNoOther() throws Exception {
    DeviceInfo device = Stores.ifSupported(manager::localDevice);
    BlockingQueue<String> devices = new LinkedBlockingQueue<>();
    try (SingleKvStore store = manager.openSingle("store")) {
      store.subscribe(SubscribeType.ALL, change -> devices.add(change.getDeviceId()));
      store.putInt("key", 1);
      assertEquals(device.getId(), devices.poll(20, TimeUnit.SECONDS));
    }
    assertTrue(device.getId().matches("[0-9a-f]{32}"), device.toString());
    assertEquals("unknown", device.getType());
    for (DeviceFilterStrategy strategy : DeviceFilterStrategy.values()) {
      assertEquals(List.of(), manager.devices(strategy));
    }
    assertEquals(Optional.empty(), StoreClient.hubTrouble(), "none is looked for");
  }

  @Test
  void aSyncNamesEachDeviceAsFailedOnce() throws Exception {
    Stores.ifSupported(manager::localDevice);
    try (SingleKvStore store = manager.openSingle("store")) {
      Map<String, Boolean> outcome = store.sync(List.of("a", "\ud83d\ude00", "a"), SyncMode.PUSH_PULL).get(20, TimeUnit.SECONDS);
      assertEquals(Map.of("a", false, "\ud83d\ude00", false), outcome);
      String reason = "no hub is configured";
      assertEquals(Map.of("a", reason, "\ud83d\ude00", reason), StoreClient.syncReasons(application, "store"));
      BlockingQueue<Map<String, Integer>> told = new LinkedBlockingQueue<>();
      for (int i = 0; i < 20; i++) {
        store.sync(List.of("a", "b" + i), SyncMode.PULL, told::add);
      }
      List<Map<String, Integer>> expected = new ArrayList<>();
      List<Map<String, Integer>> results = new ArrayList<>();
      for (int i = 0; i < 20; i++) {
        expected.add(Map.of("a", 1, "b" + i, 1));
        results.add(told.poll(20, TimeUnit.SECONDS));
      }
      assertEquals(expected, results);
      assertTrue(told.isEmpty());
    }
  }

  @Test
  void aSyncCallbackComesAlsoWhenTheStoreIsClosedAtOnce() throws Exception {
    Stores.ifSupported(manager::localDevice);
    BlockingQueue<Map<String, Integer>> told = new LinkedBlockingQueue<>();
    for (int i = 0; i < 50; i++) {
      try (SingleKvStore store = manager.openSingle("store")) {
        store.sync(List.of("a"), SyncMode.PUSH, told::add);
      }
      assertEquals(Map.of("a", 1), told.poll(20, TimeUnit.SECONDS));
    }
    assertTrue(told.isEmpty());
  }

  /** Whatever became of another one that names the same device: its store closed, its time over, or it began earlier. */
  @Test
  void aSyncIsAnsweredByNoOtherOnesCompletion() throws Exception {
    Stores.ifSupported(manager::localDevice);
    SingleKvStore closed = manager.openSingle("closed");
    try (SingleKvStore store = manager.openSingle("store")) {
      CompletableFuture<Void> gate = new CompletableFuture<>();
      store.sync(List.of("gate"), SyncMode.PULL, results -> gate.join());
      closed.sync(List.of("a", "x"), SyncMode.PULL);
      closed.close();
      CompletableFuture<?> late = store.sync(List.of("b", "x"), SyncMode.PULL, Duration.ZERO, Duration.ZERO);
      assertThrows(ExecutionException.class, late::get);
      CompletableFuture<Map<String, Boolean>> earlier = new CompletableFuture<>();
      Syncs.CALLBACK.expect(store, List.of("c"), Duration.ofMinutes(1), earlier);

      Map<String, CompletableFuture<Map<String, Boolean>>> outcomes = new LinkedHashMap<>();
      for (String device : List.of("a", "b", "c")) {
        outcomes.put(device, store.sync(List.of(device), SyncMode.PULL));
      }
      gate.complete(null);
      for (Map.Entry<String, CompletableFuture<Map<String, Boolean>>> outcome : outcomes.entrySet()) {
        assertEquals(Map.of(outcome.getKey(), false), outcome.getValue().get(20, TimeUnit.SECONDS));
      }
      assertFalse(earlier.isDone());
      earlier.cancel(false);
    }
  }

  @Test
  void settingsForSynchronisationAreTakenAndOwnDataCanBeRemoved() {
    DeviceInfo device = Stores.ifSupported(manager::localDevice);
    try (SingleKvStore store = manager.openSingle("store")) {
      store.setAllowedSyncDelay(Duration.ofSeconds(1));
      store.setCapabilityEnabled(true);
      store.setCapabilityRange(List.of("home"), List.of("home", "\ud83d\ude00".repeat(21)));
      store.putInt("key", 1);
      store.removeDeviceData("another");
      assertTrue(store.contains("key"));
      store.removeDeviceData(device.getId());
      assertEquals(List.of(), store.getEntries(""));
    }
  }
}
