package com.brel.sorn.velk.masking;

import java.util.List;
import java.util.Map;
import org.jspecify.annotations.Nullable;

/**
 * What became of a table, counted value by value; it holds no value.
 *
 * @param rows the rows, the header not counted
 * @param columns the columns in the order of the table
 */
public record CsvReport(long rows, List<Column> columns) {
  /** Row numbers that are kept of the errors of one code in a column. */
  public static final int ROWS_TOLD = 10;

  /**
   * A column. Each of its values is masked, a null kept, left equal, an empty one kept or an error.
   *
   * @param rule how it was masked
   * @param masked values that came out different
   * @param nullsKept nulls that came out as null
   * @param leftEqual values that came out as they were, empty ones not counted
   * @param emptyKept empty values that stay empty: there is nothing in them to mask
   * @param errors by their code; the map cannot be changed
   * @param repeats of a column that is to stay unique, null of another one
   */
  public record Column(
      ColumnRule rule,
      long masked,
      long nullsKept,
      long leftEqual,
      long emptyKept,
      Map<Integer, Errors> errors,
      @Nullable Repeats repeats) {
    /**
     * Counts the values that could not be masked.
     *
     * @return their number
     */
    public long errorCount() {
      return errors.values().stream().mapToLong(Errors::count).sum();
    }
  }

  /**
   * How often a value was written that had been written in its column before, whether it was masked
   * or takes the place of one that could not be. A null repeats nothing. Values are told apart by
   * keyed numbers of 64 bits, which take different ones for equal once in a million tables.
   *
   * <p>No more than 6,000,000 different values of all such columns together are kept: with the next
   * one the count ends, and so it does at a row that cannot be read again.
   *
   * @param count the values that repeat an earlier one, of the rows that were checked
   * @param rows the rows that were checked, from the first one on
   * @param complete whether these were all; where they were not, the others are not known to be
   *     different
   */
  public record Repeats(long count, long rows, boolean complete) {}

  /**
   * The errors of one code in a column.
   *
   * @param text what is wrong
   * @param count values that have it
   * @param firstRows the first rows that have it, counted from 0 behind the header
   */
  public record Errors(String text, long count, List<Long> firstRows) {}

  /**
   * Counts the values that could not be masked.
   *
   * @return their number, of all columns
   */
  public long errorCount() {
    return columns.stream().mapToLong(Column::errorCount).sum();
  }

  /**
   * Counts the values.
   *
   * @return their number, nulls among them
   */
  public long values() {
    return rows * columns.size();
  }
}
