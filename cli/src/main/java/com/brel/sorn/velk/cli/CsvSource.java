package com.brel.sorn.velk.cli;

import de.siegmar.fastcsv.reader.CloseableIterator;
import de.siegmar.fastcsv.reader.CsvParseException;
import de.siegmar.fastcsv.reader.CsvReader;
import de.siegmar.fastcsv.reader.FieldMismatchStrategy;
import java.io.Closeable;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;

/** The rows of a CSV file, one after the other. */
final class CsvSource implements Closeable {
  /** UTF-16 units of the longest value: a few of these fit into the smallest heap. */
  static final int LONGEST_VALUE = 1 << 22;

  /** UTF-16 units of the longest row: it is there several times while it is masked. */
  static final int LONGEST_ROW = 2 * LONGEST_VALUE;

  private final Utf8Reader reader;
  private final CloseableIterator<CsvRow> rows;
  private final long lineOffset;
  private CsvRow ahead;

  CsvSource(InputStream in) throws IOException {
    this(in, 0, 1);
  }

  /** Reads from a place inside of a file, where a row starts. */
  CsvSource(InputStream in, long offset, long line) throws IOException {
    lineOffset = line - 1;
    reader = new Utf8Reader(in, offset, line);
    rows =
        CsvReader.builder()
            .skipEmptyLines(false)
            // Whoever knows the header says more about the width of a row.
            .extraFieldStrategy(FieldMismatchStrategy.IGNORE)
            .missingFieldStrategy(FieldMismatchStrategy.IGNORE)
            .allowUnclosedQuote(false)
            .maxBufferSize(LONGEST_VALUE)
            .build(new CsvRowHandler(), reader)
            .iterator();
    try {
      ahead = read();
    } catch (RuntimeException e) {
      // Whoever wanted this object does not get it to close it.
      close();
      throw e;
    }
  }

  boolean hasByteOrderMark() {
    return reader.hasByteOrderMark();
  }

  /** Bytes of the file up to the end of what was read; some of that is still to come as rows. */
  long offset() {
    return reader.offset();
  }

  /** The next row, null behind the last. */
  CsvRow next() {
    CsvRow row = ahead;
    if (row == null) {
      return null;
    }
    ahead = read();
    // A row ends with the line before the next row.
    LineEnd end = reader.endOf(ahead == null ? reader.lastLine() : ahead.line() - 1);
    return new CsvRow(row.line() + lineOffset, row.values(), row.quoted(), end);
  }

  private CsvRow read() {
    try {
      return rows.hasNext() ? rows.next() : null;
    } catch (CsvParseException e) {
      for (Throwable cause = e; cause != null; cause = cause.getCause()) {
        if (cause instanceof Failure failure) {
          throw failure;
        }
        if (cause instanceof IOException failure) {
          throw new UncheckedIOException(failure);
        }
        if (cause instanceof Error error) {
          throw error;
        }
      }
      long line = ahead == null ? 1 : ahead.line();
      throw Failure.inputOutput("the row behind that in line " + (line + lineOffset) + reason(e));
    }
  }

  /** In our own words: the library's may show what stands in the file. */
  private static String reason(CsvParseException e) {
    for (Throwable cause = e; cause != null; cause = cause.getCause()) {
      if (cause instanceof CsvRowHandler.RowTooLong) {
        return ": it has more than " + LONGEST_ROW + " characters; perhaps a quote is not closed";
      }
      String message = String.valueOf(cause.getMessage());
      if (message.startsWith("Unclosed")) {
        return ": a quote is opened and never closed";
      }
      if (message.startsWith("Unexpected character")) {
        return ": a character stands behind a closing quote";
      }
    }
    return ": a value has more than "
        + LONGEST_VALUE
        + " characters; perhaps a quote is not closed";
  }

  @Override
  public void close() throws IOException {
    rows.close();
  }
}
