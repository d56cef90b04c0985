package com.brel.sorn.velk.masking;

/**
 * One column of a service.
 *
 * @param longestFallback code points of the text that replaces a value with an error, 0 for none
 */
record Column(String name, Type type, Rule rule, boolean unique, int longestFallback) {
  /** The data type by which every column is exchanged: text that ends with a zero unit. */
  static final int EXCHANGE_TYPE = 6;

  /** Code points for which a buffer can be had, its size being an int. */
  private static final int GREATEST_LIMIT = 500_000_000;

  private static final int LONGEST_INPUT = Integer.MAX_VALUE / 2 - 1;

  Column {
    int limit = limit(type, rule, longestFallback);
    if (limit < 0 || limit > GREATEST_LIMIT) {
      throw new IllegalArgumentException(
          "column \"" + name + "\": no buffer holds a result of " + limit + " code points");
    }
  }

  Column(String name, Type type, Rule rule, boolean unique) {
    this(name, type, rule, unique, 0);
  }

  Column withFallback(OnError onError) {
    return new Column(name, type, rule, unique, onError.longestText());
  }

  /** What the engine judges a result by: code points, 0 for no limit. */
  int limit() {
    return limit(type, rule, longestFallback);
  }

  private static int limit(Type type, Rule rule, int longestFallback) {
    return type.limit() > 0 ? type.limit() : Math.max(rule.longestResult(), longestFallback);
  }

  /** Refuses an input for which there is no buffer; the row is counted from 0. */
  void requireRoom(int row, int units) {
    if (type.limit() == 0 && units > LONGEST_INPUT) {
      throw new IllegalArgumentException(
          "row "
              + (row + 1)
              + ", column \""
              + name
              + "\": no buffer holds a value of "
              + units
              + " units");
    }
  }

  /**
   * Bytes of the buffer for an input of so many units. A limited column's does not depend on the
   * input: one that is too long is cut on its way in, and still shows more code points than the
   * limit, so that the engine finds the error.
   */
  int bufferSize(int units) {
    long size = type.limit() > 0 ? 4L * type.limit() + 4 : 2 * (Math.max(units, 2L * limit()) + 1);
    return Math.toIntExact(size);
  }
}
