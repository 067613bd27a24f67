package kora.bench;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.rocksdb.BlockBasedTableConfig;
import org.rocksdb.BloomFilter;
import org.rocksdb.Cache;
import org.rocksdb.CompressionType;
import org.rocksdb.LRUCache;
import org.rocksdb.Options;
import org.rocksdb.ReadOptions;
import org.rocksdb.RocksDB;
import org.rocksdb.RocksDBException;
import org.rocksdb.RocksIterator;
import org.rocksdb.Snapshot;
import org.rocksdb.WriteBatch;
import org.rocksdb.WriteBatchWithIndex;
import org.rocksdb.WriteBufferManager;
import org.rocksdb.WriteOptions;

/** RocksDB's own Java binding, with the settings that Kora gives its engine. */
public final class RocksdbDriver implements Driver {
  @Override
  public void load() {
    RocksDB.loadLibrary();
  }

  @Override
  public Store open(Path folder, Durability durability) throws RocksDBException {
    load();
    Cache cache = new LRUCache(MEMORY_BUDGET - (8L << 20), 4);
    BlockBasedTableConfig table = new BlockBasedTableConfig()
        .setBlockCache(cache)
        .setCacheIndexAndFilterBlocks(true)
        .setPinL0FilterAndIndexBlocksInCache(true)
        .setFilterPolicy(new BloomFilter(10));
    long writeBuffers = (MEMORY_BUDGET - (8L << 20)) / 4;
    Options options = new Options()
        .setCreateIfMissing(true)
        .setTableFormatConfig(table)
        .setWriteBufferManager(new WriteBufferManager(writeBuffers, cache))
        .setWriteBufferSize(writeBuffers / 2)
        .setCompressionType(CompressionType.LZ4_COMPRESSION)
        .setLevelCompactionDynamicLevelBytes(true)
        .setMaxOpenFiles(256);
    return new RocksStore(RocksDB.open(options, folder.toString()),
        new WriteOptions().setSync(durability == Durability.POWER));
  }

  private static final class RocksStore implements Store {
    private final RocksDB database;
    private final WriteOptions writing;
    private final ReadOptions reading = new ReadOptions();

    RocksStore(RocksDB database, WriteOptions writing) {
      this.database = database;
      this.writing = writing;
    }

    private static byte[] bytes(String key) {
      return key.getBytes(StandardCharsets.UTF_8);
    }

    @Override
    public void put(String key, byte[] payload) throws RocksDBException {
      database.put(writing, bytes(key), TypedValue.encode(payload));
    }

    @Override
    public Object get(String key) throws RocksDBException {
      return TypedValue.decode(database.get(reading, bytes(key)));
    }

    @Override
    public void putBatch(String[] keys, byte[] payload) throws RocksDBException {
      try (WriteBatch batch = new WriteBatch()) {
        for (String key : keys) {
          batch.put(bytes(key), TypedValue.encode(payload));
        }
        database.write(writing, batch);
      }
    }

    private static Map.Entry<String, TypedValue> entry(RocksIterator at) {
      return Map.entry(new String(at.key(), StandardCharsets.UTF_8), TypedValue.decode(at.value()));
    }

    private static boolean startsWith(byte[] key, byte[] prefix) {
      return key.length >= prefix.length && Arrays.equals(key, 0, prefix.length, prefix, 0, prefix.length);
    }

    @Override
    public List<?> list(String prefix) {
      byte[] start = bytes(prefix);
      List<Object> entries = new ArrayList<>();
      try (RocksIterator at = database.newIterator(reading)) {
        for (at.seek(start); at.isValid() && startsWith(at.key(), start); at.next()) {
          entries.add(entry(at));
        }
      }
      return entries;
    }

    @Override
    public long walk() {
      long count = 0;
      try (RocksIterator at = database.newIterator(reading)) {
        for (at.seekToFirst(); at.isValid(); at.next()) {
          count += entry(at) == null ? 0 : 1;
        }
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) throws RocksDBException {
      try (WriteBatchWithIndex batch = new WriteBatchWithIndex(true)) {
        for (String key : keys) {
          TypedValue.decode(batch.getFromBatchAndDB(database, reading, bytes(key)));
          batch.put(bytes(key), TypedValue.encode(payload));
        }
        database.write(writing, batch);
      }
    }

    @Override
    public Object snapshotGet(String key) throws RocksDBException {
      Snapshot snapshot = database.getSnapshot();
      try (ReadOptions at = new ReadOptions().setSnapshot(snapshot)) {
        return TypedValue.decode(database.get(at, bytes(key)));
      } finally {
        database.releaseSnapshot(snapshot);
      }
    }

    @Override
    public void close() {
      database.close();
    }
  }
}
