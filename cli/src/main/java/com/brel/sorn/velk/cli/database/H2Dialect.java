package com.brel.sorn.velk.cli.database;

import java.sql.SQLException;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;

/** H2. */
final class H2Dialect extends Dialect {
  private static final int ADMINISTRATORS_ALONE = 90040;

  /**
   * Who opens a file and closes it again writes into it: the last one to do so compacts it, by
   * which 2.3.232 is known to lose rows. So what is read is opened for reading alone, and nothing
   * is compacted. A server does both by itself.
   */
  static String ownAddress(String url, boolean readOnly) {
    if (url.startsWith("jdbc:h2:mem:")) {
      return url;
    }
    StringBuilder address = new StringBuilder(url);
    add(address, "IFEXISTS", "TRUE");
    boolean inFile = !url.matches("jdbc:h2:(tcp|ssl|zip):.*");
    if (inFile && readOnly) {
      add(address, "ACCESS_MODE_DATA", "r");
    } else if (inFile) {
      add(address, "MAX_COMPACT_TIME", "0");
    }
    return address.toString();
  }

  private static void add(StringBuilder url, String setting, String value) {
    if (!url.toString().toUpperCase(Locale.ROOT).contains(";" + setting + "=")) {
      url.append(';').append(setting).append('=').append(value);
    }
  }

  @Override
  void settle(JdbcSession session) throws SQLException {
    session.execute("SET TIME ZONE 'UTC'");
    session.execute("SET QUERY_TIMEOUT 0");
    // Rows come as they are asked for, and not all at once.
    session.execute("SET LAZY_QUERY_EXECUTION 1");
    stopTrace(session);
  }

  /** In a file beside the database errors would quote values. A server's is its owner's to stop. */
  private static void stopTrace(JdbcSession session) throws SQLException {
    String url = session.connection().getMetaData().getURL();
    if (url.startsWith("jdbc:h2:tcp:") || url.startsWith("jdbc:h2:ssl:")) {
      return;
    }
    try {
      session.execute("SET TRACE_LEVEL_FILE 0");
    } catch (SQLException e) {
      if (e.getErrorCode() != ADMINISTRATORS_ALONE) {
        throw e;
      }
    }
  }

  /** The first statement in it sees the state that all others see. */
  @Override
  boolean beginSnapshot(JdbcSession source, List<TableName> tables) throws SQLException {
    source.execute("SET SESSION CHARACTERISTICS AS TRANSACTION ISOLATION LEVEL SNAPSHOT");
    source.connection().setAutoCommit(false);
    touch(source, tables);
    return true;
  }

  /** A user sees his own sessions, an administrator all of them. */
  @Override
  boolean isSame(JdbcSession source, JdbcSession target) throws SQLException {
    String session = "SELECT SESSION_ID || ' ' || SESSION_START FROM INFORMATION_SCHEMA.SESSIONS";
    String own = source.text(session + " WHERE SESSION_ID = SESSION_ID()");
    String path = source.text("SELECT DATABASE_PATH()");
    boolean oneDatabase =
        target.rows(session, row -> row.getString(1)).contains(own)
            || path != null && path.equals(target.text("SELECT DATABASE_PATH()"));
    return oneDatabase && source.schema().equals(target.schema());
  }

  /**
   * An interval's second is cut to its digits, and a number of so many digits is rounded to them.
   */
  @Override
  Map<List<String>, String> narrowTypes(JdbcSession session) throws SQLException {
    Map<List<String>, String> types = new HashMap<>();
    session.rows(
        "SELECT TABLE_NAME, COLUMN_NAME, CASE DATA_TYPE WHEN 'DECFLOAT' THEN 'decfloat('"
            + " || NUMERIC_PRECISION ELSE 'interval ' || LOWER(INTERVAL_TYPE) || '('"
            + " || INTERVAL_PRECISION || ',' || DATETIME_PRECISION END || ')'"
            + " FROM INFORMATION_SCHEMA.COLUMNS WHERE TABLE_SCHEMA = ?"
            + " AND DATA_TYPE IN ('DECFLOAT', 'INTERVAL')",
        row -> types.put(List.of(row.getString(1), row.getString(2)), row.getString(3)),
        session.schema());
    return types;
  }

  @Override
  Set<List<String>> fillingNull(JdbcSession session) throws SQLException {
    return Set.copyOf(
        session.rows(
            "SELECT TABLE_NAME, COLUMN_NAME FROM INFORMATION_SCHEMA.COLUMNS"
                + " WHERE TABLE_SCHEMA = ? AND DEFAULT_ON_NULL",
            row -> List.of(row.getString(1), row.getString(2)),
            session.schema()));
  }

  /** The point of such a number is anywhere. */
  @Override
  int digits(String typeName, int told) {
    return typeName.equals("DECFLOAT") ? 0 : told;
  }

  /** In that mode an empty text is stored as null. */
  @Override
  String unfitTarget(JdbcSession target) throws SQLException {
    List<String> mode =
        target.rows(
            "SELECT SETTING_VALUE FROM INFORMATION_SCHEMA.SETTINGS WHERE SETTING_NAME = 'MODE'",
            row -> row.getString(1));
    return mode.contains("Oracle")
        ? "the target takes an empty text for null: it is in the mode Oracle"
        : null;
  }

  @Override
  String longText() {
    return "character large object";
  }

  @Override
  String overriding() {
    return " OVERRIDING SYSTEM VALUE";
  }

  @Override
  void follow(JdbcSession target, TableName table, String column) throws SQLException {
    String max = target.text("SELECT MAX(" + target.quoted(column) + ") FROM " + target.sql(table));
    if (max != null && Long.parseLong(max) >= 1 && Long.parseLong(max) < Long.MAX_VALUE) {
      target.execute(
          "ALTER TABLE "
              + target.sql(table)
              + " ALTER COLUMN "
              + target.quoted(column)
              + " RESTART WITH "
              + (Long.parseLong(max) + 1));
    }
  }

  /** It keeps a text as Java has it. */
  @Override
  String whole(String text) {
    return text;
  }

  @Override
  Form form(int jdbcType, String typeName, int size) {
    String name = typeName.toUpperCase(Locale.ROOT);
    if (name.equals("UUID")) {
      return Form.UNIQUE_ID;
    }
    boolean own = name.startsWith("ENUM(") || name.startsWith("INTERVAL ");
    return own ? Form.OWN_TEXT : super.form(jdbcType, typeName, size);
  }
}
