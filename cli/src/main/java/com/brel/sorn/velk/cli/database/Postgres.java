package com.brel.sorn.velk.cli.database;

import java.io.Console;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.Properties;
import org.postgresql.PGConnection;
import org.postgresql.copy.CopyManager;
import org.postgresql.util.PSQLException;
import org.postgresql.util.ServerErrorMessage;

/** A session of PostgreSQL in which values are written alike on every server. */
final class Postgres extends Session {
  private static final String NO_PASSWORD = "08004";
  private static final String WRONG_PASSWORD = "28P01";

  /** What to do where the server cannot know. */
  private static final Map<String, String> ADVICE =
      Map.of(
          "53100",
          ": make room for it; --resume goes on with a copy that has marks",
          "55P03",
          ": somebody else holds a lock (pg_locks tells who); --resume goes on with a copy that has"
              + " marks");

  /** How values are written, and no limit set for others; locks may be held for ever. */
  private static final List<String> SETTINGS =
      List.of(
          "statement_timeout = 0",
          "search_path = pg_catalog",
          "TimeZone = 'UTC'",
          "DateStyle = 'ISO, YMD'",
          "IntervalStyle = 'postgres'",
          "extra_float_digits = 3",
          "bytea_output = 'hex'",
          "lc_monetary = 'C'",
          "array_nulls = on",
          "quote_all_identifiers = off",
          // The driver keeps all that a trigger has to say of rows, and looks through it each time.
          "client_min_messages = error",
          "xmloption = content",
          "standard_conforming_strings = on",
          "row_security = off",
          "synchronize_seqscans = off",
          "default_transaction_isolation = 'read committed'",
          "lock_timeout = '" + Integer.getInteger("velk.lock.seconds", 60) + "s'",
          "idle_in_transaction_session_timeout = 0");

  /**
   * What not every version has: limits, and that a server looks for who asks it while it counts. A
   * copy that was killed would else keep the next one out until then.
   */
  private static final String NEWER_SETTINGS =
      "SELECT set_config(name, CASE name WHEN 'client_connection_check_interval' THEN '5s' ELSE '0' END, false)"
          + " FROM pg_settings WHERE name IN ('idle_session_timeout', 'transaction_timeout')"
          + " OR name = 'client_connection_check_interval' AND version() LIKE '%linux%';";

  private Postgres(Connection connection) {
    super(connection);
  }

  /**
   * Opens a session.
   *
   * @param readOnly whether the server is to refuse every write in it
   */
  static Postgres open(DatabaseUrl url, boolean readOnly) {
    return open(url, readOnly, () -> connection(url));
  }

  /** Opens a session by a connection that was begun before. */
  static Postgres open(DatabaseUrl url, boolean readOnly, Beside<Connection> begun) {
    return open(url, readOnly, begun::get);
  }

  private static Postgres open(DatabaseUrl url, boolean readOnly, Beside.Work<Connection> first) {
    try {
      Postgres session = new Postgres(connect(url, first));
      try {
        session.set(readOnly);
        return session;
      } catch (SQLException e) {
        session.close();
        throw e;
      }
    } catch (SQLException e) {
      // The driver quotes the address, whose parameters may hold the password of a key.
      throw CopyException.failed(url + ": " + told(e).replace(url.jdbc(), url.toString()));
    }
  }

  /** Begins to connect; nobody is asked for a password before the session is opened. */
  static Beside<Connection> connecting(DatabaseUrl url) {
    return Beside.begin(() -> connection(url));
  }

  private static Connection connection(DatabaseUrl url) throws SQLException {
    // Asked before the driver looks for the file, in whatever thread.
    PasswordFile.refused();
    return DriverManager.getConnection(url.jdbc(), properties(url));
  }

