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
import java.util.stream.Collectors;
import java.util.stream.IntStream;

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

  RefusedRow(Postgres source, Postgres target, PieceCopy copy, Step step, TableName part) {
    this.source = source;
    this.target = target;
    this.copy = copy;
    this.step = step;
    this.part = part;
  }

  /**
   * Names the row by its masked key.
   *
   * @param engine reads the masked row
   * @return empty where no single row is refused
   */
  Optional<String> find(Engine engine, Piece piece) throws IOException, SQLException {
    String all = piece.condition();
    List<String> places =
        source.rows(
            "SELECT ctid::text AS place FROM ONLY "
                + part.sql()
                + " WHERE "
                + all
                + " ORDER BY ctid",
            row -> row.getString(1));
    int from = 0;
    int to = places.size();
    while (to - from > 1) {
      int middle = (from + to) >>> 1;
      if (isTaken(Piece.between(places.get(from), places.get(middle)))) {
        from = middle;
      } else {
        to = middle;
      }
    }
    if (from == to || isTaken("ctid = '" + places.get(from) + "'::tid")) {
      return Optional.empty();
    }
    return Optional.of(maskedKey(engine, places.get(from)));
  }

  private boolean isTaken(String condition) throws IOException, SQLException {
    target.execute("SAVEPOINT half");
    try {
      copy.copy(step, part, condition);
      return true;
    } catch (PieceCopy.TargetRefusal e) {
      target.execute("ROLLBACK TO SAVEPOINT half");
      return false;
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
