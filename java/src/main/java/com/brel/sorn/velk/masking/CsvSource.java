package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.ReadableByteChannel;

/** Cuts an input into blocks of whole rows. */
final class CsvSource {
  private static final int[] BYTE_ORDER_MARK = {0xEF, 0xBB, 0xBF};

  private final ReadableByteChannel in;
  private final int format;
  private boolean started;
  private boolean exhausted;
  private boolean marked;

  CsvSource(ReadableByteChannel in, int format) {
    this.in = in;
    this.format = format;
  }

  /** Whether the input starts with a byte-order mark, once a block was read. */
  boolean hasByteOrderMark() {
    return marked;
  }

  /** Whether nothing is left to be read, but for what stands behind the last block. */
  boolean isExhausted() {
    return exhausted;
  }

  /** Reads the next block; false behind the last one. */
  boolean read(CsvSlot slot, CsvSlot before) throws IOException {
    slot.begin(before);
    if (exhausted && slot.read == 0) {
      return false;
    }
    long[] place = new long[4];
    while (slot.bytes == 0) {
      fill(slot);
      if (exhausted && slot.read == slot.from) {
        return false;
      }
      slot.bytes = split(slot, place);
      if (slot.bytes == 0) {
        slot.text.room(2L * slot.read);
      }
    }
    return true;
  }

  /** Reads until the memory is full or the input at its end. */
  private void fill(CsvSlot slot) throws IOException {
    ByteBuffer target = slot.text.room(0);
    target.limit(target.capacity()).position(slot.read);
    while (target.hasRemaining() && !exhausted) {
      exhausted = in.read(target) < 0;
    }
    slot.read = target.position();
    target.clear();
    if (!started) {
      started = true;
      marked = startsWithMark(target, slot.read);
      slot.from = marked ? BYTE_ORDER_MARK.length : 0;
    }
  }

  private static boolean startsWithMark(ByteBuffer text, int bytes) {
    boolean same = bytes >= BYTE_ORDER_MARK.length;
    for (int i = 0; same && i < BYTE_ORDER_MARK.length; i++) {
      same = (text.get(i) & 0xFF) == BYTE_ORDER_MARK[i];
    }
    return same;
  }

  private int split(CsvSlot slot, long[] place) {
    int whole =
        NativeBulk.csvSplit(
            format, slot.text.handle(), slot.from, slot.read - slot.from, exhausted, place);
    if (whole < 0) {
      throw Lane.failure(whole, "csvSplit");
    }
    return whole;
  }
}
