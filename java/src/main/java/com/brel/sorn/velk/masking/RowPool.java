package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.Row;
import com.brel.sorn.velk.RowSet;
import com.brel.sorn.velk.VELKException;
import java.util.ArrayList;
import java.util.List;
import org.jspecify.annotations.Nullable;

/**
 * The row set of a service. Its objects and their native records are made once and used again by
 * every piece of a batch. Guarded by {@link Bridge#LOCK}.
 */
final class RowPool {
  /** Bytes of value buffers that are kept for the next piece; beyond, all of them are freed. */
  static final int MOST_KEPT = 2 * Piece.BYTES;

  private final List<Column> columns;
  private final OnError onError;
  private final List<Row> rows = new ArrayList<>();
  private final RowSet rowSet = new RowSet();
  private final List<String> names;
  private @Nullable FieldError @Nullable [] @Nullable [] errors;
  private long firstRow;
  private long bufferBytes;
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

  /** Bytes of all value buffers. */
  long bufferBytes() {
    return bufferBytes;
  }

  /** Takes a piece in, all traces of the one before cleared; its first row has this number. */
  void load(String[][] values, long firstRow) {
    readable = false;
    this.firstRow = firstRow;
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

  /** A buffer that is larger than the value needs is kept. */
  private void load(Field field, Column column, @Nullable String value) {
    int size = column.bufferSize().forUnits(value == null ? 0 : value.length());
    if (size > field.sourceSize) {
      bufferBytes += size - field.sourceSize;
      field.sourceSize = size;
    }
    field.source = value;
    field.errorCode = 0;
    field.errorMessage = null;
  }

  /** The value, or null in the place of one that cannot be sent: its field then has an error. */
  private @Nullable String sendable(int row, int column, @Nullable String value) {
    int flaw = value == null ? 0 : Text.flaw(value);
    if (flaw == 0) {
      return value;
    }
    put(row, column, flaw, Text.describe(flaw));
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

  /**
   * Copies the results, so that later pieces leave them alone.
   *
   * @throws VELKException if a value has an error that stops the batch
   */
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
    MaskedRows results = new MaskedRows(names, values, errors, replaced);
    if (onError.way() == OnError.Way.FAILURE) {
      results.errors().stream().findFirst().ifPresent(RowPool::stop);
    }
    return results;
  }

  private static void stop(FieldError error) {
    throw new VELKException(error.toString(), error.code());
  }

  /** The value that may be shown: masked, or what stands in the place of one with an error. */
  private @Nullable String result(int row, int column) {
    Field field = field(row, column);
    if (hasError(row, column)) {
      return onError.replacement();
    }
    if (field.errorCode == 0) {
      return (String) field.source;
    }
    // Whatever the engine left in the field is not shown.
    String text = field.errorMessage == null ? "the engine has no text" : field.errorMessage;
    put(row, column, field.errorCode, columns.get(column).explain(field.errorCode, text));
    return onError.replacement();
  }

  /** A row in error of which no value is: none of them can be trusted. */
  private void refuse(int row, String[] values) {
    for (int column = 0; column < columns.size(); column++) {
      values[column] = onError.replacement();
      if (!hasError(row, column)) {
        put(row, column, FieldError.ROW, "the engine reports an error of the whole row");
      }
    }
  }

  /** Lets go of the values, which are masked; the objects and their records stay if small. */
  void clear() {
    forget();
    shrink();
  }

  /**
   * Lets go of the values of a failed batch in the records, too: they may be unmasked. Of its
   * earlier pieces some may stand behind the last one.
   */
  void wipe() {
    rowSet.rows = rows.toArray(Row[]::new);
    forget();
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        wipe(field);
      }
    }
    shrink();
  }

  private void forget() {
    readable = false;
    errors = null;
    for (Row row : rowSet.rows) {
      for (Field field : row.fields) {
        field.source = null;
        field.errorMessage = null;
      }
    }
  }

  private void shrink() {
    if (bufferBytes > MOST_KEPT) {
      free();
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
    rows.clear();
    rowSet.rows = new Row[0];
    bufferBytes = 0;
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

  private void put(int row, int column, int code, String message) {
    if (errors[row] == null) {
      errors[row] = new FieldError[columns.size()];
    }
    int number = (int) Math.min(firstRow + row, Integer.MAX_VALUE);
    errors[row][column] = new FieldError(number, column, names.get(column), code, message);
  }
}
