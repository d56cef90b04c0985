package com.brel.sorn.velk.masking;

import java.io.IOException;

/** CSV that is not masked because of what it is, with the place. */
public final class CsvException extends IOException {
  private static final long serialVersionUID = 1L;

  /** What is wrong with a text. Those of its rows have the numbers of the bulk lane. */
  public enum Fault {
    /** There is not even a header. */
    EMPTY,
    /** It is not UTF-8. */
    NOT_UTF8,
    /** A row has another number of values than the table has columns. */
    WIDTH,
    /** A line has no character, and the table has more than one column. */
    BLANK_LINE,
    /** A quote is opened and never closed. */
    UNCLOSED_QUOTE,
    /** A character stands behind a closing quote. */
    BEHIND_QUOTE,
    /** A value is longer than 4,194,304 UTF-16 units. */
    VALUE_TOO_LONG,
    /** The values of a row have together more than 8,388,608 UTF-16 units. */
    ROW_TOO_LONG,
    /** The header has no name for a column, or one twice, or one with U+0000. */
    HEADER,
    /** The header has a column without a rule, or the rules one that the header lacks. */
    COLUMNS
  }

  /** What is wrong. */
  private final Fault fault;

  /** Where, counted from the start of the input. */
  private final long offset;

  /** Where, counted from 1. */
  private final long line;

  /** Where its row starts, counted from 1. */
  private final long rowLine;

  /** Of the row, where it has a wrong number of them. */
  private final long values;

  /** Of the table. */
  private final long columns;

  CsvException(
      Fault fault,
      long offset,
      long line,
      long rowLine,
      long values,
      long columns,
      String message) {
    super(message);
    this.fault = fault;
    this.offset = offset;
    this.line = line;
    this.rowLine = rowLine;
    this.values = values;
    this.columns = columns;
  }

  /** What is wrong with the header, or that there is none. */
  static CsvException ofHeader(Fault fault, String message) {
    return new CsvException(fault, 0, 1, 1, 0, 0, message);
  }

  /**
   * Tells what is wrong.
   *
   * @return the fault
   */
  public Fault fault() {
    return fault;
  }

  /**
   * Tells where it is.
   *
   * @return the place in bytes, counted from 0 at the start of the input, a byte-order mark
   *     included
   */
  public long offset() {
    return offset;
  }

  /**
   * Tells in which line it is.
   *
   * @return the line, counted from 1; a line ends with LF, CRLF or CR, also inside of quotes
   */
  public long line() {
    return line;
  }

  /**
   * Tells where the row that it is in starts.
   *
   * @return the line, counted from 1
   */
  public long rowLine() {
    return rowLine;
  }

  /**
   * Counts the values of a row that has too few or too many.
   *
   * @return their number; of no meaning unless the fault is {@link Fault#WIDTH} or {@link
   *     Fault#BLANK_LINE}
   */
  public long values() {
    return values;
  }

  /**
   * Counts the values that a row of the table has.
   *
   * @return their number; of no meaning unless the fault is {@link Fault#WIDTH} or {@link
   *     Fault#BLANK_LINE}
   */
  public long columns() {
    return columns;
  }
}
