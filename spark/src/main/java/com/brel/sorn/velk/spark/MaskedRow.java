package com.brel.sorn.velk.spark;

import java.util.List;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.unsafe.types.UTF8String;

/** The results of the row at hand, read where they stand. */
final class MaskedRow extends GenericInternalRow {
  private static final long serialVersionUID = 1L;

  private final transient MaskedColumn[] columns;
  private int row;

  MaskedRow(List<MaskedColumn> columns) {
    super(new Object[0]);
    this.columns = columns.toArray(MaskedColumn[]::new);
  }

  MaskedRow at(int newRow) {
    row = newRow;
    return this;
  }

  @Override
  public int numFields() {
    return columns.length;
  }

  @Override
  public boolean isNullAt(int ordinal) {
    return columns[ordinal].isNull(row);
  }

  @Override
  public UTF8String getUTF8String(int ordinal) {
    return (UTF8String) columns[ordinal].get(row);
  }

  @Override
  public Object genericGet(int ordinal) {
    return columns[ordinal].get(row);
  }
}
