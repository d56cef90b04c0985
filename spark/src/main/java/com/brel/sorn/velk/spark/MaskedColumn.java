package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.spark.TableColumn.Way;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.function.IntConsumer;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.unsafe.Platform;
import org.apache.spark.unsafe.types.UTF8String;

/** A column that the engine is shown: its values on their way in and, row by row, out. */
final class MaskedColumn {
  private final int index;
  private final int ordinal;
  private final Form form;
  private final Way way;
  private final boolean text;

  /** What stays, or became of a value that is no text, by row. */
  private final Object[] values;

  private final int[] offsets = new int[MaskedPart.MOST_ROWS + 1];
  private final boolean[] nulls = new boolean[MaskedPart.MOST_ROWS];
  private byte[] utf8 = {};

  /**
   * Describes the column.
   *
   * @param index where it is in the masking
   * @param ordinal where it is in the rows that are given
   */
  MaskedColumn(int index, int ordinal, TableColumn column) {
    this.index = index;
    this.ordinal = ordinal;
    this.form = column.form();
    this.way = column.way();
    this.text = form.isText();
    this.values = new Object[text && way == Way.MASKED ? 0 : MaskedPart.MOST_ROWS];
  }

  /**
   * Adds the value of a row.
   *
   * @param at the row's place in the batch
   * @return how many bytes a text has
   */
  int add(Batch batch, InternalRow row, int at) {
    if (row.isNullAt(ordinal)) {
      batch.addNull(index);
      keep(at, null);
      return 0;
    }
    if (text) {
      return add(batch, row.getUTF8String(ordinal));
    }
    Object value = row.get(ordinal, form.type());
    batch.add(index, form.text(value));
    keep(at, value);
    return 0;
  }

  private void keep(int at, Object value) {
    if (way == Way.KEPT) {
      values[at] = value;
    }
  }

  /** From where it stands, which is in an array but for rows outside of Java's heap. */
  private int add(Batch batch, UTF8String value) {
    int length = value.numBytes();
    if (value.getBaseObject() instanceof byte[] array) {
      int from = (int) (value.getBaseOffset() - Platform.BYTE_ARRAY_OFFSET);
      batch.add(index, array, from, from + length);
    } else {
      batch.add(index, value.getBytes(), 0, length);
    }
    return length;
  }

  /**
   * Takes what became of the values.
   *
   * @param codes the codes of the column's errors by row, null where it has none
   * @param outOfRange is told each row whose masked value the column's type cannot hold
   */
  void read(Batch batch, Integer[] codes, IntConsumer outOfRange) {
    utf8 = batch.copyUtf8(index, offsets, nulls);
    for (int row = 0; row < batch.rows() && values.length > 0; row++) {
      Integer code = codes == null ? null : codes[row];
      if (way == Way.KEPT) {
        values[row] = code == null ? values[row] : null;
        continue;
      }
      Object value = code == null || way == Way.MASKED ? value(row) : null;
      boolean lost = value == null && !nulls[row];
      if (lost) {
        outOfRange.accept(row);
      }
      values[row] =
          way == Way.TRIED
              ? new GenericInternalRow(
                  new Object[] {value, lost ? (Integer) MaskingErrors.OUT_OF_RANGE : code})
              : value;
    }
  }

  private Object value(int row) {
    if (nulls[row]) {
      return null;
    }
    if (text) {
      return text(row);
    }
    int length = offsets[row + 1] - offsets[row];
    return form.value(new String(utf8, offsets[row], length, StandardCharsets.US_ASCII));
  }

  private UTF8String text(int row) {
    return UTF8String.fromBytes(utf8, offsets[row], offsets[row + 1] - offsets[row]);
  }

  boolean isNull(int row) {
    return values.length == 0 ? nulls[row] : values[row] == null;
  }

  Object get(int row) {
    return values.length == 0 ? value(row) : values[row];
  }

  /** Lets go of all values. */
  void clear() {
    Arrays.fill(values, null);
    utf8 = new byte[0];
  }
}
