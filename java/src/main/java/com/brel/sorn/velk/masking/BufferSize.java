package com.brel.sorn.velk.masking;

/**
 * How large the value buffers of a column are, in bytes: the one rule of it, whose two numbers the
 * bulk lane is told.
 *
 * <p>A result has at most as many 16-bit units as its value or twice as many units as its rule's
 * longest result has code points. A value longer than its column's limit is cut on its way in and
 * still shows more code points than the limit, so that the engine finds the error.
 *
 * @param least the smallest buffer, whatever the value: holds the longest result
 * @param greatest the largest buffer: of a limited column, what shows one code point too many
 */
record BufferSize(int least, int greatest) {
  /** The size of a value of no limit that is as long as any. */
  private static final int NO_LIMIT = Integer.MAX_VALUE - 1;

  /**
   * Code points up to which a limit is taken for the longest result, and the engine is not asked:
   * what is cleared behind a short value then costs next to nothing.
   */
  private static final int SMALL_LIMIT = 255;

  /**
   * The sizes for a column of a type.
   *
   * @param longestResult code points that a result may have even if its value has fewer; not looked
   *     at where {@link #dependsOnResult} is false
   */
  static BufferSize of(Type type, int longestResult) {
    int greatest = type.limit() > 0 ? 4 * type.limit() + 4 : NO_LIMIT;
    return new BufferSize(dependsOnResult(type) ? 4 * longestResult + 2 : greatest, greatest);
  }

  /** Whether the longest result has a say. */
  static boolean dependsOnResult(Type type) {
    return type.takesAnyText() && (type.limit() == 0 || type.limit() > SMALL_LIMIT);
  }

  /** The buffer for a value of so many units and its terminator; null counts as empty. */
  int forUnits(int units) {
    return (int) Math.min(Math.max(2L * units + 2, least), greatest);
  }
}
