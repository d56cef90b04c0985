package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.ColumnResult;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.Rule;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import com.fasterxml.jackson.annotation.JsonIgnore;
import com.fasterxml.jackson.annotation.JsonInclude;
import java.util.ArrayList;
import java.util.List;
import java.util.SortedMap;
import java.util.TreeMap;
import java.util.stream.Collectors;

/**
 * What became of a column, counted value by value. Its rows are masked, nulls kept, left equal and
 * errors, each of them one of these.
 */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class ColumnReport {
  /** What stands above {@link #cells}. */
  static final List<String> HEADING =
      List.of("column", "rule", "rows", "masked", "nulls kept", "left equal", "errors");

  final String name;
  final String rule;
  final long rows;
  long masked;
  long nullsKept;
  long leftEqual;
  final SortedMap<Integer, Errors> errors = new TreeMap<>();

  /** Of a column that is to stay unique, null of another one. */
  @JsonInclude(JsonInclude.Include.NON_NULL)
  CsvReport.Repeats repeats;

  /** Values that a rule left as they were which is there to change them; empty ones are none. */
  @JsonIgnore long unchanged;

  /** The column in words. */
  @JsonIgnore private final String place;

  /** The errors of one code. */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Errors {
    final String text;
    final long count;

    /** The first rows that have it, where rows have numbers; row 1 is the one behind the header. */
    @JsonInclude(JsonInclude.Include.NON_EMPTY)
    final List<Long> firstRows;

    Errors(int code, String text, long count, List<Long> firstRows) {
      this.text = Show.message(code, text);
      this.count = count;
      this.firstRows = firstRows;
    }
  }

  private ColumnReport(String table, ColumnRule rule, long rows) {
    this.name = rule.name();
    this.rule = rule.rule().toString();
    this.rows = rows;
    this.place = table + "column " + Show.quoted(name);
  }

  /** Of a file of so many rows. */
  static ColumnReport of(CsvReport.Column counts, long rows) {
    ColumnReport column = new ColumnReport("", counts.rule(), rows);
    column.masked = counts.masked();
    column.nullsKept = counts.nullsKept();
    column.setEqual(counts.rule(), counts.leftEqual(), counts.emptyKept());
    column.repeats = counts.repeats();
    counts.errors().forEach((code, found) -> column.errors.put(code, errors(code, found)));
    return column;
  }

  private static Errors errors(int code, CsvReport.Errors found) {
    List<Long> firstRows = found.firstRows().stream().map(row -> row + 1).toList();
    return new Errors(code, found.text(), found.count(), firstRows);
  }

  /** Of a table of so many rows, which have no numbers. */
  static ColumnReport of(String table, ColumnRule rule, ColumnResult counts, long rows) {
    ColumnReport column = new ColumnReport("table " + Show.text(table) + ", ", rule, rows);
    column.masked = counts.masked();
    column.nullsKept = counts.nullsKept();
    column.setEqual(rule, counts.leftEqual(), counts.emptyKept());
    counts
        .errors()
        .forEach(
            (code, found) ->
                column.errors.put(code, new Errors(code, found.text(), found.count(), List.of())));
    return column;
  }

  private void setEqual(ColumnRule of, long filled, long empty) {
    leftEqual = filled + empty;
    unchanged = of.rule().equals(Rule.keep()) ? 0 : filled;
  }

  long errorCount() {
    return errors.values().stream().mapToLong(error -> error.count).sum();
  }

  long repeatCount() {
    return repeats == null ? 0 : repeats.count();
  }

  /** Its row of a table. */
  List<String> cells() {
    return List.of(
        Show.clipped(name, 30),
        Show.clipped(rule, 40),
        Long.toString(rows),
        Long.toString(masked),
        Long.toString(nullsKept),
        Long.toString(leftEqual),
        Long.toString(errorCount()));
  }

  /** A line for each code of its errors. */
  List<String> errorLines() {
    List<String> lines = new ArrayList<>();
    errors.forEach(
        (code, found) ->
            lines.add(
                place
                    + ", error "
                    + code
                    + ", "
                    + Show.counted(found.count, "value")
                    + ": "
                    + Show.text(found.text)
                    + rows(found)));
    return lines;
  }

  private static String rows(Errors errors) {
    if (errors.firstRows.isEmpty()) {
      return "";
    }
    String rows = errors.firstRows.stream().map(String::valueOf).collect(Collectors.joining(", "));
    String more = errors.count > errors.firstRows.size() ? ", ..." : "";
    return (errors.count == 1 ? " (row " : " (rows ") + rows + more + ")";
  }

  /** A line for a column that is to stay unique. */
  List<String> repeatLines() {
    if (repeats == null) {
      return List.of();
    }
    String line = place + " is to stay unique: " + Show.counted(repeatCount(), "value");
    if (repeats.complete()) {
      return List.of(line + " repeated");
    }
    String rows = Show.counted(repeats.rows(), "row");
    return List.of(line + " repeated in the first " + rows + "; the others were not checked");
  }

  /** A line for a column with values that a rule left as they were. */
  List<String> unchangedLines() {
    String came = unchanged == 1 ? " came out as it went in" : " came out as they went in";
    return unchanged == 0
        ? List.of()
        : List.of(place + ": " + Show.counted(unchanged, "value") + came);
  }

  /** A line for a column that nobody knows to be unique. */
  List<String> uncheckedLines() {
    return repeats == null || repeats.complete()
        ? List.of()
        : List.of(
            place
                + ": whether it is unique was checked in the first "
                + Show.counted(repeats.rows(), "row")
                + " only");
  }
}
