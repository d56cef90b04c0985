package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;

/** A block of whole rows: its text, what is written of it, and what is told of it. */
final class CsvSlot implements AutoCloseable {
  /** Of a block, unless a row has more. */
  static final int BLOCK = 256 << 10;

  /** Beyond this the memory of a large row is given back. */
  private static final int MOST_KEPT = 8 * BLOCK;

  final NativeMemory text = new NativeMemory();
  final NativeMemory output = new NativeMemory();

  /** Where the block starts in the text, and how many bytes it has. */
  int from;

  int bytes;

  /** Bytes of the text that were read; behind the block they belong to the next one. */
  int read;

  /** Line end of the row before the block: 0 none, 1 LF, 2 CR, 3 CRLF. */
  int lineEndBefore;

  /** Whether the block starts with the header, which is copied. */
  boolean hasHeader;

  CsvCounts counts;
  CsvFault fault;

  /** Line ends in the block. */
  long lines;

  /** Whether it has more memory than is kept. */
  boolean isLarge() {
    return text.room(0).capacity() > MOST_KEPT;
  }

  /** Starts anew with what the slot before left over. */
  void begin(CsvSlot before) {
    if (isLarge()) {
      text.close();
    }
    int start = before.from + before.bytes;
    int left = before.read - start;
    ByteBuffer target = text.room(Math.max(BLOCK, left));
    if (left > 0) {
      target.put(0, before.text.room(0), start, left);
    }
    from = 0;
    bytes = 0;
    read = left;
    hasHeader = false;
    lineEndBefore = before.lineEnd();
  }

  /** The line end of the block's last row, or of the one before. */
  private int lineEnd() {
    if (bytes == 0) {
      return lineEndBefore;
    }
    ByteBuffer view = text.room(0);
    int last = view.get(from + bytes - 1);
    if (last == '\n') {
      return bytes > 1 && view.get(from + bytes - 2) == '\r' ? 3 : 1;
    }
    return last == '\r' ? 2 : lineEndBefore;
  }

  /** Wipes the output, of which nothing is to be seen. */
  void discard() {
    output.close();
  }

  /** What was written, which stands there until the slot is filled again. */
  ByteBuffer written() {
    return output.written();
  }

  void clearOutput() {
    if (output.written().capacity() > MOST_KEPT) {
      output.close();
    }
    output.clear();
  }

  @Override
  public void close() {
    text.close();
    output.close();
  }
}
