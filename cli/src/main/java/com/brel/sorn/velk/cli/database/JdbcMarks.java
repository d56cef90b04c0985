package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.ColumnResult.Errors;
import com.brel.sorn.velk.cli.database.Marks.Fingerprint;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.stream.Collectors;

/**
 * The marks of a copy in the schema that its target's session is in. A piece is known by the
 * numbers of its rows in the order of the key, which say nothing of the keys themselves.
 */
final class JdbcMarks {
  private static final String RUN = "velk_copy_run";
  private static final String PIECE = "velk_copy_piece";

  /** The tables of the marks, which are none of the application. */
  static final Set<String> TABLES = Set.of(RUN, PIECE);

  private final JdbcSession session;

  JdbcMarks(JdbcSession session) {
    this.session = session;
  }

  /**
   * A piece that is done.
   *
   * @param table the table, as the rules have it
   * @param number counted from 0
   * @param from how many rows are before it
   * @param columns of each column what became of its values; empty where all went over as they are
   */
  record Mark(
      String table,
      long number,
      long from,
      long rows,
      String checksum,
      List<ColumnResult> columns) {}

  private String table(String name) throws SQLException {
    return session.sql(new TableName(session.schema(), name));
  }

  private String columns(String... names) {
    return Arrays.stream(names).map(session::quoted).collect(Collectors.joining(", "));
  }

  private boolean has(String table) throws SQLException {
    return JdbcCatalogue.hasTable(session, table);
  }

  /** Whether a copy has been begun. */
  boolean exist() throws SQLException {
    return has(RUN) && session.number("SELECT COUNT(*) FROM " + table(RUN)) > 0;
  }

  /** A number that no other copy has, null where there is none. */
  String nonce() throws SQLException {
    return exist() ? run("nonce") : null;
  }

  private String run(String column) throws SQLException {
    return session.text("SELECT " + session.quoted(column) + " FROM " + table(RUN));
  }

  /** Begins a copy. Where tables are made outside of transactions, they are there already then. */
  void create(Fingerprint fingerprint, String nonce) throws SQLException {
    if (!has(PIECE)) {
      session.execute(
          made(
              PIECE,
              "relation varchar(600) NOT NULL",
              "piece bigint NOT NULL",
              "from_row bigint NOT NULL",
              "row_count bigint NOT NULL",
              "checksum varchar(64) NOT NULL",
              "counts " + session.dialect().longText() + " NOT NULL"));
    }
    if (!has(RUN)) {
      session.execute(
          made(
              RUN,
              "rules varchar(64) NOT NULL",
              "secret varchar(64) NOT NULL",
              "engine varchar(64) NOT NULL",
              "catalogue varchar(64) NOT NULL",
              "nonce varchar(64) NOT NULL",
              "finished integer NOT NULL"));
    }
    session.update(
        "INSERT INTO "
            + table(RUN)
            + " ("
            + columns("rules", "secret", "engine", "catalogue", "nonce", "finished")
            + ") VALUES (?, ?, ?, ?, ?, 0)",
        fingerprint.rules(),
        fingerprint.key(),
        fingerprint.engine(),
        fingerprint.catalogue(),
        nonce);
  }

  private String made(String name, String... columns) throws SQLException {
    String all =
        Arrays.stream(columns)
            .map(
                column ->
                    session.quoted(column.replaceFirst(" .*", ""))
                        + column.replaceFirst("\\S+", ""))
            .collect(Collectors.joining(", "));
    String key = name.equals(PIECE) ? ", PRIMARY KEY (" + columns("relation", "piece") + ")" : "";
    return "CREATE TABLE " + table(name) + " (" + all + key + ")" + session.dialect().tableEnd();
  }

  Fingerprint fingerprint() throws SQLException {
    return new Fingerprint(run("rules"), run("secret"), run("engine"), run("catalogue"), 0);
  }

  boolean isFinished() throws SQLException {
    return "1".equals(run("finished"));
  }

  List<Mark> read() throws SQLException {
    return session.rows(
        "SELECT "
            + columns("relation", "piece", "from_row", "row_count", "checksum", "counts")
            + " FROM "
            + table(PIECE)
            + " ORDER BY 1, 2",
        JdbcMarks::mark);
  }

  private static Mark mark(ResultSet row) throws SQLException {
    return new Mark(
        row.getString(1),
        row.getLong(2),
        row.getLong(3),
        row.getLong(4),
        row.getString(5),
        columns(row.getString(6)));
  }

  /** A line for each column and each of its errors, below one that is never empty. */
  private static String text(List<ColumnResult> columns) {
    StringBuilder text = new StringBuilder("masked nulls equal empty\n");
    for (ColumnResult column : columns) {
      text.append(column.masked()).append(' ').append(column.nullsKept()).append(' ');
      text.append(column.leftEqual()).append(' ').append(column.emptyKept()).append('\n');
      column
          .errors()
          .forEach(
              (code, found) ->
                  text.append("error ")
                      .append(code)
                      .append(' ')
                      .append(found.count())
                      .append(' ')
                      .append(
                          found
                              .text()
                              .replace("\\", "\\\\")
                              .replace("\n", "\\n")
                              .replace("\r", "\\r"))
                      .append('\n'));
    }
    return text.toString();
  }

  private static List<ColumnResult> columns(String text) {
    List<ColumnResult> columns = new ArrayList<>();
    for (String line : text.lines().skip(1).toList()) {
      String[] words = line.split(" ", 4);
      if (words[0].equals("error")) {
        String told = words[3].translateEscapes();
        columns
            .get(columns.size() - 1)
            .errors()
            .put(Integer.valueOf(words[1]), new Errors(told, Long.parseLong(words[2])));
      } else {
        long[] counts = Arrays.stream(words).mapToLong(Long::parseLong).toArray();
        columns.add(new ColumnResult(counts[0], counts[1], counts[2], counts[3], new TreeMap<>()));
      }
    }
    return columns;
  }

  /** Adds a mark within the transaction that writes the piece. */
  void add(Mark mark) throws SQLException {
    session.update(
        "INSERT INTO "
            + table(PIECE)
            + " ("
            + columns("relation", "piece", "from_row", "row_count", "checksum", "counts")
            + ") VALUES (?, ?, ?, ?, ?, ?)",
        mark.table,
        mark.number,
        mark.from,
        mark.rows,
        mark.checksum,
        text(mark.columns));
  }

  /** Takes the marks of a table back. */
  void remove(String table) throws SQLException {
    session.update(
        "DELETE FROM " + table(PIECE) + " WHERE " + session.quoted("relation") + " = ?", table);
  }

  void finish() throws SQLException {
    session.update("UPDATE " + table(RUN) + " SET " + session.quoted("finished") + " = 1");
  }
}
