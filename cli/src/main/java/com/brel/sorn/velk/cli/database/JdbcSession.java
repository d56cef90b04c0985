package com.brel.sorn.velk.cli.database;

import java.io.Console;
import java.sql.Connection;
import java.sql.DatabaseMetaData;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.Map;
import java.util.Optional;
import java.util.Properties;
import java.util.Set;
import java.util.TreeSet;

/** A session of any database. */
final class JdbcSession extends Session {
  private static final int LOGIN_SECONDS = 30;

  /** What MariaDB says with the same SQLSTATE as that it refuses a value. */
  private static final Map<Integer, String> OF_SERVER =
      Map.of(
          1021, "its disk is full",
          1114, "its table is full",
          1205, "another session holds a lock for too long",
          1206, "it has no room for more locks",
          1290, "it is read-only");

  private final DatabaseUrl url;
  private final Dialect dialect;
  private final String quote;

  private JdbcSession(DatabaseUrl url, Connection connection) throws SQLException {
    super(connection);
    this.url = url;
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
      Connection connection = connect(drivers, url, readOnly);
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

  private static Connection connect(Drivers drivers, DatabaseUrl url, boolean readOnly)
      throws SQLException {
    java.sql.DriverManager.setLoginTimeout(LOGIN_SECONDS);
    String address = Dialect.address(url.jdbc(), readOnly);
    if (url.isPostgres() && !url.hasPassword()) {
      PasswordFile.refused();
    }
    try {
      return drivers.connect(url, address, properties(url));
    } catch (SQLException e) {
      Console console = System.console();
      boolean asks = String.valueOf(e.getSQLState()).matches("28.*|08004");
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

  /** An identifier as the database writes it, whatever is in it. */
  String quoted(String identifier) {
    return quote + identifier.replace(quote, quote + quote) + quote;
  }

  /** The schema that the session is in; a database that has none is one itself. */
  String schema() throws SQLException {
    String schema = connection().getSchema();
    schema = schema != null ? schema : connection().getCatalog();
    if (schema == null || schema.isEmpty()) {
      throw CopyException.refused(url + ": the URL names no database");
    }
    return schema;
  }

  String sql(TableName table) {
    return quoted(table.schema()) + "." + quoted(table.name());
  }

  /** Whether a table has a row. */
  boolean hasRows(TableName table) throws SQLException {
    try (Statement statement = connection().createStatement()) {
      statement.setMaxRows(1);
      try (ResultSet rows = statement.executeQuery("SELECT 1 FROM " + sql(table))) {
        return rows.next();
      }
    }
  }

  /** Whether another table has rows that may refer to this one's, and would go with them. */
  boolean hasChildren(TableName table) throws SQLException {
    String schema = connection().getSchema();
    String column = schema == null ? "FKTABLE_CAT" : "FKTABLE_SCHEM";
    DatabaseMetaData metadata = connection().getMetaData();
    Set<TableName> children = new TreeSet<>();
    try (ResultSet keys =
        metadata.getExportedKeys(connection().getCatalog(), schema, table.name())) {
      while (keys.next()) {
        children.add(new TableName(keys.getString(column), keys.getString("FKTABLE_NAME")));
      }
    }
    children.remove(table);
    for (TableName child : children) {
      if (hasRows(child)) {
        return true;
      }
    }
    return false;
  }

  /** What failed where no value was on its way. */
  String told(SQLException e) {
    return isOfData(e) ? toldOfData(e) : url.stripped(e.getMessage()) + states(e);
  }

  /** What failed where values were, which a server or a driver quotes in its messages. */
  static String toldOfData(SQLException e) {
    String state = String.valueOf(e.getSQLState());
    String what = state.startsWith("23") ? "a constraint is violated" : "a value is refused";
    return (isOfData(e) ? what : ofServer(e).orElse("the database fails")) + states(e);
  }

  private static Optional<String> ofServer(SQLException e) {
    return Optional.ofNullable(OF_SERVER.get(e.getErrorCode()))
        .filter(what -> "HY000".equals(e.getSQLState()));
  }

  private static String states(SQLException e) {
    return " (SQLSTATE " + e.getSQLState() + ", code " + e.getErrorCode() + ")";
  }

  static boolean isOfData(SQLException e) {
    return String.valueOf(e.getSQLState()).matches("(2[123]|44|HY000|01|null).*")
        && ofServer(e).isEmpty();
  }

  @Override
  public void close() {
    try {
      if (!connection().getAutoCommit()) {
        connection().rollback();
      }
    } catch (SQLException e) {
      // The server undoes what is not committed.
    }
    super.close();
  }
}
