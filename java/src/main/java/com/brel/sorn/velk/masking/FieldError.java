package com.brel.sorn.velk.masking;

/**
 * Why a value could not be masked. What the masked rows hold in its place is said by {@link
 * OnError}: nothing, unless a replacement was chosen.
 *
 * @param row the row, counted from 0
 * @param column the column, counted from 0
 * @param columnName the column's name
 * @param code the engine's code, or a negative one of this class
 * @param message what is wrong
 */
public record FieldError(int row, int column, String columnName, int code, String message) {
  /** The value contains U+0000, which ends a value on its way to the engine. */
  public static final int ZERO_CHARACTER = -101;

  /** The value contains half a surrogate pair, which is no character. */
  public static final int LONE_SURROGATE = -102;

  /** The engine reported an error of the whole row and none of its values. */
  public static final int ROW = -103;

  /** The value is not UTF-8. */
  public static final int NOT_UTF8 = -105;

  /** The engine's code of a value that is not written as its column's type has it. */
  static final int NOT_OF_TYPE = 7503;

  /**
   * Says in one line which value could not be masked and why; the value itself is not told.
   *
   * @return the place, the code and the first line of the message, such as {@code row 2, column
   *     "name": 7502 the value is longer than its column}
   */
  public String summary() {
    String line = text().lines().findFirst().orElse("").strip();
    String reason = line.endsWith(":") ? line.substring(0, line.length() - 1) : line;
    return "row " + (row + 1L) + ", column " + Text.escape(columnName) + ": " + reason;
  }

  /** The error with its place and its code; the row is counted from 1, as a person does. */
  @Override
  public String toString() {
    return "row " + (row + 1L) + ", column \"" + columnName + "\": " + text();
  }

  /** The engine's own texts begin with their code. */
  private String text() {
    return message.startsWith(code + " ") ? message : code + " " + message;
  }
}
