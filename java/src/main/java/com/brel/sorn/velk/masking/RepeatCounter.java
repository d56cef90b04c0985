package com.brel.sorn.velk.masking;

import java.util.Arrays;
import org.jspecify.annotations.Nullable;

/**
 * Counts the values of a table that an earlier one of their column equals. It keeps a number of
 * each different value, of so many in all that they take 64 MiB; with the next one it stops.
 */
final class RepeatCounter {
  /** In tables that are at most three quarters full. */
  static final int MOST_KEPT = 6_000_000;

  private final int[] columns;
  private final int most;
  private final long[] repeats;
  private @Nullable FingerprintSet known = new FingerprintSet();
  private long rows;

  /**
   * Starts to count.
   *
   * @param columns those of the table whose values are counted
   * @param most different values that are kept, of all columns together
   */
  RepeatCounter(int[] columns, int most) {
    this.columns = columns;
    this.most = most;
    this.repeats = new long[columns.length];
  }

  /**
   * Counts the values of the rows that follow.
   *
   * @param numbers row by row a number for each column, 0 for null, which repeats nothing
   * @param expected rows that there are; where the numbers are of fewer, none behind them counts
   */
  void add(long[] numbers, long expected) {
    long end = rows + expected;
    for (int at = 0; known != null && at < numbers.length; at += columns.length) {
      // A row is counted as a whole or not at all.
      if (known.size() + columns.length > most) {
        known = null;
      } else {
        addRow(numbers, at);
        rows++;
      }
    }
    if (rows < end) {
      known = null;
    }
  }

  private void addRow(long[] numbers, int at) {
    for (int i = 0; i < columns.length; i++) {
      long number = numbers[at + i];
      if (number != CsvFingerprints.NULL && !known.add(number)) {
        repeats[i]++;
      }
    }
  }

  /** What was counted of a column, null where it was not. */
  CsvReport.@Nullable Repeats of(int column) {
    int index = Arrays.binarySearch(columns, column);
    return index < 0 ? null : new CsvReport.Repeats(repeats[index], rows, known != null);
  }
}
