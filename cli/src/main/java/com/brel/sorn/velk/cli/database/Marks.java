package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.ColumnResult.Errors;
import java.sql.Array;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.List;
import java.util.TreeMap;

/** The marks of a copy in its target: what it is made of, which pieces are done, whether all is. */
final class Marks {
  private static final String SCHEMA = CatalogueReader.MARKS;

  private Marks() {}

  /** What a copy is made of, told apart by digests. */
  record Fingerprint(String rules, String key, String engine, String catalogue, long pages) {
    /** What differs, in words; null where nothing does. */
    String difference(Fingerprint other) {
      if (!rules.equals(other.rules)) {
        return "the rules or a dictionary";
      }
      if (!key.equals(other.key)) {
        return "the key";
      }
      if (!engine.equals(other.engine)) {
        return "the engine";
      }
      if (!catalogue.equals(other.catalogue)) {
        return "the source or its catalogue";
      }
      return pages == other.pages ? null : "--piece-pages, which was " + pages;
    }
  }

  /**
   * A piece that is done.
   *
   * @param transaction the target's number of the transaction that wrote its rows
   * @param columns of each column what became of its values; empty where all went over as they are
   */
  record Mark(
      Piece piece, long rows, String checksum, String transaction, List<ColumnResult> columns) {}

  static boolean exist(Postgres target) throws SQLException {
    return target.isTrue("SELECT to_regclass('velk_copy.run') IS NOT NULL");
  }

  /** Begins a copy. */
  static void create(Postgres target, Fingerprint fingerprint) throws SQLException {
    target.execute("BEGIN");
    target.execute("CREATE SCHEMA " + SCHEMA);
    target.execute(
        "CREATE TABLE velk_copy.run (rules text NOT NULL, key text NOT NULL, engine text NOT NULL,"
            + " catalogue text NOT NULL, pages bigint NOT NULL, started timestamptz NOT NULL DEFAULT now(), finished timestamptz)");
    target.execute(
        "CREATE TABLE velk_copy.piece (schema text, relation text, from_page bigint, to_page bigint,"
            + " rows bigint NOT NULL, checksum text NOT NULL, transaction text NOT NULL,"
            + " counts bigint[] NOT NULL, errors text[] NOT NULL, PRIMARY KEY (schema, relation, from_page))");
    target.update(
        "INSERT INTO velk_copy.run (rules, key, engine, catalogue, pages) VALUES (?, ?, ?, ?, ?)",
        fingerprint.rules,
        fingerprint.key,
        fingerprint.engine,
        fingerprint.catalogue,
        fingerprint.pages);
    target.execute("COMMIT");
  }

  static Fingerprint fingerprint(Postgres target) throws SQLException {
    List<Fingerprint> all =
        target.rows(
            "SELECT rules, key, engine, catalogue, pages FROM velk_copy.run",
            row ->
                new Fingerprint(
                    row.getString(1),
                    row.getString(2),
                    row.getString(3),
                    row.getString(4),
                    row.getLong(5)));
    if (all.size() != 1) {
      throw CopyException.failed("the marks in schema velk_copy of the target are not a copy's");
    }
    return all.get(0);
  }

  static boolean isFinished(Postgres target) throws SQLException {
    return target.isTrue("SELECT finished IS NOT NULL FROM velk_copy.run");
  }

  static List<Mark> read(Postgres target) throws SQLException {
    return target.rows(
        "SELECT schema, relation, from_page, to_page, rows, checksum, transaction, counts, errors"
            + " FROM velk_copy.piece ORDER BY 1, 2, 3",
        Marks::mark);
  }

  private static Mark mark(ResultSet row) throws SQLException {
    TableName part = new TableName(row.getString(1), row.getString(2));
    Long to = row.getObject(4, Long.class);
    Piece piece = new Piece(part, row.getLong(3), to == null ? Piece.OPEN : to);
    Long[] counts = (Long[]) row.getArray(8).getArray();
    String[] errors = (String[]) row.getArray(9).getArray();
    return new Mark(
        piece, row.getLong(5), row.getString(6), row.getString(7), columns(counts, errors));
  }

  /** Of each column four numbers; of each error its column, its code, how many and what. */
  private static List<ColumnResult> columns(Long[] counts, String[] errors) {
    List<ColumnResult> columns = new ArrayList<>();
    for (int i = 0; i < counts.length; i += 4) {
      columns.add(
          new ColumnResult(
              counts[i], counts[i + 1], counts[i + 2], counts[i + 3], new TreeMap<>()));
    }
    for (int i = 0; i < errors.length; i += 4) {
      Errors found = new Errors(errors[i + 3], Long.parseLong(errors[i + 2]));
      columns.get(Integer.parseInt(errors[i])).errors().put(Integer.valueOf(errors[i + 1]), found);
    }
    return columns;
  }

  private static Array counts(Postgres target, List<ColumnResult> columns) throws SQLException {
    List<Long> counts = new ArrayList<>();
    for (ColumnResult column : columns) {
      counts.addAll(
          List.of(column.masked(), column.nullsKept(), column.leftEqual(), column.emptyKept()));
    }
    return target.connection().createArrayOf("bigint", counts.toArray());
  }

  private static Array errors(Postgres target, List<ColumnResult> columns) throws SQLException {
    List<String> errors = new ArrayList<>();
    for (int i = 0; i < columns.size(); i++) {
      String column = Integer.toString(i);
      columns
          .get(i)
          .errors()
          .forEach(
              (code, found) ->
                  errors.addAll(List.of(column, "" + code, "" + found.count(), found.text())));
    }
    return target.connection().createArrayOf("text", errors.toArray());
  }

  /** Adds a mark within the transaction that writes the piece. */
  static void add(
      Postgres target, Piece piece, long rows, String checksum, List<ColumnResult> columns)
      throws SQLException {
    Long to = piece.isOpen() ? null : piece.to();
    target.update(
        "INSERT INTO velk_copy.piece"
            + " SELECT ?, ?, ?, ?::bigint, ?, ?, pg_current_xact_id()::xid::text, ?, ?",
        piece.part().schema(),
        piece.part().name(),
        piece.from(),
        to,
        rows,
        checksum,
        counts(target, columns),
        errors(target, columns));
  }

  static void remove(Postgres target, Piece piece) throws SQLException {
    target.update(
        "DELETE FROM velk_copy.piece WHERE schema = ? AND relation = ? AND from_page = ?",
        piece.part().schema(),
        piece.part().name(),
        piece.from());
  }

  static void finish(Postgres target) throws SQLException {
    target.update("UPDATE velk_copy.run SET finished = now()");
  }
}
