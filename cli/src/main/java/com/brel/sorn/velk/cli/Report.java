package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.FieldError;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import java.util.ArrayList;
import java.util.Collection;
import java.util.List;
import java.util.Objects;
import java.util.SortedMap;
import java.util.TreeMap;

/** What a run did, counted value by value; it never holds a value. */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class Report {
  private static final int ROWS_TOLD = 10;

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

  /** For Jackson. */
  Report() {}

  /** An empty report of a file's columns, in its order. */
  Report(Collection<ColumnRule> rules) {
    for (ColumnRule rule : rules) {
      Column column = new Column();
      column.name = rule.name();
      column.rule = rule.rule().toString();
      columns.add(column);
    }
  }

  /** Counts a value that was masked, or left as it was. */
  void count(int index, String before, String after) {
    Column column = columns.get(index);
    column.rows++;
    if (!Objects.equals(before, after)) {
      column.masked++;
    } else if (before == null) {
      column.nullsKept++;
    } else {
      column.leftEqual++;
    }
  }

  /** Counts a value that could not be masked. */
  void count(int index, FieldError error, long row) {
    Column column = columns.get(index);
    column.rows++;
    Errors errors = column.errors.computeIfAbsent(error.code(), code -> new Errors());
    errors.text = Show.message(error);
    errors.count++;
    if (errors.firstRows.size() < ROWS_TOLD) {
      errors.firstRows.add(row);
    }
  }

  long errorCount() {
    return columns.stream().mapToLong(Column::errorCount).sum();
  }

  /** Adds the counts of the rows that follow. */
  void add(Report next) {
    rows += next.rows;
    for (int i = 0; i < columns.size(); i++) {
      add(columns.get(i), next.columns.get(i));
    }
  }

  private static void add(Column column, Column next) {
    column.rows += next.rows;
    column.masked += next.masked;
    column.nullsKept += next.nullsKept;
    column.leftEqual += next.leftEqual;
    next.errors.forEach(
        (code, more) -> {
          Errors errors = column.errors.computeIfAbsent(code, unused -> new Errors());
          errors.text = more.text;
          errors.count += more.count;
          int room = ROWS_TOLD - errors.firstRows.size();
          errors.firstRows.addAll(more.firstRows.subList(0, Math.min(room, more.firstRows.size())));
        });
  }
}
