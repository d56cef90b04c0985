package com.brel.sorn.velk.cli.database;

import java.sql.Connection;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLDataException;
import java.sql.SQLException;
import java.sql.SQLIntegrityConstraintViolationException;
import java.sql.Types;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.LocalTime;
import java.time.OffsetDateTime;
import java.util.ArrayList;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Set;
import java.util.UUID;

/** What databases do each its own way; this is one of which nothing is known. */
class Dialect {
  /** A size that is as good as none. */
  static final int NO_LIMIT = 1_000_000;

  private static final int FETCHED = 100;

  static Dialect of(String product) {
    return switch (product) {
      case "PostgreSQL" -> new PostgresDialect();
      case "MariaDB" -> new MariaDbDialect();
      case "H2" -> new H2Dialect();
      default -> new Dialect();
    };
  }

  /** A URL by which nothing is made that is not there, nor changed by being read. */
  static String address(String url, boolean readOnly) {
    return url.startsWith("jdbc:h2:") ? H2Dialect.ownAddress(url, readOnly) : url;
  }

  /** What a driver is told beside user and password. */
  static Properties properties(String url) {
    Properties properties = new Properties();
    if (url.startsWith("jdbc:postgresql:")) {
      properties.putAll(PostgresDialect.PROPERTIES);
    }
    if (url.startsWith("jdbc:mariadb:")) {
      properties.putAll(MariaDbDialect.PROPERTIES);
    }
    return properties;
  }

  /** Sets what keeps values as they are, for the session alone. */
  void settle(JdbcSession session) throws SQLException {
    // What nobody knows is left alone.
  }

  /**
   * Begins a transaction that sees one state of all tables.
   *
   * @return whether the database has such a one; if not, none is begun
   */
  boolean beginSnapshot(JdbcSession source, List<TableName> tables) throws SQLException {
    Connection connection = source.connection();
    int strongest = Connection.TRANSACTION_SERIALIZABLE;
    if (!connection.getMetaData().supportsTransactionIsolationLevel(strongest)) {
      return false;
    }
    connection.setTransactionIsolation(strongest);
    connection.setAutoCommit(false);
    touch(source, tables);
    return true;
  }

  /** Reads nothing of each table, which keeps its form until the transaction ends. */
  static void touch(JdbcSession source, List<TableName> tables) throws SQLException {
    for (TableName table : tables) {
      source.rows("SELECT 1 FROM " + source.sql(table) + " WHERE 1 = 0", row -> null);
    }
  }

  /** Asks the servers whether two sessions are in one database and schema. */
  boolean isSame(JdbcSession source, JdbcSession target) throws SQLException {
    String one = source.connection().getMetaData().getURL();
    return one != null
        && one.equals(target.connection().getMetaData().getURL())
        && source.schema().equals(target.schema());
  }

  /** Tables whose rows belong to no transaction, each with the reason. */
  Map<String, String> withoutTransactions(JdbcSession session) throws SQLException {
    return Map.of();
  }

  /** Tables that are no tables of their own. */
  Set<String> parts(JdbcSession session) throws SQLException {
    return Set.of();
  }

  /** Tables that are not copied, each with the reason. */
  Map<String, String> unfit(JdbcSession session) throws SQLException {
    return Map.of();
  }

  /**
   * Types into which values of others do not go without being changed.
   *
   * @return the whole type of each such column, by its table and its name
   */
  Map<List<String>, String> narrowTypes(JdbcSession session) throws SQLException {
    return Map.of();
  }

  /** Columns that have another value in place of null, each by its table and its name. */
  Set<List<String>> fillingNull(JdbcSession session) throws SQLException {
    return Set.of();
  }

  /**
   * Reads the columns of a table's foreign keys.
   *
   * @param read reads one, by the names of {@link java.sql.DatabaseMetaData#getImportedKeys}
   */
  <T> List<T> foreignKeys(JdbcSession session, TableName table, Session.RowReader<T> read)
      throws SQLException {
    Connection connection = session.connection();
    List<T> found = new ArrayList<>();
    try (ResultSet rows =
        connection
            .getMetaData()
            .getImportedKeys(connection.getCatalog(), connection.getSchema(), table.name())) {
      while (rows.next()) {
        found.add(read.read(rows));
      }
    }
    return found;
  }

  /** Tables of which the session does not see all rows. */
  Set<String> hidden(JdbcSession session) throws SQLException {
    return Set.of();
  }

  /** What keeps a database from being a target, null where nothing does. */
  String unfitTarget(JdbcSession target) throws SQLException {
    return target.connection().getMetaData().supportsTransactions()
        ? null
        : "the target has no transactions";
  }

  /** Whether a session may write children before their parents. */
  boolean isUnordered(JdbcSession target) throws SQLException {
    return false;
  }

  /** Has a session write children before their parents. */
  void setUnordered(JdbcSession target) throws SQLException {
    throw new IllegalStateException();
  }

  /**
   * Makes the session the only one that copies into its schema.
   *
   * @return whether there is no other
   */
  boolean lock(JdbcSession target) throws SQLException {
    return true;
  }

  /** A type for a text of any length. */
  String longText() {
    return "clob";
  }

  /** What a table needs to take part in transactions. */
  String tableEnd() {
    return "";
  }

  /** What has a statement write numbers that the database would give itself. */
  String overriding() {
    return "";
  }

