package kora.bench;

import static java.nio.ByteBuffer.allocateDirect;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.lmdbjava.CursorIterable;
import org.lmdbjava.Dbi;
import org.lmdbjava.DbiFlags;
import org.lmdbjava.Env;
import org.lmdbjava.EnvFlags;
import org.lmdbjava.KeyRange;
import org.lmdbjava.Txn;

/** LMDB's Java binding. Without a sync at each commit a write is in the system's cache, as the others' are. */
public final class LmdbDriver implements Driver {
  private static final long LARGEST = 64L << 30;

  @Override
  public void load() {
    Env.create();
  }

  @Override
  public Store open(Path folder, Durability durability) {
    // Without MDB_NOTLS a thread could not take a second read transaction beside the one that it keeps.
    EnvFlags[] flags = durability == Durability.POWER
        ? new EnvFlags[] {EnvFlags.MDB_NOTLS}
        : new EnvFlags[] {EnvFlags.MDB_NOTLS, EnvFlags.MDB_NOSYNC};
    return new LmdbStore(Env.create().setMapSize(LARGEST).setMaxReaders(64).open(folder.toFile(), flags));
  }

  private static final class LmdbStore implements Store {
    private final Env<ByteBuffer> environment;
    private final Dbi<ByteBuffer> database;
    private final ThreadLocal<Reader> readers;

    LmdbStore(Env<ByteBuffer> environment) {
      this.environment = environment;
      this.database = environment.openDbi((String) null, DbiFlags.MDB_CREATE);
      this.readers = ThreadLocal.withInitial(() -> new Reader(environment));
    }

    /** What a thread keeps: a read transaction that is renewed, and a buffer for keys. */
    private static final class Reader {
      final Txn<ByteBuffer> transaction;
      final ByteBuffer key = allocateDirect(511);

      Reader(Env<ByteBuffer> environment) {
        transaction = environment.txnRead();
        transaction.reset();
      }
    }

    private static ByteBuffer fill(ByteBuffer buffer, byte[] bytes) {
      return buffer.clear().put(bytes).flip();
    }

    private static byte[] bytes(ByteBuffer buffer) {
      byte[] bytes = new byte[buffer.remaining()];
      buffer.get(bytes);
      return bytes;
    }

    private static byte[] utf8(String key) {
      return key.getBytes(StandardCharsets.UTF_8);
    }

    private TypedValue get(Txn<ByteBuffer> transaction, ByteBuffer key) {
      ByteBuffer found = database.get(transaction, key);
      return found == null ? null : TypedValue.decode(bytes(found));
    }

    private void put(Txn<ByteBuffer> transaction, ByteBuffer key, byte[] payload) {
      byte[] encoded = TypedValue.encode(payload);
      database.reserve(transaction, key, encoded.length).put(encoded);
    }

    @Override
    public void put(String key, byte[] payload) {
      putBatch(new String[] {key}, payload);
    }

    @Override
    public Object get(String key) {
      Reader reader = readers.get();
      reader.transaction.renew();
      try {
        return get(reader.transaction, fill(reader.key, utf8(key)));
      } finally {
        reader.transaction.reset();
      }
    }

    @Override
    public void putBatch(String[] keys, byte[] payload) {
      ByteBuffer buffer = readers.get().key;
      try (Txn<ByteBuffer> transaction = environment.txnWrite()) {
        for (String key : keys) {
          put(transaction, fill(buffer, utf8(key)), payload);
        }
        transaction.commit();
      }
    }

    private static Map.Entry<String, TypedValue> entry(CursorIterable.KeyVal<ByteBuffer> at) {
      return Map.entry(new String(bytes(at.key()), StandardCharsets.UTF_8), TypedValue.decode(bytes(at.val())));
    }

    @Override
    public List<?> list(String prefix) {
      Reader reader = readers.get();
      byte[] start = utf8(prefix);
      byte[] end = start.clone();
      ++end[end.length - 1];
      ByteBuffer stop = fill(allocateDirect(end.length), end);
      List<Object> entries = new ArrayList<>();
      reader.transaction.renew();
      try (CursorIterable<ByteBuffer> all = database.iterate(reader.transaction,
          KeyRange.closedOpen(fill(reader.key, start), stop))) {
        all.forEach(at -> entries.add(entry(at)));
      } finally {
        reader.transaction.reset();
      }
      return entries;
    }

    @Override
    public long walk() {
      long count = 0;
      try (Txn<ByteBuffer> transaction = environment.txnRead();
          CursorIterable<ByteBuffer> all = database.iterate(transaction)) {
        for (CursorIterable.KeyVal<ByteBuffer> at : all) {
          count += entry(at) == null ? 0 : 1;
        }
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) {
      ByteBuffer buffer = readers.get().key;
      try (Txn<ByteBuffer> transaction = environment.txnWrite()) {
        for (String key : keys) {
          get(transaction, fill(buffer, utf8(key)));
          put(transaction, fill(buffer, utf8(key)), payload);
        }
        transaction.commit();
      }
    }

    @Override
    public Object snapshotGet(String key) {
      try (Txn<ByteBuffer> transaction = environment.txnRead()) {
        return get(transaction, fill(readers.get().key, utf8(key)));
      }
    }

    @Override
    public void close() {
      environment.close();
    }
  }
}
