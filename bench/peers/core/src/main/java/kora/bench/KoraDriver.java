package kora.bench;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.SingleKvStore;

/** Kora Data. A process has one home, so its first folder and durability hold. */
public final class KoraDriver implements Driver {
  @Override
  public void load() {
    StoreClient.configure(StoreClientSettings.builder().build());
  }

  @Override
  public Store open(Path folder, Durability durability) {
    StoreClient.configure(StoreClientSettings.builder()
        .home(folder)
        .memoryBudget(MEMORY_BUDGET)
        .durability(kora.data.distributed.common.Durability.valueOf(durability.name()))
        .build());
    return new KoraStore();
  }

  private static final class KoraStore implements Store {
    private final KvManager manager = KvManagerFactory.create("bench");
    private final SingleKvStore store = manager.openSingle("data");

    @Override
    public void put(String key, byte[] payload) {
      store.putBytes(key, payload);
    }

    @Override
    public Object get(String key) {
      return store.find(key).orElse(null);
    }

    @Override
    public void putBatch(String[] keys, byte[] payload) {
      List<Entry> entries = new ArrayList<>(keys.length);
      for (String key : keys) {
        entries.add(new Entry(key, Value.ofBytes(payload)));
      }
      store.putBatch(entries);
    }

    @Override
    public List<?> list(String prefix) {
      return store.getEntries(prefix);
    }

    @Override
    public long walk() {
      long count = 0;
      try (KvStoreResultSet cursor = store.getResultSet("")) {
        while (cursor.moveToNext()) {
          count += cursor.getEntry() == null ? 0 : 1;
        }
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) {
      store.transaction(() -> {
        for (String key : keys) {
          store.find(key);
          store.putBytes(key, payload);
        }
      });
    }

    /** A single store's stable view is its result set. */
    @Override
    public Object snapshotGet(String key) {
      try (KvStoreResultSet cursor = store.getResultSet(key)) {
        return cursor.moveToFirst() ? cursor.getEntry() : null;
      }
    }

    @Override
    public void close() {
      store.close();
      manager.close();
    }
  }
}
