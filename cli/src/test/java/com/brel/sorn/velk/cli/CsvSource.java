package com.brel.sorn.velk.cli;

import de.siegmar.fastcsv.reader.CloseableIterator;
import de.siegmar.fastcsv.reader.CsvParseException;
import de.siegmar.fastcsv.reader.CsvReader;
import de.siegmar.fastcsv.reader.FieldMismatchStrategy;
import java.io.Closeable;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;

/**
 * The rows of a CSV file, one after the other, as a library reads them that the command does not
 * use.
 */
final class CsvSource implements Closeable {
  /** UTF-16 units of the longest value: a few of these fit into the smallest heap. */
  static final int LONGEST_VALUE = 1 << 22;

  /** UTF-16 units of the longest row: it is there several times while it is masked. */
  static final int LONGEST_ROW = 2 * LONGEST_VALUE;

  private final Utf8Reader reader;
  private final CloseableIterator<CsvRow> rows;
  private CsvRow ahead;

  CsvSource(InputStream in) throws IOException {
    reader = new Utf8Reader(in);
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

  /** The next row, null behind the last. */
  CsvRow next() {
    CsvRow row = ahead;
    if (row == null) {
      return null;
    }
    ahead = read();
    // A row ends with the line before the next row.
    LineEnd end = reader.endOf(ahead == null ? reader.lastLine() : ahead.line() - 1);
    return new CsvRow(row.line(), row.values(), row.quoted(), end);
  }

  private CsvRow read() {
    try {
      return rows.hasNext() ? rows.next() : null;
    } catch (CsvParseException e) {
      for (Throwable cause = e; cause != null; cause = cause.getCause()) {
        if (cause instanceof IOException failure) {
          throw new UncheckedIOException(failure);
        }
        if (cause instanceof Error error) {
          throw error;
        }
      }
      throw e;
    }
  }

  @Override
  public void close() throws IOException {
    rows.close();
  }
}
