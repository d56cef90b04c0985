package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.CsvException.Fault;

/**
 * What a native met in a block, its places counted from the block's start.
 *
 * @param number the fault's number, 0 for none
 * @param offset its byte
 * @param line that byte's line
 * @param rowLine the line where its row starts
 * @param values the number of the row's values
 */
record CsvFault(int number, long offset, long line, long rowLine, long values) {
  /** Reads a native's state: number, byte, line, row's line, line of the row before, values. */
  static CsvFault read(long[] state, int from) {
    return new CsvFault(
        (int) state[from], state[from + 1], state[from + 2], state[from + 3], state[from + 5]);
  }

  /**
   * What is told of it.
   *
   * @param bytes in front of the block
   * @param lines in front of the block
   * @param width columns of the table
   */
  CsvException in(long bytes, long lines, int width) {
    Fault fault = Fault.values()[number];
    String place = "byte " + (bytes + offset) + ", line " + (lines + line) + ": ";
    return new CsvException(
        fault,
        bytes + offset,
        lines + line,
        lines + rowLine,
        values,
        width,
        place + message(fault, width));
  }

  private String message(Fault fault, int width) {
    return switch (fault) {
      case NOT_UTF8 -> "the text is not UTF-8";
      case WIDTH ->
          "the row has " + values + (values == 1 ? " value" : " values") + " and not " + width;
      case BLANK_LINE -> "the line is blank, where a row has " + width + " values";
      case UNCLOSED_QUOTE -> "a quote is opened and never closed";
      case BEHIND_QUOTE -> "a character stands behind a closing quote";
      case VALUE_TOO_LONG -> "a value has more than 4194304 characters";
      case ROW_TOO_LONG -> "the row has more than 8388608 characters";
      default -> throw new IllegalStateException("fault " + number);
    };
  }
}
