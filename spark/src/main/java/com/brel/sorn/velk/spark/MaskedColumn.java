package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.spark.TableColumn.Way;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.function.IntConsumer;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.sql.catalyst.expressions.UnsafeRow;
import org.apache.spark.unsafe.Platform;
import org.apache.spark.unsafe.types.UTF8String;

/** A column that the engine is shown: its values on their way in and, row by row, out. */
final class MaskedColumn {
  private final int ordinal;
  private final HeldRows held;
  private final Form form;
  private final Way way;
  private final boolean text;

  /** What became of values, by row; texts are read where they stand. */
  private final Object[] values;

  private final int[] offsets = new int[MaskedPart.MOST_ROWS + 1];
  private final boolean[] nulls = new boolean[MaskedPart.MOST_ROWS];
  private Integer[] codes;
  private byte[] utf8 = {};

  /**
   * Describes the column.
   *
   * @param ordinal where it is in the rows that are given
   * @param held those rows
   */
  MaskedColumn(int ordinal, TableColumn column, HeldRows held) {
    this.ordinal = ordinal;
    this.held = held;
    this.form = column.form();
    this.way = column.way();
    this.text = form.isText();
    boolean made = way == Way.TRIED || way == Way.MASKED && !text;
    this.values = new Object[made ? MaskedPart.MOST_ROWS : 0];
  }

  /** Where it is in the rows that are given. */
  int ordinal() {
    return ordinal;
  }

  /** Whether its texts are kept, and the engine is shown rows in which one is no text. */
  boolean isChecked() {
    return way == Way.CHECKED;
  }

  /** Whether the value of the row at hand is a text, or null. */
  boolean isText() {
    int start = start();
    return held.row().isNullAt(ordinal) || Utf8.isText(held.bytes(), start, start + length());
  }

  /** Where the text of the row at hand starts: rows have that and its length in one number. */
  private int start() {
    UnsafeRow row = held.row();
    return (int) (row.getBaseOffset() - Platform.BYTE_ARRAY_OFFSET + (row.getLong(ordinal) >> 32));
  }

  private int length() {
    return (int) held.row().getLong(ordinal);
  }

  /** Adds the value of the row at hand to a column of a batch. */
  void add(Batch batch, int index) {
    UnsafeRow row = held.row();
    if (row.isNullAt(ordinal)) {
      batch.addNull(index);
    } else if (text) {
      int start = start();
      batch.add(index, held.bytes(), start, start + length());
    } else {
      batch.add(index, form.text(row.get(ordinal, form.type())));
    }
  }

  /**
   * Takes what became of the values.
   *
   * @param index the column of the batch
   * @param found the codes of the column's errors by row, null where it has none
   * @param outOfRange is told each row whose masked value the column's type cannot hold
   */
  void read(Batch batch, int index, Integer[] found, IntConsumer outOfRange) {
    codes = found;
    if (found == null && (way == Way.CHECKED || way == Way.KEPT)) {
      return;
    }
    utf8 = batch.copyUtf8(index, offsets, nulls);
    for (int row = 0; row < batch.rows() && values.length > 0; row++) {
      Integer code = code(row);
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

  private Integer code(int row) {
    return codes == null ? null : codes[row];
  }

  private Object value(int row) {
    if (nulls[row]) {
      return null;
    }
    if (text) {
      return UTF8String.fromBytes(utf8, offsets[row], offsets[row + 1] - offsets[row]);
    }
    int length = offsets[row + 1] - offsets[row];
    return form.value(new String(utf8, offsets[row], length, StandardCharsets.US_ASCII));
  }

  /** Whether the value of a row is what was given: that row is at hand. */
  private boolean stays(int row) {
    return way == Way.CHECKED && code(row) == null || way == Way.KEPT;
  }

  boolean isNull(int row) {
    if (stays(row)) {
      return code(row) != null || held.row().isNullAt(ordinal);
    }
    return values.length == 0 ? nulls[row] : values[row] == null;
  }

  Object get(int row) {
    if (stays(row)) {
      return isNull(row) ? null : given(held.row());
    }
    return values.length == 0 ? value(row) : values[row];
  }

  private Object given(UnsafeRow row) {
    return text ? row.getUTF8String(ordinal) : row.get(ordinal, form.type());
  }

  /** Lets go of all values. */
  void clear() {
    Arrays.fill(values, null);
    codes = null;
    utf8 = new byte[0];
  }
}