  /**
   * Rows that a driver is to bring at a time.
   *
   * @param isLong whether a column has no limit
   */
  int fetched(JdbcSession source, TableName table, boolean isLong) throws SQLException {
    return isLong ? FETCHED / 25 : FETCHED;
  }

  /**
   * Looks for rows that a constraint would have refused in another session than the copy's.
   *
   * @throws CopyException if there are such rows
   */
  void requireConstraints(JdbcSession target, Collection<TableName> tables) throws SQLException {
    // All constraints are checked with every row.
  }

  /** Goes on counting behind the numbers that were copied. */
  void follow(JdbcSession target, TableName table, String column) throws SQLException {
    // Nobody knows how.
  }

  /** What a column is, by its metadata. */
  Form form(int jdbcType, String typeName, int size) {
    return switch (jdbcType) {
      case Types.TINYINT, Types.SMALLINT, Types.INTEGER, Types.BIGINT -> Form.INTEGER;
      case Types.NUMERIC, Types.DECIMAL -> Form.DECIMAL;
      case Types.DOUBLE, Types.FLOAT -> Form.DOUBLE;
      case Types.REAL -> Form.REAL;
      case Types.BOOLEAN -> Form.BOOLEAN;
      case Types.BIT -> size <= 1 ? Form.BOOLEAN : Form.NONE;
      case Types.CHAR, Types.VARCHAR, Types.LONGVARCHAR, Types.CLOB -> Form.TEXT;
      case Types.NCHAR, Types.NVARCHAR, Types.LONGNVARCHAR, Types.NCLOB -> Form.TEXT;
      case Types.BINARY, Types.VARBINARY, Types.LONGVARBINARY, Types.BLOB -> Form.BINARY;
      case Types.DATE -> Form.DATE;
      case Types.TIME -> Form.TIME;
      case Types.TIMESTAMP -> Form.CLOCK;
      case Types.TIMESTAMP_WITH_TIMEZONE -> Form.INSTANT;
      default -> Form.NONE;
    };
  }

  /** The digits of a decimal by its metadata, 0 for no limit. */
  int digits(String typeName, int told) {
    return told;
  }

  /** What a statement selects to read a column. */
  String selected(JdbcColumn column, String name) {
    return name;
  }

  /** Reads a value, null where it is null. */
  Object read(ResultSet row, int at, JdbcColumn column) throws SQLException {
    Object value =
        switch (column.form()) {
          case INTEGER -> integer(row, at, column);
          case DECIMAL -> row.getBigDecimal(at);
          case DOUBLE -> row.getDouble(at);
          case REAL -> row.getFloat(at);
          case BOOLEAN -> row.getBoolean(at);
          case BINARY, OWN_BYTES -> row.getBytes(at);
          case DATE -> row.getObject(at, LocalDate.class);
          case TIME -> row.getObject(at, LocalTime.class);
          case CLOCK -> row.getObject(at, LocalDateTime.class);
          case INSTANT -> row.getObject(at, OffsetDateTime.class);
          case UNIQUE_ID -> row.getObject(at, UUID.class);
          default -> row.getString(at);
        };
    return row.wasNull() ? null : value;
  }

  private static Object integer(ResultSet row, int at, JdbcColumn column) throws SQLException {
    boolean wide = column.unsigned() && column.size() == Long.SIZE;
    return wide ? row.getBigDecimal(at) : (Object) row.getLong(at);
  }

  /** Has a statement write a value that is not null. */
  void write(PreparedStatement statement, int at, JdbcColumn column, Object value)
      throws SQLException {
    if (value instanceof byte[] bytes) {
      statement.setBytes(at, bytes);
    } else if (value instanceof String text) {
      statement.setString(at, whole(text));
    } else {
      statement.setObject(at, value);
    }
  }

  /** Drivers put a question mark in place of half a surrogate pair, which has no UTF-8. */
  String whole(String text) throws SQLException {
    for (int i = 0; i < text.length(); i += Character.charCount(text.codePointAt(i))) {
      int codePoint = text.codePointAt(i);
      if (codePoint >= Character.MIN_SURROGATE && codePoint <= Character.MAX_SURROGATE) {
        throw new SQLDataException("half a surrogate pair", "22021");
      }
    }
    return text;
  }

  /** Has a statement write null. */
  void writeNull(PreparedStatement statement, int at, JdbcColumn column) throws SQLException {
    if (column.fillsNull()) {
      throw new SQLIntegrityConstraintViolationException("null", "23000");
    }
    statement.setNull(at, nullType(column));
  }

  /** The type by which null is written. */
  int nullType(JdbcColumn column) {
    return switch (column.form()) {
      case INTEGER -> Types.BIGINT;
      case DECIMAL -> Types.DECIMAL;
      case DOUBLE -> Types.DOUBLE;
      case REAL -> Types.REAL;
      case BOOLEAN -> Types.BOOLEAN;
      case BINARY, OWN_BYTES -> Types.VARBINARY;
      case DATE -> Types.DATE;
      case TIME -> Types.TIME;
      case CLOCK -> Types.TIMESTAMP;
      case INSTANT -> Types.TIMESTAMP_WITH_TIMEZONE;
      case UNIQUE_ID -> Types.OTHER;
      default -> Types.VARCHAR;
    };
  }
}
