package com.brel.sorn.velk.cli.database;

import java.sql.Connection;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;

/** A session of a database, and what is asked of it in SQL. */
abstract class Session implements AutoCloseable {
  /** Makes something of the row that a result is at. */
  interface RowReader<T> {
    T read(ResultSet row) throws SQLException;
  }

  private final Connection connection;

  Session(Connection connection) {
    this.connection = connection;
  }

  final Connection connection() {
    return connection;
  }

  void execute(String sql) throws SQLException {
    try (Statement statement = connection.createStatement()) {
      statement.execute(sql);
    }
  }

  <T> List<T> rows(String sql, RowReader<T> reader, Object... arguments) throws SQLException {
    try (PreparedStatement statement = connection.prepareStatement(sql)) {
      bind(statement, arguments);
      try (ResultSet rows = statement.executeQuery()) {
        List<T> all = new ArrayList<>();
        while (rows.next()) {
          all.add(reader.read(rows));
        }
        return all;
      }
    }
  }

  /** The first column of the only row. */
  String text(String sql, Object... arguments) throws SQLException {
    return rows(sql, row -> row.getString(1), arguments).get(0);
  }

  long number(String sql, Object... arguments) throws SQLException {
    return rows(sql, row -> row.getLong(1), arguments).get(0);
  }

  boolean isTrue(String sql, Object... arguments) throws SQLException {
    return rows(sql, row -> row.getBoolean(1), arguments).get(0);
  }

  /** Changes rows, and tells how many. */
  int update(String sql, Object... arguments) throws SQLException {
    try (PreparedStatement statement = connection.prepareStatement(sql)) {
      bind(statement, arguments);
      return statement.executeUpdate();
    }
  }

  private static void bind(PreparedStatement statement, Object... arguments) throws SQLException {
    for (int i = 0; i < arguments.length; i++) {
      statement.setObject(i + 1, arguments[i]);
    }
  }

  @Override
  public void close() {
    try {
      connection.close();
    } catch (SQLException e) {
      // Nothing of it is needed any more, and what is not committed is undone by the server.
    }
  }
}
