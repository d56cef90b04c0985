package com.brel.sorn.velk.masking;

/**
 * One column of a service.
 *
 * @param longestFallback code points of the text that replaces a value with an error, 0 for none
 */
record Column(String name, Type type, Rule rule, boolean unique, int longestFallback) {
  /** The data type by which every column is exchanged: text that ends with a zero unit. */
  static final int EXCHANGE_TYPE = 6;

  Column(String name, Type type, Rule rule, boolean unique) {
    this(name, type, rule, unique, 0);
  }

  Column withFallback(OnError onError) {
    return new Column(name, type, rule, unique, onError.longestText());
  }

  /** What the engine judges a result by: code points, 0 for no limit. */
  int limit() {
    return type.limit() > 0 ? type.limit() : Math.max(rule.longestResult(), longestFallback);
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
