package com.brel.sorn.velk.cli.database;

import java.io.Console;
import java.sql.Connection;
import java.sql.DatabaseMetaData;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;

/** A session of any database. */
final class JdbcSession implements AutoCloseable {
  private static final int LOGIN_SECONDS = 30;

  private final DatabaseUrl url;
  private final Connection connection;
  private final Dialect dialect;
  private final String quote;

  private JdbcSession(DatabaseUrl url, Connection connection) throws SQLException {
    this.url = url;
    this.connection = connection;
    DatabaseMetaData metadata = connection.getMetaData();
    dialect = Dialect.of(metadata.getDatabaseProductName());
    String told = metadata.getIdentifierQuoteString();
    quote = told == null || told.isBlank() ? "\"" : told;
  }

  /**
   * Opens a session.
   *
   * @param readOnly whether nothing is to be written in it
   */
  static JdbcSession open(Drivers drivers, DatabaseUrl url, boolean readOnly) {
    try {
      Connection connection = connect(drivers, url);
      try {
        connection.setReadOnly(readOnly);
        JdbcSession session = new JdbcSession(url, connection);
        session.dialect.settle(session);
        return session;
      } catch (SQLException e) {
        connection.close();
        throw e;
      }
    } catch (SQLException e) {
      throw CopyException.failed(url + ": " + url.stripped(e.getMessage()) + states(e));
    }
  }

  private static Connection connect(Drivers drivers, DatabaseUrl url) throws SQLException {
    java.sql.DriverManager.setLoginTimeout(LOGIN_SECONDS);
    String address = Dialect.address(url.jdbc());
    try {
      return drivers.connect(url, address, properties(url));
    } catch (SQLException e) {
      Console console = System.console();
      boolean asks = e.getSQLState() != null && e.getSQLState().startsWith("28");
      if (!asks || url.hasPassword() || console == null) {
        throw e;
      }
      char[] password = console.readPassword("password of %s: ", url);
      if (password == null) {
        throw e;
      }
      url.password(new String(password));
      return drivers.connect(url, address, properties(url));
    }
  }

  private static Properties properties(DatabaseUrl url) {
    Properties properties = url.credentials();
    properties.putAll(Dialect.properties(url.jdbc()));
    return properties;
  }

  Dialect dialect() {
    return dialect;
  }

  Connection connection() {
    return connection;
  }

  DatabaseUrl url() {
    return url;
  }

  /** An identifier as the database writes it, whatever is in it. */
  String quoted(String identifier) {
    return quote + identifier.replace(quote, quote + quote) + quote;
  }

  /** The schema that the session is in; a database that has none is one itself. */
  String schema() throws SQLException {
    String schema = connection.getSchema();
    schema = schema != null ? schema : connection.getCatalog();
    if (schema == null || schema.isEmpty()) {
      throw CopyException.refused(url + ": the URL names no database");
    }
    return schema;
  }

  /** A table of the session's own schema. */
  String sql(TableName table) {
    return quoted(table.schema()) + "." + quoted(table.name());
  }

  void execute(String sql) throws SQLException {
    try (Statement statement = connection.createStatement()) {
      statement.execute(sql);
    }
  }

  <T> List<T> rows(String sql, Postgres.RowReader<T> reader, Object... arguments)
      throws SQLException {
    try (PreparedStatement statement = connection.prepareStatement(sql)) {
      bind(statement, arguments);
      try (ResultSet rows = statement.executeQuery()) {
        return all(rows, reader);
      }
    }
  }

  static <T> List<T> all(ResultSet rows, Postgres.RowReader<T> reader) throws SQLException {
    List<T> all = new ArrayList<>();
    while (rows.next()) {
      all.add(reader.read(rows));
    }
    return all;
  }

  /** The first column of the only row. */
  String text(String sql, Object... arguments) throws SQLException {
    return rows(sql, row -> row.getString(1), arguments).get(0);
  }

  long number(String sql, Object... arguments) throws SQLException {
    return rows(sql, row -> row.getLong(1), arguments).get(0);
  }

  int update(String sql, Object... arguments) throws SQLException {
    try (PreparedStatement statement = connection.prepareStatement(sql)) {
      bind(statement, arguments);
      return statement.executeUpdate();
    }
  }

  /** Whether a table of the session's own schema has a row. */
  boolean hasRows(TableName table) throws SQLException {
    try (Statement statement = connection.createStatement()) {
      statement.setMaxRows(1);
      try (ResultSet rows = statement.executeQuery("SELECT 1 FROM " + sql(table))) {
        return rows.next();
      }
    }
  }

  private static void bind(PreparedStatement statement, Object... arguments) throws SQLException {
    for (int i = 0; i < arguments.length; i++) {
      statement.setObject(i + 1, arguments[i]);
    }
  }

  /** What failed where no value was on its way. */
  String told(SQLException e) {
    return isOfData(e) ? toldOfData(e) : url.stripped(e.getMessage()) + states(e);
  }

  /** What failed where values were, which a server or a driver quotes in its messages. */
  static String toldOfData(SQLException e) {
    String state = String.valueOf(e.getSQLState());
    String what = state.startsWith("23") ? "a constraint is violated" : "a value is refused";
    return (isOfData(e) ? what : "the database fails") + states(e);
  }

  private static String states(SQLException e) {
    return " (SQLSTATE " + e.getSQLState() + ", code " + e.getErrorCode() + ")";
  }

  static boolean isOfData(SQLException e) {
    return String.valueOf(e.getSQLState()).matches("(2[123]|44|HY000|01|null).*");
  }

  @Override
  public void close() {
    try {
      if (!connection.getAutoCommit()) {
        connection.rollback();
      }
    } catch (SQLException e) {
      // The server undoes what is not committed.
    }
    try {
      connection.close();
    } catch (SQLException e) {
      // Nothing of it is needed any more.
    }
  }
}