  private static Connection connect(DatabaseUrl url, Beside.Work<Connection> first)
      throws SQLException {
    Optional<String> unused = url.hasPassword() ? Optional.empty() : PasswordFile.refused();
    try {
      return first.get();
    } catch (SQLException e) {
      Console console = System.console();
      boolean asks = NO_PASSWORD.equals(e.getSQLState()) || WRONG_PASSWORD.equals(e.getSQLState());
      if (asks && !url.hasPassword() && console == null && unused.isPresent()) {
        throw CopyException.failed(url + ": there is no password; " + unused.get());
      }
      if (!asks || url.hasPassword() || console == null) {
        throw e;
      }
      char[] password = console.readPassword("password of %s: ", url);
      if (password == null) {
        throw e;
      }
      url.password(new String(password));
      return connection(url);
    }
  }

  private static Properties properties(DatabaseUrl url) {
    Properties properties = url.credentials();
    properties.setProperty("ApplicationName", "velk copy");
    // What a server says in detail of a row holds its values.
    properties.setProperty("logServerErrorDetail", "false");
    // The session that keeps the snapshot says nothing for hours.
    properties.setProperty("tcpKeepAlive", "true");
    return properties;
  }

  private void set(boolean readOnly) throws SQLException {
    // One after the other in one go, for each that waits for the server is felt.
    StringBuilder all = new StringBuilder();
    SETTINGS.forEach(setting -> all.append("SET ").append(setting).append(';'));
    all.append(NEWER_SETTINGS);
    if (readOnly) {
      all.append("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY");
    }
    execute(all.toString());
  }

  /** Begins a transaction that sees one state of the database and cannot write. */
  void beginSnapshot() throws SQLException {
    execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  }

  /**
   * Keeps tables in their form to the end of the transaction.
   *
   * @param wait {@code NOWAIT}, or nothing to wait until they are free
   */
  void lock(Collection<TableName> tables, String wait) throws SQLException {
    if (!tables.isEmpty()) {
      String names = String.join(", ", tables.stream().map(TableName::sql).toList());
      execute("LOCK TABLE " + names + " IN ACCESS SHARE MODE " + wait);
    }
  }

  CopyManager copies() throws SQLException {
    return connection().unwrap(PGConnection.class).getCopyAPI();
  }

  PGConnection driver() throws SQLException {
    return connection().unwrap(PGConnection.class);
  }

  /** What failed, without a word of the server that might hold a value. */
  static String told(SQLException e) {
    ServerErrorMessage server = server(e);
    String state = e.getSQLState() == null ? "" : e.getSQLState();
    boolean ofData = server != null && isOfData(e);
    StringBuilder text = new StringBuilder();
    if (!ofData) {
      text.append(server == null ? e.getMessage() : server.getMessage());
    } else {
      text.append(state.startsWith("23") ? "a constraint is violated" : "a value is refused");
      append(text, "constraint", server.getConstraint());
      append(text, "column", server.getColumn());
    }
    text.append(" (SQLSTATE ").append(state).append(')');
    return text.append(ADVICE.getOrDefault(state, "")).toString();
  }

  /** What a server says of it, null where no server does. */
  static ServerErrorMessage server(SQLException e) {
    return e instanceof PSQLException own ? own.getServerErrorMessage() : null;
  }

  /**
   * Data, constraints, and what functions of the database raise: their messages quote values, and
   * so do those of types whose values are names of what the database has.
   */
  static boolean isOfData(SQLException e) {
    String state = e.getSQLState() == null ? "" : e.getSQLState();
    return !state.matches("(08|0A|25|28|3D|3F|40|42|53|54|55|57|58).*")
        || state.matches("(0A|3F|42(?!501)).*") && isInARow(e)
        || isRaised(e);
  }

  /** A function may raise any state it likes, with a message of its own. */
  private static boolean isRaised(SQLException e) {
    ServerErrorMessage server = server(e);
    return server != null && "exec_stmt_raise".equals(server.getRoutine());
  }

  /** The server says where it was: in a row, or in a function that was called for one. */
  private static boolean isInARow(SQLException e) {
    ServerErrorMessage server = server(e);
    return server != null && server.getWhere() != null;
  }

  private static void append(StringBuilder text, String what, String name) {
    if (name != null) {
      text.append(", ").append(what).append(' ').append(TableName.quoted(name));
    }
  }
}
