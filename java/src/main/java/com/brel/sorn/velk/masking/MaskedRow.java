package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import org.jspecify.annotations.Nullable;

/** The masked values of one row and the errors of its fields; it never changes. */
public final class MaskedRow {
  private final List<String> columnNames;
  private final @Nullable String[] values;

  /** Null where the row has no errors. */
  private final @Nullable FieldError @Nullable [] errors;

  /** Whether a value with an error has a replacement. */
  private final boolean replaced;

  MaskedRow(
      List<String> columnNames,
      @Nullable String[] values,
      @Nullable FieldError @Nullable [] errors,
      boolean replaced) {
    this.columnNames = columnNames;
    this.values = values;
    this.errors = errors;
    this.replaced = replaced;
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
   * Reads a masked value.
   *
   * @param column the column, counted from 0
   * @return the masked value, null where it is null; what {@link OnError} puts in the place of a
   *     value with an error
   * @throws VELKException if the field has an error that nothing replaces, with its code
   * @throws IndexOutOfBoundsException if there is no such column
   */
  public @Nullable String value(int column) {
    Objects.checkIndex(column, values.length);
    if (errors != null && errors[column] != null && !replaced) {
      throw new VELKException(errors[column].toString(), errors[column].code());
    }
    return values[column];
  }

  /**
   * Reads a masked value of a column by its name.
   *
   * @param column the column's name
   * @return as {@link #value(int)}
   * @throws VELKException if the field has an error that nothing replaces, with its code
   * @throws IllegalArgumentException if there is no such column
   */
  public @Nullable String value(String column) {
    int index = columnNames.indexOf(Objects.requireNonNull(column, "column"));
    if (index < 0) {
      throw new IllegalArgumentException("there is no column \"" + column + "\"");
    }
    return value(index);
  }

  /**
   * Reads all values.
   *
   * @return the values as {@link #value(int)} tells them, in the order of the columns; the list
   *     cannot be changed
   * @throws VELKException if a field has an error that nothing replaces, with its code
   */
  public List<@Nullable String> values() {
    @Nullable String[] read = new String[values.length];
    for (int column = 0; column < read.length; column++) {
      read[column] = value(column);
    }
    return Collections.unmodifiableList(Arrays.asList(read));
  }

  /**
   * Tells whether a field could not be masked.
   *
   * @return true where one could not
   */
  public boolean hasError() {
    return errors != null;
  }

  /**
   * Tells why a value could not be masked.
   *
   * @param column the column, counted from 0
   * @return the field's error, empty where it has none
   * @throws IndexOutOfBoundsException if there is no such column
   */
  public Optional<FieldError> error(int column) {
    Objects.checkIndex(column, values.length);
    return Optional.ofNullable(errors == null ? null : errors[column]);
  }

  /**
   * Lists every value that could not be masked.
   *
   * @return the errors in the order of the columns; the list cannot be changed
   */
  public List<FieldError> errors() {
    return errors == null ? List.of() : Arrays.stream(errors).filter(Objects::nonNull).toList();
  }
}
