package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.Optional;

/** The masked values of one batch and the errors of its fields; it never changes. */
public final class MaskedRows {
  private final List<String> columnNames;
  private final String[][] values;

  /** A row without errors has null in place of its array. */
  private final FieldError[][] errors;

  /** Whether a value with an error has a replacement. */
  private final boolean replaced;

  MaskedRows(List<String> columnNames, String[][] values, FieldError[][] errors, boolean replaced) {
    this.columnNames = columnNames;
    this.values = values;
    this.errors = errors;
    this.replaced = replaced;
  }

  /**
   * Counts the rows.
   *
   * @return the number of rows, that of the batch
   */
  public int rowCount() {
    return values.length;
  }

  /**
   * Names the columns.
   *
   * @return the names in the order of the service
   */
  public List<String> columnNames() {
    return columnNames;
  }

  /**
   * Reads a masked value.
   *
   * @param row the row, counted from 0
   * @param column the column, counted from 0
   * @return the masked value, null where it is null; what {@link OnError} puts in the place of a
   *     value with an error
   * @throws VELKException if the field has an error that nothing replaces, with its code
   * @throws IndexOutOfBoundsException if there is no such row or column
   */
  public String value(int row, int column) {
    Optional<FieldError> error = error(row, column);
    if (error.isPresent() && !replaced) {
      throw new VELKException(error.get().toString(), error.get().code());
    }
    return values[row][column];
  }

  /**
   * Reads a masked value of a column by its name.
   *
   * @param row the row, counted from 0
   * @param column the column's name
   * @return as {@link #value(int, int)}
   * @throws VELKException if the field has an error that nothing replaces, with its code
   * @throws IllegalArgumentException if there is no such column
   * @throws IndexOutOfBoundsException if there is no such row
   */
  public String value(int row, String column) {
    int index = columnNames.indexOf(column);
    if (index < 0) {
      throw new IllegalArgumentException("there is no column \"" + column + "\"");
    }
    return value(row, index);
  }

  /**
   * Reads a masked row.
   *
   * @param row the row, counted from 0
   * @return its values as {@link #value(int, int)} tells them, in the order of the columns; the
   *     list cannot be changed
   * @throws VELKException if a field has an error that nothing replaces, with its code
   * @throws IndexOutOfBoundsException if there is no such row
   */
  public List<String> row(int row) {
    Objects.checkIndex(row, values.length);
    String[] read = new String[columnNames.size()];
    for (int column = 0; column < read.length; column++) {
      read[column] = value(row, column);
    }
    return Collections.unmodifiableList(Arrays.asList(read));
  }

  /**
   * Tells why a value could not be masked.
   *
   * @param row the row, counted from 0
   * @param column the column, counted from 0
   * @return the field's error, empty where it has none
   * @throws IndexOutOfBoundsException if there is no such row or column
   */
  public Optional<FieldError> error(int row, int column) {
    Objects.checkIndex(row, values.length);
    Objects.checkIndex(column, columnNames.size());
    return Optional.ofNullable(errors[row] == null ? null : errors[row][column]);
  }

  /**
   * Tells whether a row has a field that could not be masked.
   *
   * @param row the row, counted from 0
   * @return true where it has
   * @throws IndexOutOfBoundsException if there is no such row
   */
  public boolean hasError(int row) {
    return errors[Objects.checkIndex(row, values.length)] != null;
  }

  /**
   * Lists every value that could not be masked.
   *
   * @return the errors, row by row
   */
  public List<FieldError> errors() {
    return Arrays.stream(errors)
        .filter(Objects::nonNull)
        .flatMap(Arrays::stream)
        .filter(Objects::nonNull)
        .toList();
  }
}
