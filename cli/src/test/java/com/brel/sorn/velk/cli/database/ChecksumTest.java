package com.brel.sorn.velk.cli.database;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.Arrays;
import java.util.Random;
import org.junit.jupiter.api.Test;

class ChecksumTest {
  private static byte[] numbers(int count) {
    byte[] bytes = new byte[count];
    for (int i = 0; i < count; i++) {
      bytes[i] = (byte) i;
    }
    return bytes;
  }

  private static String sum(byte[] text, int... cuts) {
    Checksum checksum = new Checksum(numbers(16));
    int from = 0;
    for (int cut : cuts) {
      checksum.update(text, from, cut - from);
      from = cut;
    }
    checksum.update(text, from, text.length - from);
    return checksum.end();
  }

  /** OpenSSL gives the same with {@code c-rounds:1} and {@code d-rounds:3}. */
  @Test
  void itIsThatOfTheStandard() {
    assertEquals("e77ebcb22788a5befd62db6add303001", sum(numbers(0)));
    assertEquals("fc6f370460d3eda85e0573cc2b2ff063", sum(numbers(1)));
    assertEquals("1084b923f2aae0c3a62f2ec80848ab77", sum(numbers(7)));
    assertEquals("aa12fee1d5e3dab4724f16ab35f9c799", sum(numbers(8)));
    assertEquals("4c5800e34efe426f079f6b0aa75260ad", sum(numbers(63)));
  }

  @Test
  void itIsTheSameInWhateverPartsTheTextComes() {
    Random random = new Random(1);
    byte[] text = numbers(1000);
    String whole = sum(text);
    for (int i = 0; i < 200; i++) {
      int[] cuts = random.ints(random.nextInt(20), 0, text.length).sorted().toArray();
      assertEquals(whole, sum(text, cuts), Arrays.toString(cuts));
    }
  }
}
