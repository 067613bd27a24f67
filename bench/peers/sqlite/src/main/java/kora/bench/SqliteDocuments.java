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

/** A table of JSON texts with an index over an expression. */
public final class SqliteDocuments implements Documents {
  private final Connection connection;

  public SqliteDocuments(Path folder) throws SQLException {
    connection = DriverManager.getConnection("jdbc:sqlite:" + folder.resolve("documents.db"));
    try (Statement statement = connection.createStatement()) {
      statement.execute("PRAGMA journal_mode = WAL");
      statement.execute("PRAGMA synchronous = OFF");
      statement.execute("PRAGMA cache_size = -" + Driver.MEMORY_BUDGET / 1024);
      statement.execute("CREATE TABLE data (key TEXT PRIMARY KEY, document TEXT NOT NULL) WITHOUT ROWID");
      statement.execute("CREATE INDEX groups ON data (json_extract(document, '$.group'))");
    }
  }

  @Override
  public void fill(int count) throws SQLException {
    connection.setAutoCommit(false);
    try (PreparedStatement put = connection.prepareStatement("INSERT INTO data VALUES (?, ?)")) {
      for (int i = 0; i < count; ++i) {
        put.setString(1, Documents.key(i));
        put.setString(2, Documents.text(i, count));
        put.executeUpdate();
      }
    }
    connection.commit();
    connection.setAutoCommit(true);
  }

  @Override
  public List<?> find(int group) throws SQLException {
    List<Object> found = new ArrayList<>();
    try (PreparedStatement query = connection.prepareStatement(
        "SELECT key, document FROM data WHERE json_extract(document, '$.group') = ? ORDER BY key")) {
      query.setInt(1, group);
      try (ResultSet row = query.executeQuery()) {
        while (row.next()) {
          found.add(Map.entry(row.getString(1), row.getString(2)));
        }
      }
    }
    return found;
  }

  @Override
  public void close() throws SQLException {
    connection.close();
  }
}
