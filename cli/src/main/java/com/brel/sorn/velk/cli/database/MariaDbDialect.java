package com.brel.sorn.velk.cli.database;

import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.SQLIntegrityConstraintViolationException;
import java.sql.Types;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.LocalTime;
import java.time.OffsetDateTime;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.time.format.DateTimeFormatterBuilder;
import java.time.format.DateTimeParseException;
import java.time.temporal.ChronoField;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;
import java.util.UUID;

/** MariaDB, whose times cross as the server writes them: it has some that no calendar has. */
final class MariaDbDialect extends Dialect {
  static final Map<String, String> PROPERTIES =
      Map.of(
          "tinyInt1isBit", "false",
          "yearIsDateType", "false",
          "allowLocalInfile", "false",
          "dumpQueriesOnException", "false",
          "useServerPrepStmts", "true",
          "useBulkStmts", "true");

  /**
   * A text that is too long is refused, 0 stays 0, and a date that is none stays what it is. What
   * the server may have been told to leave unchecked, or unread, is not. A lock of somebody else's
   * is waited for a minute, and not a day.
   */
  private static final List<String> SETTINGS =
      List.of(
          "sql_mode = 'STRICT_ALL_TABLES,NO_AUTO_VALUE_ON_ZERO,ALLOW_INVALID_DATES,NO_ENGINE_SUBSTITUTION'",
          "time_zone = '+00:00'",
          "net_write_timeout = 86400",
          "net_read_timeout = 86400",
          "wait_timeout = 86400",
          "lock_wait_timeout = 60",
          "innodb_lock_wait_timeout = 60",
          "unique_checks = 1",
          "check_constraint_checks = 1",
          "sql_select_limit = 18446744073709551615",
          "max_statement_time = 0");

  private static final DateTimeFormatter CLOCK =
      new DateTimeFormatterBuilder()
          .append(DateTimeFormatter.ISO_LOCAL_DATE)
          .appendPattern(" HH:mm:ss")
          .appendFraction(ChronoField.NANO_OF_SECOND, 0, 9, true)
          .toFormatter(Locale.ROOT);

  @Override
  void settle(JdbcSession session) throws SQLException {
    for (String setting : SETTINGS) {
      session.execute("SET SESSION " + setting);
    }
  }

  @Override
  boolean beginSnapshot(JdbcSession source, List<TableName> tables) throws SQLException {
    source.execute("SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ");
    source.execute("START TRANSACTION WITH CONSISTENT SNAPSHOT, READ ONLY");
    touch(source, tables);
    return true;
  }

  @Override
  boolean isSame(JdbcSession source, JdbcSession target) throws SQLException {
    String name = "velk_copy " + UUID.randomUUID();
    source.text("SELECT GET_LOCK(?, 0)", name);
    try {
      boolean oneServer = target.number("SELECT IS_FREE_LOCK(?)", name) == 0;
      return oneServer && source.schema().equals(target.schema());
    } finally {
      source.text("SELECT RELEASE_LOCK(?)", name);
    }
  }

  @Override
  Map<String, String> withoutTransactions(JdbcSession session) throws SQLException {
    Map<String, String> found = new TreeMap<>();
    session.rows(
        "SELECT t.TABLE_NAME, t.ENGINE FROM information_schema.TABLES t"
            + " LEFT JOIN information_schema.ENGINES e ON e.ENGINE = t.ENGINE"
            + " WHERE t.TABLE_SCHEMA = ? AND t.TABLE_TYPE = 'BASE TABLE'"
            + " AND COALESCE(e.TRANSACTIONS, 'NO') <> 'YES'",
        row -> found.put(row.getString(1), "its engine " + row.getString(2)),
        session.schema());
    return found;
  }

  @Override
  Map<String, String> unfit(JdbcSession session) throws SQLException {
    Map<String, String> unfit = new TreeMap<>();
    session.rows(
        "SELECT TABLE_NAME FROM information_schema.TABLES WHERE TABLE_SCHEMA = ?"
            + " AND TABLE_TYPE = 'SYSTEM VERSIONED'",
        row -> unfit.put(row.getString(1), "its rows have a history, which is not copied"),
        session.schema());
    return unfit;
  }

  /**
   * 2 is a label's number, 70 the year 1970, and what has a number of digits is rounded to them.
   */
  @Override
  Map<List<String>, String> narrowTypes(JdbcSession session) throws SQLException {
    Map<List<String>, String> types = new HashMap<>();
    session.rows(
        "SELECT TABLE_NAME, COLUMN_NAME, COLUMN_TYPE FROM information_schema.COLUMNS"
            + " WHERE TABLE_SCHEMA = ? AND (DATA_TYPE IN ('enum', 'set', 'year')"
            + " OR DATA_TYPE IN ('float', 'double') AND NUMERIC_SCALE IS NOT NULL)",
        row -> types.put(List.of(row.getString(1), row.getString(2)), row.getString(3)),
        session.schema());
    return types;
  }

