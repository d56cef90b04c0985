package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;

/**
 * The natives of the bulk lane: each does one step for one block or batch. A handle is used by one
 * thread at a time and closed once, which wipes what held values; 0 stands for none. Places and
 * lengths are in bytes, rows and columns are counted from 0.
 *
 * <p>Steps answer 0 or a number of rows, or a code: that of the engine or one of these. After a
 * code the block or batch is at its end, and its output is not to be used.
 */
final class NativeBulk {
  static final int OUT_OF_MEMORY = -1;
  static final int MOVED = -2;
  static final int TOO_LONG = -3;

  private NativeBulk() {}

  /** Where this is false, what calls the engine is called under {@link Bridge#LOCK}. */
  static native boolean allowsThreads();

  /** The engine's text of a code, on the thread that met the error; null for none. */
  static native String errorText(int code);

  /**
   * Opens a lane.
   *
   * @param service the address of the record of the provider's service; both outlive the lane
   * @param sizes for each column of the service the least and the greatest size of its buffers
   * @param order for each column of the table that of the service, -1: it goes round the engine
   * @param replacement UTF-8 that a value with an error becomes, null: it becomes null
   * @return the lane, 0: there is no memory, or the arrays contradict each other
   */
  static native long open(int provider, long service, int[] sizes, int[] order, byte[] replacement);

  static native void close(long lane);

  static native int mask(long lane);

  static native int errorCount(long lane);

  /** Row, column and code of each error of the block or batch, in the order of the values. */
  static native void errors(long lane, int[] errors);

  /** For each column of the table: masked, nulls kept, left equal, empty kept. */
  static native void counts(long lane, long[] counts);

  static native long memoryOpen();

  /** All of the former view in front, which is dead where the memory grows; null: no memory. */
  static native ByteBuffer memoryView(long memory, int bytes);

  static native int memorySize(long memory);

  static native void memoryClear(long memory);

  static native void memoryClose(long memory);

  /** Bytes of the whole rows in a memory; 0: it has to grow. The place starts as four zeros. */
  static native int csvSplit(
      int format, long memory, int from, int bytes, boolean last, long[] place);

  /** Rows as line, line end, cells, and of each cell start, bytes and flags; the ints written. */
  static native int csvCells(
      int format, long memory, int from, int bytes, int[] cells, long[] state);

  static native long blockOpen();

  static native void blockClose(long block);

  static native int blockBegin(
      long block,
      long lane,
      int format,
      long memory,
      int from,
      int bytes,
      int usualEnd,
      long output);

  static native int blockCopyRow(long block, long lane);

  static native int blockLoad(long block, long lane);

  static native int blockWrite(long block, long lane);

  /** Rows, lines, line and line end of the last row; then the fault as in {@link CsvFault}. */
  static native void blockState(long block, long[] state);

  static native long columnsOpen();

  static native void columnsClose(long columns);

  /** The addresses, three for each column, outlive the batch. */
  static native int columnsBegin(long columns, long lane, long[] addresses, int rows);

  static native int columnsLoad(long columns, long lane);

  static native int columnsMask(long columns, long lane);

  static native int columnsStore(long columns, long lane);

  /** Three addresses for each column and its bytes, good until the batch begins again or ends. */
  static native void columnsResult(long columns, long[] addresses);

  static native long address(ByteBuffer buffer);

  static native ByteBuffer view(long address, long bytes);
}
