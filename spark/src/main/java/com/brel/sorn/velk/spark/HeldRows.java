package com.brel.sorn.velk.spark;

import java.util.Arrays;
import java.util.List;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.UnsafeProjection;
import org.apache.spark.sql.catalyst.expressions.UnsafeRow;
import org.apache.spark.unsafe.Platform;

/**
 * Copies of rows, one behind another in an array that the next rows are written over: arrays of
 * their own, most of them used once, cost more than to copy.
 */
final class HeldRows {
  private final List<Attribute> given;
  private final UnsafeRow row;

  /** Where each row starts, and behind the last one where that ends. */
  private final int[] starts = new int[MaskedPart.MOST_ROWS + 1];

  private byte[] bytes = {};
  private int count;
  private UnsafeProjection written;

  HeldRows(List<Attribute> given) {
    this.given = given;
    this.row = new UnsafeRow(given.size());
  }

  int count() {
    return count;
  }

  /** How many bytes all rows have. */
  int size() {
    return starts[count];
  }

  /** Copies a row behind the others. */
  void add(InternalRow given) {
    UnsafeRow added = given instanceof UnsafeRow already ? already : written(given);
    int start = starts[count];
    int end = Math.addExact(start, added.getSizeInBytes());
    if (end > bytes.length) {
      bytes = Arrays.copyOf(bytes, (int) Math.max(end, Math.min(2L * end, 1 << 30)));
    }
    added.writeToMemory(bytes, Platform.BYTE_ARRAY_OFFSET + start);
    starts[++count] = end;
  }

  /** Few steps of Spark give other rows. */
  private UnsafeRow written(InternalRow other) {
    if (written == null) {
      written = UnsafeProjection.create(Plans.seq(given), Plans.seq(given));
    }
    return written.apply(other);
  }

  /** What {@link #at} points to. */
  UnsafeRow row() {
    return row;
  }

  /** The array in which the row at hand stands. */
  byte[] bytes() {
    return bytes;
  }

  /** Makes a row the one at hand. */
  UnsafeRow at(int index) {
    int start = starts[index];
    row.pointTo(bytes, Platform.BYTE_ARRAY_OFFSET + start, starts[index + 1] - start);
    return row;
  }

  /** Lets go of all rows; few of them leave no large array behind. */
  void clear() {
    count = 0;
    if (bytes.length > MaskedPart.MOST_BYTES) {
      bytes = new byte[0];
    }
  }
}