  /** The driver asks a view that shows nothing of a table to those who may only read it. */
  @Override
  <T> List<T> foreignKeys(JdbcSession session, TableName table, Session.RowReader<T> read)
      throws SQLException {
    return session.rows(
        "SELECT CONSTRAINT_NAME FK_NAME, ORDINAL_POSITION KEY_SEQ, COLUMN_NAME FKCOLUMN_NAME,"
            + " REFERENCED_TABLE_SCHEMA PKTABLE_CAT, REFERENCED_TABLE_SCHEMA PKTABLE_SCHEM,"
            + " REFERENCED_TABLE_NAME PKTABLE_NAME, REFERENCED_COLUMN_NAME PKCOLUMN_NAME"
            + " FROM information_schema.KEY_COLUMN_USAGE WHERE TABLE_SCHEMA = ?"
            + " AND TABLE_NAME = ? AND REFERENCED_TABLE_NAME IS NOT NULL",
        read,
        table.schema(),
        table.name());
  }

  @Override
  boolean isUnordered(JdbcSession target) {
    return true;
  }

  @Override
  void setUnordered(JdbcSession target) throws SQLException {
    target.execute("SET SESSION foreign_key_checks = 0");
  }

  /** The session that writes holds it, and with its end both are gone. */
  @Override
  boolean lock(JdbcSession target) throws SQLException {
    return target.number("SELECT GET_LOCK(?, 10)", "velk_copy " + target.schema()) == 1;
  }

  @Override
  String longText() {
    return "longtext";
  }

  @Override
  String tableEnd() {
    return " ENGINE = InnoDB CHARACTER SET utf8mb4 COLLATE utf8mb4_bin";
  }

  /** The server sends them anyway; the driver takes them off the wire. */
  @Override
  int fetched(JdbcSession source, TableName table, boolean isLong) throws SQLException {
    return isLong ? 1 : super.fetched(source, table, false);
  }

  @Override
  Form form(int jdbcType, String typeName, int size) {
    return switch (typeName.toUpperCase(Locale.ROOT)) {
      case "UUID" -> Form.UNIQUE_ID;
      case "INET4", "INET6" -> Form.OWN_TEXT;
      case "DATETIME" -> Form.CLOCK;
      case "TIMESTAMP" -> Form.INSTANT;
      case "BIT" -> size <= 1 ? Form.BOOLEAN : Form.OWN_BYTES;
      default -> super.form(jdbcType, typeName, size);
    };
  }

  private static boolean isTime(JdbcColumn column) {
    return column.form().isTime() || column.form() == Form.TIME;
  }

  @Override
  String selected(JdbcColumn column, String name) {
    return isTime(column) ? "CAST(" + name + " AS CHAR)" : name;
  }

  @Override
  Object read(ResultSet row, int at, JdbcColumn column) throws SQLException {
    if (!isTime(column) && column.form() != Form.UNIQUE_ID) {
      return super.read(row, at, column);
    }
    String text = row.getString(at);
    if (text == null) {
      return null;
    }
    try {
      return switch (column.form()) {
        case DATE -> LocalDate.parse(text);
        case TIME -> LocalTime.parse(text);
        case CLOCK -> Form.clock(text);
        case INSTANT -> Form.instant(text);
        default -> UUID.fromString(text);
      };
    } catch (DateTimeParseException e) {
      return text; // 0000-00-00, or a time of more than a day: no other database has it.
    }
  }

  @Override
  void write(PreparedStatement statement, int at, JdbcColumn column, Object value)
      throws SQLException {
    super.write(statement, at, column, written(value));
  }

  private static Object written(Object value) {
    if (value instanceof LocalDateTime clock) {
      return CLOCK.format(clock);
    }
    if (value instanceof OffsetDateTime instant) {
      return CLOCK.format(instant.withOffsetSameInstant(ZoneOffset.UTC));
    }
    boolean asText = value instanceof LocalDate || value instanceof LocalTime;
    return asText || value instanceof UUID ? value.toString() : value;
  }

  /** In place of null such a column gets the time of day, or the next number. */
  @Override
  void writeNull(PreparedStatement statement, int at, JdbcColumn column) throws SQLException {
    boolean isReplaced = column.counted() || column.form() == Form.INSTANT;
    if (isReplaced && column.column().notNull()) {
      throw new SQLIntegrityConstraintViolationException("null", "23000");
    }
    super.writeNull(statement, at, column);
  }

  @Override
  int nullType(JdbcColumn column) {
    return isTime(column) || column.form() == Form.UNIQUE_ID
        ? Types.VARCHAR
        : super.nullType(column);
  }
}
