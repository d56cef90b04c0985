package com.brel.sorn.velk.cli.database;

import java.sql.Connection;
import java.sql.ResultSet;
import java.sql.SQLDataException;
import java.sql.SQLException;
import java.time.LocalTime;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;

/** PostgreSQL beside another database. */
final class PostgresDialect extends Dialect {
  /** The server says of what type a text is, so that it is the column's. */
  static final Map<String, String> PROPERTIES =
      Map.of(
          "ApplicationName",
          "velk copy",
          "logServerErrorDetail",
          "false",
          "stringtype",
          "unspecified");

  private static final String LOCKED = "55P03";
  private static final String LOCK_TIMEOUT = "lock_timeout = '60s'";
  private static final int MOST_DIGITS = 1000;

  private static final List<String> SETTINGS =
      List.of(
          "TimeZone = 'UTC'",
          "DateStyle = 'ISO, YMD'",
          "extra_float_digits = 3",
          "row_security = off",
          "statement_timeout = 0",
          LOCK_TIMEOUT,
          "idle_in_transaction_session_timeout = 0");

  private static final long COPY = 0x76656c6b_636f7079L;

  @Override
  void settle(JdbcSession session) throws SQLException {
    for (String setting : SETTINGS) {
      session.execute("SET " + setting);
    }
  }

  @Override
  boolean beginSnapshot(JdbcSession source, List<TableName> tables) throws SQLException {
    source.connection().setTransactionIsolation(Connection.TRANSACTION_REPEATABLE_READ);
    source.connection().setAutoCommit(false);
    for (TableName table : tables) {
      source.execute("LOCK TABLE " + source.sql(table) + " IN ACCESS SHARE MODE");
    }
    return true;
  }

  private static Set<String> names(JdbcSession session, String condition) throws SQLException {
    return new TreeSet<>(
        session.rows(
            "SELECT relname FROM pg_catalog.pg_class WHERE relnamespace ="
                + " pg_catalog.current_schema()::pg_catalog.regnamespace AND "
                + condition,
            row -> row.getString(1)));
  }

  @Override
  Set<String> parts(JdbcSession session) throws SQLException {
    return names(session, "relispartition");
  }

  @Override
  Map<String, String> unfit(JdbcSession session) throws SQLException {
    Map<String, String> unfit = new TreeMap<>();
    names(
            session,
            "relkind = 'r' AND EXISTS (SELECT FROM pg_catalog.pg_inherits i WHERE i.inhparent ="
                + " pg_class.oid)")
        .forEach(name -> unfit.put(name, "others inherit from it, and would be read with it"));
    return unfit;
  }

  @Override
  Set<String> hidden(JdbcSession session) throws SQLException {
    return names(session, "pg_catalog.row_security_active(oid)");
  }

  @Override
  boolean isUnordered(JdbcSession target) throws SQLException {
    return DatabaseCopy.allowsReplicaRole(target);
  }

  @Override
  void setUnordered(JdbcSession target) throws SQLException {
    target.execute("SET session_replication_role = replica");
  }

  /** A session that ends, as the one before this does, has its lock for a moment more. */
  @Override
  boolean lock(JdbcSession target) throws SQLException {
    target.execute("SET lock_timeout = '10s'");
    try {
      target.rows("SELECT pg_catalog.pg_advisory_lock(?)", row -> null, COPY);
      return true;
    } catch (SQLException e) {
      if (LOCKED.equals(e.getSQLState())) {
        return false;
      }
      throw e;
    } finally {
      target.execute("SET " + LOCK_TIMEOUT);
    }
  }

  @Override
  void requireConstraints(JdbcSession target, Collection<TableName> tables) throws SQLException {
    UncheckedConstraints.require(target, tables);
  }

  @Override
  String longText() {
    return "text";
  }

  @Override
  String overriding() {
    return " OVERRIDING SYSTEM VALUE";
  }

  @Override
  int digits(String typeName, int told) {
    return told > MOST_DIGITS ? 0 : told;
  }

  /** What the driver has in place of 24:00, which no clock of Java shows. */
  @Override
  Object read(ResultSet row, int at, JdbcColumn column) throws SQLException {
    Object value = super.read(row, at, column);
    if (LocalTime.MAX.equals(value)) {
      throw new SQLDataException("no time of a day", "22008");
    }
    return value;
  }

  /** The driver holds them all; what is long stands in a table of its own, which may be empty. */
  @Override
  int fetched(JdbcSession source, TableName table, boolean isLong) throws SQLException {
    boolean none =
        source
            .rows(
                "SELECT reltoastrelid = 0 OR pg_catalog.pg_relation_size(reltoastrelid) = 0"
                    + " FROM pg_catalog.pg_class WHERE relkind = 'r' AND oid = ?::regclass",
                row -> row.getBoolean(1),
                source.sql(table))
            .contains(true);
    return super.fetched(source, table, isLong && !none);
  }

  @Override
  void follow(JdbcSession target, TableName table, String column) throws SQLException {
    String quoted = target.quoted(column);
    target.rows(
        "SELECT pg_catalog.setval(s::pg_catalog.regclass, m) FROM (SELECT max("
            + quoted
            + ")::bigint m, pg_catalog.pg_get_serial_sequence(?, ?) s FROM "
            + target.sql(table)
            + ") x WHERE m >= 1 AND s IS NOT NULL",
        row -> null,
        target.sql(table),
        column);
  }

  @Override
  Form form(int jdbcType, String typeName, int size) {
    return switch (typeName) {
      case "int2", "int4", "int8", "smallserial", "serial", "bigserial" -> Form.INTEGER;
      case "numeric" -> Form.DECIMAL;
      case "float4" -> Form.REAL;
      case "float8" -> Form.DOUBLE;
      case "bool" -> Form.BOOLEAN;
      case "varchar", "bpchar", "text" -> Form.TEXT;
      case "bytea" -> Form.BINARY;
      case "date" -> Form.DATE;
      case "time" -> Form.TIME;
      case "timestamp" -> Form.CLOCK;
      case "timestamptz" -> Form.INSTANT;
      case "uuid" -> Form.UNIQUE_ID;
      default -> Form.NONE;
    };
  }
}
