package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;

/** The rows of a part of a table, masked some at a time as they are asked for. */
final class MaskedPart implements Iterator<Row> {
  static final int MOST_ROWS = 1000;

  /** Of large values a batch has fewer rows. */
  private static final int ENOUGH_BYTES = 4 << 20;

  private final TableMasking masking;
  private final List<TableColumn> columns;
  private final Iterator<Row> rows;
  private final TaskBatch task;

  private final List<Row> given = new ArrayList<>();
  private List<Row> masked = List.of();
  private int next;

  /** The rows of all batches before. */
  private long before;

  MaskedPart(TableMasking masking, Iterator<Row> rows) {
    this.masking = masking;
    this.columns = masking.columns();
    this.rows = rows;
    this.task = new TaskBatch(masking.maskingString(), masking.names());
  }

  @Override
  public boolean hasNext() {
    if (next < masked.size()) {
      return true;
    }
    if (!rows.hasNext()) {
      // What is at its end need not wait for that of the task.
      masked = List.of();
      next = 0;
      task.end();
      return false;
    }
    maskBatch();
    return true;
  }

  @Override
  public Row next() {
    if (!hasNext()) {
      throw new NoSuchElementException();
    }
    return masked.get(next++);
  }

  private void maskBatch() {
    // Not under the monitor: they may take any time to come.
    takeRows();
    synchronized (task) {
      Batch batch = task.batch();
      given.forEach(row -> add(batch, row));
      batch.mask();
      masked = results(batch);
    }
    next = 0;
    before += given.size();
    given.clear();
  }

  private void takeRows() {
    long bytes = 0;
    while (given.size() < MOST_ROWS && bytes < ENOUGH_BYTES && rows.hasNext()) {
      Row row = rows.next();
      given.add(row);
      for (int column = 0; column < columns.size(); column++) {
        bytes += row.get(column) instanceof byte[] text ? text.length : 0;
      }
    }
  }

  private void add(Batch batch, Row row) {
    for (int i = 0; i < columns.size(); i++) {
      TableColumn column = columns.get(i);
      Object value = column.sent() ? row.get(i) : null;
      if (value == null) {
        batch.addNull(i);
      } else if (column.form().isText()) {
        byte[] text = (byte[]) value;
        batch.add(i, text, 0, text.length);
      } else {
        batch.add(i, column.text(value));
      }
    }
    batch.endRow();
  }

  private List<Row> results(Batch batch) {
    Object[][] values = new Object[given.size()][columns.size()];
    for (FieldError error : batch.errors()) {
      masking.report(before + error.row(), error.column(), error.code(), error.message());
    }
    List<Row> results = new ArrayList<>(values.length);
    for (int row = 0; row < values.length; row++) {
      for (int column = 0; column < columns.size(); column++) {
        values[row][column] = result(batch, row, column);
      }
      results.add(RowFactory.create(values[row]));
    }
    return results;
  }

  private Object result(Batch batch, int row, int index) {
    TableColumn column = columns.get(index);
    boolean bad = batch.error(row, index).isPresent();
    if (column.kept() && !bad) {
      return given.get(row).get(index);
    }
    if (bad && (column.kept() || !masking.replaces()) || batch.isNull(row, index)) {
      return null;
    }
    byte[] text = new byte[batch.length(row, index)];
    batch.copyUtf8(row, index, text, 0);
    if (column.form().isText()) {
      return text;
    }
    Object value = column.value(new String(text, StandardCharsets.US_ASCII));
    if (value == null) {
      String reason = "the column's type cannot hold the masked value";
      masking.report(before + row, index, MaskingErrors.OUT_OF_RANGE, reason);
    }
    return value;
  }
}
