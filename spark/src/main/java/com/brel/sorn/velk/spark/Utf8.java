package com.brel.sorn.velk.spark;

import org.apache.spark.unsafe.Platform;
import org.apache.spark.unsafe.types.UTF8String;

/** Looks at text as rows have it. */
final class Utf8 {
  private static final long ONES = 0x0101010101010101L;
  private static final long HIGHS = 0x8080808080808080L;

  private Utf8() {}

  /**
   * Tells whether bytes are text that the engine takes: well-formed, and without U+0000.
   *
   * @param from where they start
   * @param to where they end
   */
  static boolean isText(byte[] bytes, int from, int to) {
    int at = from;
    while (at + Long.BYTES <= to
        && isAscii(Platform.getLong(bytes, Platform.BYTE_ARRAY_OFFSET + at))) {
      at += Long.BYTES;
    }
    while (at < to && bytes[at] > 0) {
      at++;
    }
    return at == to || isWellFormed(bytes, at, to);
  }

  /** Whether each of eight bytes is one of 1 to 127. */
  private static boolean isAscii(long eight) {
    return ((eight - ONES | eight) & HIGHS) == 0;
  }

  private static boolean isWellFormed(byte[] bytes, int from, int to) {
    for (int i = from; i < to; i++) {
      if (bytes[i] == 0) {
        return false;
      }
    }
    return UTF8String.fromBytes(bytes, from, to - from).isValid();
  }
}
