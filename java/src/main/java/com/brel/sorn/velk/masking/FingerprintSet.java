package com.brel.sorn.velk.masking;

/** A set of random numbers other than 0, in parts of which one at a time grows. */
final class FingerprintSet {
  private static final int PART_BITS = 8;
  private static final int LEAST = 16;

  final long[][] parts = new long[1 << PART_BITS][LEAST];
  private final int[] sizes = new int[1 << PART_BITS];
  private int size;

  int size() {
    return size;
  }

  /** Adds a number; false if it is there already. */
  boolean add(long number) {
    int index = (int) (number >>> Long.SIZE - PART_BITS);
    if (!put(parts[index], number)) {
      return false;
    }
    size++;
    sizes[index]++;
    if (4L * sizes[index] > 3L * parts[index].length) {
      parts[index] = grown(parts[index]);
    }
    return true;
  }

  private static long[] grown(long[] part) {
    long[] larger = new long[2 * part.length];
    for (long number : part) {
      if (number != 0) {
        put(larger, number);
      }
    }
    return larger;
  }

  private static boolean put(long[] part, long number) {
    int place = (int) number & part.length - 1;
    while (part[place] != 0) {
      if (part[place] == number) {
        return false;
      }
      place = place + 1 & part.length - 1;
    }
    part[place] = number;
    return true;
  }
}
