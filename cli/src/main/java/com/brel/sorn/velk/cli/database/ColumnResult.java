package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.CsvReport;
import java.util.Collections;
import java.util.SortedMap;
import java.util.TreeMap;

/**
 * What became of the values of a column; each is one of these.
 *
 * @param masked values that came out different
 * @param nullsKept nulls that came out as null
 * @param leftEqual values that came out as they were, empty ones not counted
 * @param emptyKept empty values that stay empty
 * @param errors by their code
 */
public record ColumnResult(
    long masked,
    long nullsKept,
    long leftEqual,
    long emptyKept,
    SortedMap<Integer, Errors> errors) {
  static final ColumnResult NONE = new ColumnResult(0, 0, 0, 0, Collections.emptySortedMap());

  /**
   * The errors of one code.
   *
   * @param text what is wrong, without a value
   * @param count values that have it
   */
  public record Errors(String text, long count) {
    Errors plus(Errors other) {
      return new Errors(text, count + other.count);
    }
  }

  static ColumnResult of(CsvReport.Column column) {
    SortedMap<Integer, Errors> errors = new TreeMap<>();
    column
        .errors()
        .forEach((code, found) -> errors.put(code, new Errors(found.text(), found.count())));
    return new ColumnResult(
        column.masked(), column.nullsKept(), column.leftEqual(), column.emptyKept(), errors);
  }

  ColumnResult plus(ColumnResult other) {
    SortedMap<Integer, Errors> all = new TreeMap<>(errors);
    other.errors.forEach((code, found) -> all.merge(code, found, Errors::plus));
    return new ColumnResult(
        masked + other.masked,
        nullsKept + other.nullsKept,
        leftEqual + other.leftEqual,
        emptyKept + other.emptyKept,
        all);
  }
}
