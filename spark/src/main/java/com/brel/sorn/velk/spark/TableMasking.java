package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.OnError;
import java.io.Serializable;
import java.util.List;
import java.util.Objects;
import java.util.stream.Collectors;
import org.apache.spark.TaskContext;

/**
 * What a task needs to mask its rows, and all that is sent to it: the key is named in the string,
 * and read where the rows are.
 */
final class TableMasking implements Serializable {
  private static final long serialVersionUID = 1L;

  private final String maskingString;

  @SuppressWarnings("serial") // A list that was copied can be serialized.
  private final List<TableColumn> columns;

  private final OnError.Way onError;
  private final MaskingErrors errors;

  /**
   * Describes the masking of some columns.
   *
   * @param columns all that the string has a rule for
   * @param errors counts the values that cannot be masked, null where nobody counts them
   */
  TableMasking(
      String maskingString, List<TableColumn> columns, OnError.Way onError, MaskingErrors errors) {
    this.maskingString = maskingString;
    this.columns = List.copyOf(columns);
    this.onError = onError;
    this.errors = errors;
  }

  String maskingString() {
    return maskingString;
  }

  List<TableColumn> columns() {
    return columns;
  }

  List<String> names() {
    return columns.stream().map(TableColumn::name).toList();
  }

  /**
   * Counts a value that could not be masked, or ends the task where the masking string says so.
   *
   * @param part the part of the table
   * @param row the row of this part, counted from 0
   */
  void report(MaskingErrors.Part part, long row, int column, int code, String reason) {
    String name = columns.get(column).name();
    if (onError == OnError.Way.FAILURE) {
      String place = "partition " + TaskContext.getPartitionId() + ", row " + (row + 1);
      throw new VELKException(place + ", column \"" + name + "\": " + reason, code);
    }
    if (errors != null) {
      errors.add(new MaskingErrors.Value(part, name, code));
    }
  }

  @Override
  public boolean equals(Object other) {
    return other instanceof TableMasking masking
        && maskingString.equals(masking.maskingString)
        && columns.equals(masking.columns)
        && onError == masking.onError
        && errors == masking.errors;
  }

  @Override
  public int hashCode() {
    return Objects.hash(maskingString, columns, onError, System.identityHashCode(errors));
  }

  /** The rules, for a plan that is shown: where the key is stays out of it. */
  @Override
  public String toString() {
    return columns.stream().map(TableColumn::toString).collect(Collectors.joining(", ", "(", ")"));
  }
}
