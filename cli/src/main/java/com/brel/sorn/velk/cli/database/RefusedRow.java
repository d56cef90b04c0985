package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.CsvFormat;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.OnError;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.sql.SQLException;
import java.util.List;
import java.util.Optional;
import java.util.function.LongFunction;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.postgresql.util.ServerErrorMessage;

/**
 * Finds the row for which the target refuses a piece. Halves that it takes stay written while the
 * others are tried, for a row may be refused because of one before it; all is undone at the end.
 */
final class RefusedRow {
  private final Postgres source;
  private final Postgres target;
  private final PieceCopy copy;
  private final Step step;
  private final TableName part;
  private final SQLException reason;

  RefusedRow(
      Postgres source,
      Postgres target,
      PieceCopy copy,
      Step step,
      TableName part,
      SQLException reason) {
    this.source = source;
    this.target = target;
    this.copy = copy;
    this.step = step;
    this.part = part;
    this.reason = reason;
  }

  /**
   * Names the row by its masked key.
   *
   * @param engine reads the masked row
   * @return empty where no single row is refused
   */
  Optional<String> find(Engine engine, Piece piece) throws IOException, SQLException {
    if (refersToItself()) {
      return Optional.empty();
    }
    long end = piece.isOpen() ? pages() : piece.to();
    long page = narrow(piece.from(), end, number -> "(" + number + ",0)");
    List<String> places = places(new Piece(part, page, page + 1));
    if (places.isEmpty()) {
      return Optional.empty();
    }
    String place = places.get((int) narrow(0, places.size(), i -> places.get((int) i)));
    return isRefused("ctid = '" + place + "'::tid")
        ? Optional.of(maskedKey(engine, place))
        : Optional.empty();
  }

  /** Whether a row's parent may be any row of the piece. */
  private boolean refersToItself() throws SQLException {
    ServerErrorMessage told = Postgres.server(reason);
    return target.isTrue(
        "SELECT EXISTS (SELECT FROM pg_constraint"
            + " WHERE contype = 'f' AND conrelid = confrelid AND conname = ?)",
        told == null ? null : told.getConstraint());
  }

  private long pages() throws SQLException {
    return source.number(
        "SELECT pg_relation_size(?::regclass) / current_setting('block_size')::bigint", part.sql());
  }

  private List<String> places(Piece piece) throws SQLException {
    return source.rows(
        "SELECT ctid::text AS place FROM ONLY "
            + part.sql()
            + " WHERE "
            + piece.condition()
            + " ORDER BY ctid",
        row -> row.getString(1));
  }

  /** Which of so many places in a row is the one behind which rows are refused. */
  private long narrow(long first, long end, LongFunction<String> place)
      throws IOException, SQLException {
    long from = first;
    long to = end;
    while (to - from > 1) {
      long middle = (from + to) >>> 1;
      if (isRefused(Piece.between(place.apply(from), place.apply(middle)))) {
        to = middle;
      } else {
        from = middle;
      }
    }
    return from;
  }

  /** Whether rows are refused for the same reason: any other one is that they are not all. */
  private boolean isRefused(String condition) throws IOException, SQLException {
    target.execute("SAVEPOINT half");
    try {
      copy.copy(step, part, condition);
      return false;
    } catch (PieceCopy.TargetRefusal e) {
      target.execute("ROLLBACK TO SAVEPOINT half");
      return Postgres.told(e.reason()).equals(Postgres.told(reason));
    }
  }

  private String maskedKey(Engine engine, String place) throws IOException, SQLException {
    List<String> key = step.source().key();
    if (key.isEmpty()) {
      return "a row of " + part + ", which has no key to tell it by";
    }
    ByteArrayOutputStream row = new ByteArrayOutputStream();
    ByteArrayOutputStream masked = new ByteArrayOutputStream();
    source.copies().copyOut(step.read(part, "ctid = '" + place + "'::tid"), row);
    if (step.keep()) {
      masked = row;
    } else {
      step.service()
          .csv()
          .header(false)
          .onError(OnError.nullValue())
          .mask(new ByteArrayInputStream(row.toByteArray()), masked);
    }
    return "the row that has, masked, " + told(engine, key, masked.toByteArray());
  }

  private String told(Engine engine, List<String> key, byte[] row) throws IOException {
    List<String> names = step.source().stored().stream().map(Catalogue.Column::name).toList();
    CsvFormat format = CsvFormat.STANDARD.withHeader(false);
    try (CsvReader reader = engine.csvReader(new ByteArrayInputStream(row), format)) {
      List<String> values = reader.next().values();
      return IntStream.range(0, names.size())
          .filter(i -> key.contains(names.get(i)))
          .mapToObj(i -> TableName.quoted(names.get(i)) + " = " + values.get(i))
          .collect(Collectors.joining(", "));
    }
  }
}
