package kora.bench;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.h2.mvstore.Cursor;
import org.h2.mvstore.MVMap;
import org.h2.mvstore.MVStore;

/** H2's MVStore; a write is in the file when its commit returns. */
public final class MvstoreDriver implements Driver {
  @Override
  public void load() {}

  @Override
  public Store open(Path folder, Durability durability) {
    MVStore store = new MVStore.Builder()
        .fileName(folder.resolve("data.mv").toString())
        .cacheSize((int) (MEMORY_BUDGET >> 20))
        .open();
    return new MvStore(store, durability == Durability.POWER);
  }

  private static final class MvStore implements Store {
    private final MVStore store;
    private final MVMap<String, byte[]> map;
    private final boolean sync;

    MvStore(MVStore store, boolean sync) {
      this.store = store;
      this.map = store.openMap("data");
      this.sync = sync;
    }

    private void commit() {
      store.commit();
      if (sync) {
        store.sync();
      }
    }

    @Override
    public void put(String key, byte[] payload) {
      map.put(key, TypedValue.encode(payload));
      commit();
    }

    @Override
    public Object get(String key) {
      return TypedValue.decode(map.get(key));
    }

    @Override
    public void putBatch(String[] keys, byte[] payload) {
      for (String key : keys) {
        map.put(key, TypedValue.encode(payload));
      }
      commit();
    }

    @Override
    public List<?> list(String prefix) {
      List<Object> entries = new ArrayList<>();
      Cursor<String, byte[]> at = map.cursor(prefix);
      while (at.hasNext()) {
        String key = at.next();
        if (!key.startsWith(prefix)) {
          break;
        }
        entries.add(Map.entry(key, TypedValue.decode(at.getValue())));
      }
      return entries;
    }

    @Override
    public long walk() {
      long count = 0;
      Cursor<String, byte[]> at = map.cursor(null);
      while (at.hasNext()) {
        count += Map.entry(at.next(), TypedValue.decode(at.getValue())) == null ? 0 : 1;
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) {
      for (String key : keys) {
        get(key);
        map.put(key, TypedValue.encode(payload));
      }
      commit();
    }

    @Override
    public Object snapshotGet(String key) {
      return TypedValue.decode(map.openVersion(store.getCurrentVersion()).get(key));
    }

    @Override
    public void close() {
      store.close();
    }
  }
}
