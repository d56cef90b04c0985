package com.brel.sorn.velk.cli.database;

import java.lang.invoke.MethodHandles;
import java.lang.invoke.VarHandle;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.HexFormat;

/**
 * SipHash-1-3 of 128 bits: a checksum that nobody makes who has not the key. The command runs with
 * Java's first compiler alone, which knows no processor's instructions for a digest: this takes a
 * small part of what SHA-256 would, and half of what SipHash-2-4 does.
 */
final class Checksum {
  private static final VarHandle WORD =
      MethodHandles.byteArrayViewVarHandle(long[].class, ByteOrder.LITTLE_ENDIAN);

  private final byte[] part = new byte[8];
  private long v0;
  private long v1;
  private long v2;
  private long v3;
  private long length;

  /**
   * Begins.
   *
   * @param key of which the first 16 bytes are taken
   */
  Checksum(byte[] key) {
    long key0 = (long) WORD.get(key, 0);
    long key1 = (long) WORD.get(key, 8);
    v0 = key0 ^ 0x736f6d6570736575L;
    v1 = key1 ^ 0x646f72616e646f6dL ^ 0xEE;
    v2 = key0 ^ 0x6c7967656e657261L;
    v3 = key1 ^ 0x7465646279746573L;
  }

  void update(byte[] bytes, int from, int count) {
    int next = from;
    int end = from + count;
    while (next < end && (length & 7) != 0) {
      part[(int) (length++ & 7)] = bytes[next++];
      if ((length & 7) == 0) {
        words(part, 0, 8);
      }
    }
    int whole = next + (end - next & ~7);
    words(bytes, next, whole);
    length += whole - next;
    for (next = whole; next < end; next++) {
      part[(int) (length++ & 7)] = bytes[next];
    }
  }

  /** The checksum of all that there was, in hexadecimal; there is nothing more to be added. */
  String end() {
    byte[] last = new byte[8];
    System.arraycopy(part, 0, last, 0, (int) (length & 7));
    last[7] = (byte) length;
    words(last, 0, 8);
    ByteBuffer sum = ByteBuffer.allocate(16).order(ByteOrder.LITTLE_ENDIAN);
    v2 ^= 0xEE;
    sum.putLong(mixed());
    v1 ^= 0xDD;
    sum.putLong(mixed());
    return HexFormat.of().formatHex(sum.array());
  }

  private long mixed() {
    byte[] nothing = new byte[8];
    for (int i = 0; i < 3; i++) {
      words(nothing, 0, 8);
    }
    return v0 ^ v1 ^ v2 ^ v3;
  }

  private void words(byte[] bytes, int from, int to) {
    // In fields the state would be read and written with every step.
    long a = v0;
    long b = v1;
    long c = v2;
    long d = v3;
    for (int i = from; i < to; i += 8) {
      long word = (long) WORD.get(bytes, i);
      d ^= word;
      a += b;
      c += d;
      b = (b << 13 | b >>> 51) ^ a;
      d = (d << 16 | d >>> 48) ^ c;
      a = (a << 32 | a >>> 32) + d;
      c += b;
      d = (d << 21 | d >>> 43) ^ a;
      b = (b << 17 | b >>> 47) ^ c;
      c = c << 32 | c >>> 32;
      a ^= word;
    }
    v0 = a;
    v1 = b;
    v2 = c;
    v3 = d;
  }
}
