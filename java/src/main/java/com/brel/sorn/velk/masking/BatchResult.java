package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** The values of a column that were masked, in the lane's memory until the next batch. */
final class BatchResult {
  private final View validity = new View();
  private final View offsets = new View();
  private final View bytes = new View();

  /** A view is made again only where the lane has moved its memory or has more in it. */
  private static final class View {
    private long address;
    private ByteBuffer buffer;

    void set(long newAddress, long size) {
      if (buffer == null || newAddress != address || buffer.capacity() < size) {
        address = newAddress;
        buffer = size == 0 ? null : NativeBulk.view(address, size).order(ByteOrder.nativeOrder());
      }
    }
  }

  /** Takes the three addresses of a column and the number of its bytes. */
  void set(long[] result, int from, int rows) {
    validity.set(result[from], rows / 8 + 1L);
    offsets.set(result[from + 1], 4L * rows + 4);
    bytes.set(result[from + 2], result[from + 3]);
  }

  /** The memory is gone, or is about to. */
  void forget() {
    validity.buffer = null;
    offsets.buffer = null;
    bytes.buffer = null;
  }

  boolean isNull(int row) {
    return (validity.buffer.get(row / 8) >> row % 8 & 1) == 0;
  }

  int length(int row) {
    return offsets.buffer.getInt(4 * row + 4) - offsets.buffer.getInt(4 * row);
  }

  void copy(int row, byte[] target, int at) {
    int length = length(row);
    if (length > 0) {
      bytes.buffer.get(offsets.buffer.getInt(4 * row), target, at, length);
    }
  }

  /** All values, the places of which are written as well. */
  byte[] copy(int rows, int[] ends, boolean[] nulls) {
    offsets.buffer.asIntBuffer().get(0, ends, 0, rows + 1);
    for (int row = 0; row < rows; row++) {
      nulls[row] = isNull(row);
    }
    byte[] all = new byte[ends[rows]];
    if (all.length > 0) {
      bytes.buffer.get(0, all);
    }
    return all;
  }
}
