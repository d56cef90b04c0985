package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.OnError;
import java.util.Iterator;
import java.util.List;
import org.apache.spark.TaskContext;
import org.apache.spark.api.java.function.MapPartitionsFunction;
import org.apache.spark.sql.Row;

/**
 * What a task needs to mask its rows, and all that is sent to it: the key is named in the string,
 * and read where the rows are.
 */
final class TableMasking implements MapPartitionsFunction<Row, Row> {
  private static final long serialVersionUID = 1L;

  private final String maskingString;

  @SuppressWarnings("serial") // A list that was copied can be serialized.
  private final List<TableColumn> columns;

  private final OnError.Way onError;
  private final MaskingErrors errors;

  TableMasking(
      String maskingString, List<TableColumn> columns, OnError onError, MaskingErrors errors) {
    this.maskingString = maskingString;
    this.columns = List.copyOf(columns);
    this.onError = onError.way();
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

  /** Whether something takes the place of a value that could not be masked. */
  boolean replaces() {
    return onError == OnError.Way.REPLACEMENT;
  }

  /**
   * Counts a value that could not be masked, or ends the task where the masking string says so.
   *
   * @param row the row of this part of the table, counted from 0
   */
  void report(long row, int column, int code, String reason) {
    String name = columns.get(column).name();
    if (onError == OnError.Way.FAILURE) {
      String place = "partition " + TaskContext.getPartitionId() + ", row " + (row + 1);
      throw new VELKException(place + ", column \"" + name + "\": " + reason, code);
    }
    errors.add(new MaskingErrors.Value(name, code));
  }

  @Override
  public Iterator<Row> call(Iterator<Row> rows) {
    return new MaskedPart(this, rows);
  }
}
