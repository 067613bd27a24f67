package kora.bench;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.Map;
import org.mapdb.BTreeMap;
import org.mapdb.DB;
import org.mapdb.DBMaker;
import org.mapdb.Serializer;

/** MapDB with its write-ahead log: each commit waits for the disk, there is no weaker class that survives. */
public final class MapdbDriver implements Driver {
  @Override
  public void load() {}

  @Override
  public Store open(Path folder, Durability durability) {
    return new MapStore(DBMaker.fileDB(folder.resolve("data.map").toFile())
        .fileMmapEnableIfSupported()
        .transactionEnable()
        .make());
  }

  private static final class MapStore implements Store {
    private final DB database;
    private final BTreeMap<String, byte[]> map;

    MapStore(DB database) {
      this.database = database;
      this.map = database.treeMap("data", Serializer.STRING, Serializer.BYTE_ARRAY).createOrOpen();
    }

    @Override
    public void put(String key, byte[] payload) {
      map.put(key, TypedValue.encode(payload));
      database.commit();
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
      database.commit();
    }

    private static Map.Entry<String, TypedValue> entry(Map.Entry<String, byte[]> stored) {
      return Map.entry(stored.getKey(), TypedValue.decode(stored.getValue()));
    }

    @Override
    public List<?> list(String prefix) {
      List<Object> entries = new ArrayList<>();
      for (Map.Entry<String, byte[]> stored : map.subMap(prefix, prefix + '\uffff').entrySet()) {
        entries.add(entry(stored));
      }
      return entries;
    }

    @Override
    public long walk() {
      long count = 0;
      for (Iterator<Map.Entry<String, byte[]>> at = map.entryIterator(); at.hasNext();) {
        count += entry(at.next()) == null ? 0 : 1;
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) {
      for (String key : keys) {
        get(key);
        map.put(key, TypedValue.encode(payload));
      }
      database.commit();
    }

    @Override
    public Object snapshotGet(String key) {
      throw new UnsupportedOperationException("MapDB 3 has no snapshots");
    }

    @Override
    public void close() {
      database.close();
    }
  }
}
