package com.brel.sorn.velk.masking;

import java.util.List;
import java.util.Map;

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
   * A column. Each of its values is masked, a null kept, left equal or an error.
   *
   * @param rule how it was masked
   * @param masked values that came out different
   * @param nullsKept nulls that came out as null
   * @param leftEqual values that came out as they were
   * @param errors by their code; the map cannot be changed
   */
  public record Column(
      ColumnRule rule, long masked, long nullsKept, long leftEqual, Map<Integer, Errors> errors) {
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
