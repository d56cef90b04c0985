package com.brel.sorn.velk.masking;

import java.lang.invoke.MethodHandles;
import java.lang.invoke.VarHandle;
import java.nio.ByteOrder;

/** SipHash-2-4: a number of 64 bits that nobody foresees who has not the key. */
record SipHash(long key0, long key1) {
  private static final VarHandle WORD =
      MethodHandles.byteArrayViewVarHandle(long[].class, ByteOrder.LITTLE_ENDIAN);

  /** The number of the bytes in front. */
  long of(byte[] text, int length) {
    long v0 = key0 ^ 0x736f6d6570736575L;
    long v1 = key1 ^ 0x646f72616e646f6dL;
    long v2 = key0 ^ 0x6c7967656e657261L;
    long v3 = key1 ^ 0x7465646279746573L;
    int words = length / 8;
    // Behind the words a last one of what is left and the length, then four rounds without one.
    for (int i = 0; i < words + 3; i++) {
      long word = i < words ? (long) WORD.get(text, 8 * i) : i == words ? last(text, length) : 0;
      v2 ^= i == words + 1 ? 0xFF : 0;
      v3 ^= word;
      for (int round = 0; round < 2; round++) {
        v0 += v1;
        v2 += v3;
        v1 = Long.rotateLeft(v1, 13) ^ v0;
        v3 = Long.rotateLeft(v3, 16) ^ v2;
        v0 = Long.rotateLeft(v0, 32) + v3;
        v2 += v1;
        v3 = Long.rotateLeft(v3, 21) ^ v0;
        v1 = Long.rotateLeft(v1, 17) ^ v2;
        v2 = Long.rotateLeft(v2, 32);
      }
      v0 ^= word;
    }
    return v0 ^ v1 ^ v2 ^ v3;
  }

  private static long last(byte[] text, int length) {
    long word = (long) length << 56;
    for (int i = length & ~7; i < length; i++) {
      word |= (text[i] & 0xFFL) << 8 * (i & 7);
    }
    return word;
  }
}
