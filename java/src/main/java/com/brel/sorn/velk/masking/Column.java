package com.brel.sorn.velk.masking;

import org.jspecify.annotations.Nullable;

/**
 * A column of a running service.
 *
 * @param rule the column as it was described
 * @param limit what the engine judges a result by, in code points, 0 for no limit
 * @param bufferSize the sizes of its value buffers
 */
record Column(ColumnRule rule, int limit, BufferSize bufferSize) {
  /** The data type by which every column is exchanged: text that ends with a zero unit. */
  static final int EXCHANGE_TYPE = 6;

  /** Code points for which a buffer can be had, its size being an int. */
  private static final int GREATEST_RESULT = 500_000_000;

  private static final int LONGEST_INPUT = Integer.MAX_VALUE / 2 - 1;

  /**
   * Makes a column of its description.
   *
   * @param longestResult the longest result of its rule in code points where it may exceed the
   *     value; not looked at where {@link BufferSize#dependsOnResult} is false
   * @param onError what may take the place of a result
   */
  static Column of(ColumnRule rule, int longestResult, OnError onError) {
    int longest = Math.max(longestResult, onError.longestText());
    if (longest > GREATEST_RESULT) {
      throw new IllegalArgumentException(
          "column \""
              + rule.name()
              + "\": no buffer holds a result of "
              + longest
              + " code points");
    }
    int limit = rule.type().limit();
    return new Column(rule, limit > 0 ? limit : longest, BufferSize.of(rule.type(), longest));
  }

  String name() {
    return rule.name();
  }

  /** The text of a value, refused if it is none or there is no buffer; the row counts from 0. */
  @Nullable String requireText(long row, @Nullable Object value) {
    if (value instanceof String text) {
      requireRoom(row, text.length());
    } else if (value != null) {
      throw refusal(row, "a " + value.getClass().getName() + " is no String");
    }
    return (String) value;
  }

  /** Refuses an input for which there is no buffer. */
  void requireRoom(long row, int units) {
    if (units > LONGEST_INPUT && rule.type().limit() == 0) {
      throw refusal(row, "no buffer holds a value of " + units + " units");
    }
  }

  private IllegalArgumentException refusal(long row, String reason) {
    return new IllegalArgumentException(
        "row " + (row + 1) + ", column \"" + name() + "\": " + reason);
  }

  /** The engine's text of an error, and what was expected, which only the column knows. */
  String explain(int code, String text) {
    String form = rule.type().form();
    boolean tellsForm = code == FieldError.NOT_OF_TYPE && !form.isEmpty();
    return tellsForm ? text + "\nExpected is " + form + "." : text;
  }
}
