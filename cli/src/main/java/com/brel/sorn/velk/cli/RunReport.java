package com.brel.sorn.velk.cli;

import java.util.List;
import java.util.function.Function;
import java.util.stream.Stream;

/** What a run did, counted value by value; it never holds a value. */
abstract class RunReport {
  /** The columns of all tables. */
  abstract Stream<ColumnReport> allColumns();

  /**
   * Tells it in words.
   *
   * @param width cells of the terminal that it is for, 0 where it is for none
   */
  abstract String text(int width);

  /**
   * The lines that a text begins with.
   *
   * @param rows what was gone through, in words
   */
  final String heading(String from, String to, String rows, String engine) {
    return Show.text(from)
        + " -> "
        + Show.text(to)
        + ": "
        + rows
        + ", "
        + Show.counted(errorCount(), "value")
        + " could not be masked\nengine: "
        + engine
        + "\n";
  }

  final long errorCount() {
    return allColumns().mapToLong(ColumnReport::errorCount).sum();
  }

  final long repeatCount() {
    return allColumns().mapToLong(ColumnReport::repeatCount).sum();
  }

  final long unchangedCount() {
    return allColumns().mapToLong(column -> column.unchanged).sum();
  }

  /** The columns with values that a rule left as they were, in words. */
  final List<String> unchanged() {
    return lines(ColumnReport::unchangedLines).toList();
  }

  /** The columns that nobody knows to be unique, in words. */
  final List<String> unchecked() {
    return lines(ColumnReport::uncheckedLines).toList();
  }

  final Stream<String> lines(Function<ColumnReport, List<String>> of) {
    return allColumns().map(of).flatMap(List::stream);
  }
}
