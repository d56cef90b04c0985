package com.brel.sorn.velk.cli;

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

/** What a run did, counted value by value; it never holds a value. */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class Report {
  String input;
  String output;
  long rows;
  String engine;

  /** Tells keys apart without telling a key; null where the masking string names no key. */
  String keyFingerprint;

  List<Column> columns = new ArrayList<>();

  /**
   * A column. Its rows are masked, nulls kept, left equal and errors, each of them one of these.
   */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Column {
    String name;
    String rule;
    long rows;
    long masked;
    long nullsKept;
    long leftEqual;
    SortedMap<Integer, Errors> errors = new TreeMap<>();

    /** Of a column that is to stay unique, null of another one. */
    @JsonInclude(JsonInclude.Include.NON_NULL)
    CsvReport.Repeats repeats;

    /** Values that a rule left as they were which is there to change them; empty ones are none. */
    @JsonIgnore long unchanged;

    long errorCount() {
      return errors.values().stream().mapToLong(error -> error.count).sum();
    }
  }

  /** The errors of one code. */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Errors {
    String text;
    long count;

    /** The first rows that have it; row 1 is the one behind the header. */
    List<Long> firstRows = new ArrayList<>();
  }

  /** The counts of a run; what it was is still to be said. */
  Report(CsvReport counts) {
    rows = counts.rows();
    counts.columns().forEach(column -> columns.add(column(column, rows)));
  }

  private static Column column(CsvReport.Column counts, long rows) {
    Column column = new Column();
    column.name = counts.rule().name();
    column.rule = counts.rule().rule().toString();
    column.rows = rows;
    column.masked = counts.masked();
    column.nullsKept = counts.nullsKept();
    column.leftEqual = counts.leftEqual() + counts.emptyKept();
    column.unchanged = counts.rule().rule().equals(Rule.keep()) ? 0 : counts.leftEqual();
    column.repeats = counts.repeats();
    counts.errors().forEach((code, errors) -> column.errors.put(code, errors(code, errors)));
    return column;
  }

  private static Errors errors(int code, CsvReport.Errors counts) {
    Errors errors = new Errors();
    errors.text = Show.message(code, counts.text());
    errors.count = counts.count();
    counts.firstRows().forEach(row -> errors.firstRows.add(row + 1));
    return errors;
  }

  long errorCount() {
    return columns.stream().mapToLong(Column::errorCount).sum();
  }

  long repeatCount() {
    return columns.stream()
        .filter(column -> column.repeats != null)
        .mapToLong(column -> column.repeats.count())
        .sum();
  }

  long unchangedCount() {
    return columns.stream().mapToLong(column -> column.unchanged).sum();
  }

  /** The columns with values that a rule left as they were, in words. */
  List<String> unchanged() {
    return columns.stream()
        .filter(column -> column.unchanged > 0)
        .map(
            column ->
                "column "
                    + Show.quoted(column.name)
                    + ": "
                    + Show.counted(column.unchanged, "value")
                    + (column.unchanged == 1
                        ? " came out as it went in"
                        : " came out as they went in"))
        .toList();
  }

  /** The columns that nobody knows to be unique, in words. */
  List<String> unchecked() {
    return columns.stream()
        .filter(column -> column.repeats != null && !column.repeats.complete())
        .map(
            column ->
                "column "
                    + Show.quoted(column.name)
                    + ": whether it is unique was checked in the first "
                    + Show.counted(column.repeats.rows(), "row")
                    + " only")
        .toList();
  }
}
