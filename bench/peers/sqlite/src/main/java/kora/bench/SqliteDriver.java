package kora.bench;

import java.nio.file.Path;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentLinkedQueue;
import org.sqlite.SQLiteJDBCLoader;

/** SQLite's JDBC driver, with a write-ahead log; one connection a thread. */
public final class SqliteDriver implements Driver {
  @Override
  public void load() throws Exception {
    SQLiteJDBCLoader.initialize();
  }

  @Override
  public Store open(Path folder, Durability durability) throws SQLException {
    return new SqliteStore("jdbc:sqlite:" + folder.resolve("data.db"), durability);
  }

  private static final class Session {
    final Connection connection;
    final PreparedStatement put;
    final PreparedStatement get;
    final PreparedStatement range;
    final PreparedStatement all;

    Session(String url, Durability durability) throws SQLException {
      connection = DriverManager.getConnection(url);
      try (Statement statement = connection.createStatement()) {
        statement.execute("PRAGMA journal_mode = WAL");
        statement.execute("PRAGMA synchronous = " + (durability == Durability.POWER ? "FULL" : "OFF"));
        statement.execute("PRAGMA cache_size = -" + MEMORY_BUDGET / 1024);
        statement.execute("PRAGMA busy_timeout = 10000");
        statement.execute("CREATE TABLE IF NOT EXISTS data"
            + " (key TEXT PRIMARY KEY, type INTEGER NOT NULL, value BLOB NOT NULL) WITHOUT ROWID");
      }
      put = connection.prepareStatement("INSERT OR REPLACE INTO data VALUES (?, 6, ?)");
      get = connection.prepareStatement("SELECT key, type, value FROM data WHERE key = ?");
      range = connection.prepareStatement("SELECT key, type, value FROM data WHERE key >= ? AND key < ? ORDER BY key");
      all = connection.prepareStatement("SELECT key, type, value FROM data ORDER BY key");
    }
  }

  private static final class SqliteStore implements Store {
    private final ConcurrentLinkedQueue<Session> opened = new ConcurrentLinkedQueue<>();
    private final ThreadLocal<Session> sessions;

    SqliteStore(String url, Durability durability) {
      sessions = ThreadLocal.withInitial(() -> {
        try {
          Session session = new Session(url, durability);
          opened.add(session);
          return session;
        } catch (SQLException error) {
          throw new IllegalStateException(error);
        }
      });
      sessions.get();
    }

    private static void put(Session session, String key, byte[] payload) throws SQLException {
      session.put.setString(1, key);
      session.put.setBytes(2, payload);
      session.put.executeUpdate();
    }

    private static Map.Entry<String, Map.Entry<Integer, byte[]>> entry(ResultSet row) throws SQLException {
      return Map.entry(row.getString(1), Map.entry(row.getInt(2), row.getBytes(3)));
    }

    @Override
    public void put(String key, byte[] payload) throws SQLException {
      put(sessions.get(), key, payload);
    }

    @Override
    public Object get(String key) throws SQLException {
      PreparedStatement get = sessions.get().get;
      get.setString(1, key);
      try (ResultSet row = get.executeQuery()) {
        return row.next() ? entry(row).getValue() : null;
      }
    }

    private interface Work {
      void run(Session session) throws SQLException;
    }

    private void inTransaction(Work work) throws SQLException {
      Session session = sessions.get();
      session.connection.setAutoCommit(false);
      try {
        work.run(session);
        session.connection.commit();
      } finally {
        session.connection.setAutoCommit(true);
      }
    }

    @Override
    public void putBatch(String[] keys, byte[] payload) throws SQLException {
      inTransaction(session -> {
        for (String key : keys) {
          put(session, key, payload);
        }
      });
    }

    @Override
    public List<?> list(String prefix) throws SQLException {
      char next = (char) (prefix.charAt(prefix.length() - 1) + 1);
      PreparedStatement range = sessions.get().range;
      range.setString(1, prefix);
      range.setString(2, prefix.substring(0, prefix.length() - 1) + next);
      List<Object> entries = new ArrayList<>();
      try (ResultSet row = range.executeQuery()) {
        while (row.next()) {
          entries.add(entry(row));
        }
      }
      return entries;
    }

    @Override
    public long walk() throws SQLException {
      long count = 0;
      try (ResultSet row = sessions.get().all.executeQuery()) {
        while (row.next()) {
          count += entry(row) == null ? 0 : 1;
        }
      }
      return count;
    }

    @Override
    public void transact(String[] keys, byte[] payload) throws SQLException {
      inTransaction(session -> {
        for (String key : keys) {
          get(key);
          put(session, key, payload);
        }
      });
    }

    @Override
    public Object snapshotGet(String key) throws SQLException {
      Object[] found = new Object[1];
      inTransaction(session -> found[0] = get(key));
      return found[0];
    }

    @Override
    public void close() throws SQLException {
      for (Session session : opened) {
        session.connection.close();
      }
    }
  }
}
