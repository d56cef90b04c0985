package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.jspecify.annotations.Nullable;

/** The masked values of one batch and the errors of its fields; it never changes. */
public final class MaskedRows {
  private final List<String> columnNames;
  private final @Nullable String[][] values;

  /** A row without errors has null in place of its array. */
  private final @Nullable FieldError[] @Nullable [] errors;

  /** Whether a value with an error has a replacement. */
  private final boolean replaced;

  MaskedRows(
      List<String> columnNames,
      @Nullable String[][] values,
      @Nullable FieldError[] @Nullable [] errors,
      boolean replaced) {
    this.columnNames = columnNames;
    this.values = values;
    this.errors = errors;
    this.replaced = replaced;
  }

  /**
   * Makes the result of a batch by hand, for what stands in for a service.
   *
   * @param columnNames the names of the columns
   * @param rows the masked rows, each with one value for each column
   * @param errors what could not be masked; nothing is given in the place of such a value
   * @return the rows
   * @throws IllegalArgumentException if a row has another number of values than there are columns
   * @throws IndexOutOfBoundsException if an error is of a row or column that is not there
   */
  public static MaskedRows of(
      List<String> columnNames,
      List<? extends List<? extends @Nullable String>> rows,
      FieldError... errors) {
    List<String> names = List.copyOf(columnNames);
    String[][] values =
        rows.stream().map(row -> row.toArray(new String[0])).toArray(String[][]::new);
    for (String[] row : values) {
      if (row.length != names.size()) {
        throw new IllegalArgumentException(
            "a row has " + row.length + " values, and there are " + names.size() + " columns");
      }
    }
    FieldError[][] byRow = new FieldError[values.length][];
    for (FieldError error : errors) {
      if (byRow[error.row()] == null) {
        byRow[error.row()] = new FieldError[names.size()];
      }
      byRow[error.row()][error.column()] = error;
    }
    return new MaskedRows(names, values, byRow, false);
  }

  /** The pieces of one batch, in their order, as one. */
  static MaskedRows join(List<MaskedRows> pieces) {
    MaskedRows first = pieces.get(0);
    if (pieces.size() == 1) {
      return first;
    }
    List<String[]> values = new ArrayList<>();
    List<FieldError[]> errors = new ArrayList<>();
    for (MaskedRows piece : pieces) {
      values.addAll(Arrays.asList(piece.values));
      errors.addAll(Arrays.asList(piece.errors));
    }
    return new MaskedRows(
        first.columnNames,
        values.toArray(String[][]::new),
        errors.toArray(FieldError[][]::new),
        first.replaced);
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
   * @return the names in the order of the service; the list cannot be changed
   */
  public List<String> columnNames() {
    return columnNames;
  }

  /**
   * Takes out one row with its errors.
   *
   * @param row the row, counted from 0
   * @return the row
   * @throws IndexOutOfBoundsException if there is no such row
   */
  public MaskedRow get(int row) {
    Objects.checkIndex(row, values.length);
    return new MaskedRow(columnNames, values[row], errors[row], replaced);
  }

  /**
   * Takes out the rows one by one.
   *
   * @return the rows in their order
   */
  public Stream<MaskedRow> stream() {
    return IntStream.range(0, values.length).mapToObj(this::get);
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
  public @Nullable String value(int row, int column) {
    return get(row).value(column);
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
  public @Nullable String value(int row, String column) {
    return get(row).value(column);
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
  public List<@Nullable String> row(int row) {
    return get(row).values();
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
    return get(row).error(column);
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
   * @return the errors, row by row; the list cannot be changed
   */
  public List<FieldError> errors() {
    return Arrays.stream(errors)
        .filter(Objects::nonNull)
        .flatMap(Arrays::stream)
        .filter(Objects::nonNull)
        .toList();
  }
}
