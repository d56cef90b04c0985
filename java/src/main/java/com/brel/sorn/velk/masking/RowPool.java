package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.Row;
import com.brel.sorn.velk.RowSet;
import com.brel.sorn.velk.VELKException;
import java.util.ArrayList;
import java.util.List;

/**
 * The row set of a service. Its objects and their native records are made once and used again by
 * every batch. Guarded by {@link Bridge#LOCK}.
 */
final class RowPool {
  private final List<Column> columns;
  private final OnError onError;
  private final List<Row> rows = new ArrayList<>();
  private final RowSet rowSet = new RowSet();
  private final List<String> names;
  private FieldError[][] errors;
  private boolean readable;

  RowPool(List<Column> columns, OnError onError) {
    this.columns = columns;
    this.onError = onError;
    this.names = columns.stream().map(Column::name).toList();
    rowSet.rows = new Row[0];
  }

  RowSet rowSet() {
    return rowSet;
  }

  /** Takes a batch in, all traces of the one before cleared. */
  void load(String[][] values) {
    readable = false;
    errors = new FieldError[values.length][];
    while (rows.size() < values.length) {
      rows.add(newRow());
    }
    if (rowSet.rows.length != values.length) {
      rowSet.rows = rows.subList(0, values.length).toArray(Row[]::new);
    }
    for (int row = 0; row < values.length; row++) {
      rowSet.rows[row].hasError = false;
      for (int column = 0; column < columns.size(); column++) {
        load(field(row, column), columns.get(column), sendable(row, column, values[row][column]));
      }
    }
  }

  private static void load(Field field, Column column, String value) {
    field.source = value;
    field.sourceSize = column.bufferSize(value == null ? 0 : value.length());
    field.errorCode = 0;
    field.errorMessage = null;
  }

  /** The value, or null in the place of one that cannot be sent: its field then has an error. */
  private String sendable(int row, int column, String value) {
    int flaw = value == null ? 0 : Text.flaw(value);
    if (flaw == 0) {
      return value;
    }
    FieldError error = error(row, column, flaw, Text.describe(flaw));
    if (onError.way() == OnError.Way.FAILURE) {
      throw new VELKException(error.toString(), flaw);
    }
    put(error);
    return null;
  }

  void toC() {
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        Bridge.check(field.toC(), "Field.toC");
      }
      Bridge.check(row.toC(), "Row.toC");
    }
    Bridge.check(rowSet.toC(), "RowSet.toC");
  }

  /** Only after the last of these calls there is anything to be read. */
  void toJava() {
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        Bridge.check(field.toJava(), "Field.toJava");
      }
      Bridge.check(row.toJava(), "Row.toJava");
    }
    Bridge.check(rowSet.toJava(), "RowSet.toJava");
    readable = true;
  }

  /** Copies the results, so that later batches leave them alone. */
  MaskedRows results() {
    if (!readable) {
      throw new IllegalStateException("no batch was masked; there are no values to be read");
    }
    String[][] values = new String[rowSet.rows.length][columns.size()];
    for (int row = 0; row < values.length; row++) {
      boolean told = false;
      for (int column = 0; column < columns.size(); column++) {
        values[row][column] = result(row, column);
        told |= field(row, column).errorCode != 0;
      }
      // What was refused before it was sent explains no error of the engine's.
      if (rowSet.rows[row].hasError && !told) {
        refuse(row, values[row]);
      }
    }
    boolean replaced = onError.way() == OnError.Way.REPLACEMENT;
    return new MaskedRows(names, values, errors, replaced);
  }

  /** The value that may be shown: masked, or what stands in the place of one with an error. */
  private String result(int row, int column) {
    Field field = field(row, column);
    if (hasError(row, column)) {
      return onError.replacement();
    }
    if (field.errorCode == 0) {
      return (String) field.source;
    }
    // Whatever the engine left in the field is not shown.
    String text = field.errorMessage == null ? "the engine has no text" : field.errorMessage;
    put(error(row, column, field.errorCode, text));
    return onError.replacement();
  }

  /** A row in error of which no value is: none of them can be trusted. */
  private void refuse(int row, String[] values) {
    for (int column = 0; column < columns.size(); column++) {
      values[column] = onError.replacement();
      if (!hasError(row, column)) {
        put(error(row, column, FieldError.ROW, "the engine reports an error of the whole row"));
      }
    }
  }

  /** Lets go of the values, masked or not; the objects and their records stay. */
  void clear() {
    readable = false;
    errors = null;
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        field.source = null;
        field.errorMessage = null;
      }
    }
  }

  /** Lets go of the values of a failed batch in the records, too: they may be unmasked. */
  void wipe() {
    clear();
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        wipe(field);
      }
    }
  }

  /** A null value zeroes the buffer; one that cannot be zeroed is freed, and made again later. */
  private static void wipe(Field field) {
    try {
      Bridge.check(field.toC(), "Field.toC");
    } catch (RuntimeException | Error e) {
      field.free();
    }
  }

  /** Frees every native record. */
  void free() {
    for (Row row : rows) {
      for (Field field : row.fields) {
        field.free();
      }
      row.free();
    }
    rowSet.free();
  }

  private Row newRow() {
    Row row = new Row();
    row.fields = new Field[columns.size()];
    for (int column = 0; column < row.fields.length; column++) {
      row.fields[column] = new Field();
      row.fields[column].id = Column.EXCHANGE_TYPE;
    }
    return row;
  }

  private Field field(int row, int column) {
    return rowSet.rows[row].fields[column];
  }

  private boolean hasError(int row, int column) {
    return errors[row] != null && errors[row][column] != null;
  }

  private FieldError error(int row, int column, int code, String message) {
    return new FieldError(row, column, columns.get(column).name(), code, message);
  }

  private void put(FieldError error) {
    if (errors[error.row()] == null) {
      errors[error.row()] = new FieldError[columns.size()];
    }
    errors[error.row()][error.column()] = error;
  }
}
