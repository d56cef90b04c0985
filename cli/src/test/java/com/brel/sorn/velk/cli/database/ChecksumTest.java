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

  /** OpenSSL gives the same. */
  @Test
  void itIsThatOfTheStandard() {
    assertEquals("a3817f04ba25a8e66df67214c7550293", sum(numbers(0)));
    assertEquals("da87c1d86b99af44347659119b22fc45", sum(numbers(1)));
    assertEquals("a1f1ebbed8dbc153c0b84aa61ff08239", sum(numbers(7)));
    assertEquals("3b62a9ba6258f5610f83e264f31497b4", sum(numbers(8)));
    assertEquals("5150d1772f50834a503e069a973fbd7c", sum(numbers(63)));
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
