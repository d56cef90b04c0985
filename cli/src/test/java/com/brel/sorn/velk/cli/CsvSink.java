package com.brel.sorn.velk.cli;

import de.siegmar.fastcsv.writer.CsvWriter;
import de.siegmar.fastcsv.writer.LineDelimiter;
import de.siegmar.fastcsv.writer.QuoteStrategy;
import java.io.BufferedWriter;
import java.io.IOException;
import java.io.OutputStream;
import java.io.OutputStreamWriter;
import java.io.StringWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;

/**
 * Writes rows by the same library: quoted where they were, null as nothing and empty as a pair of
 * quotes.
 */
final class CsvSink {
  /** Nothing that stands in a file, so that no value is taken for a comment and quoted. */
  private static final char NO_COMMENT = '\uFFFF';

  private final Writer out;
  private final StringWriter row = new StringWriter();
  private final CsvWriter writer;
  private boolean[] quoted;
  private LineEnd usualEnd;

  /**
   * @param usualEnd the line end for a row that cannot do without one
   */
  CsvSink(OutputStream out, LineEnd usualEnd) {
    // An encoder of this kind refuses half a surrogate pair, where others write a question mark.
    this.out =
        new BufferedWriter(
            new OutputStreamWriter(out, StandardCharsets.UTF_8.newEncoder()), 1 << 16);
    this.usualEnd = usualEnd;
    writer =
        CsvWriter.builder()
            .bufferSize(0)
            .commentCharacter(NO_COMMENT)
            .lineDelimiter(LineDelimiter.LF)
            .quoteStrategy(new AsBefore())
            .build(row);
  }

  private final class AsBefore implements QuoteStrategy {
    @Override
    public boolean quoteEmpty(int line, int field) {
      return true;
    }

    @Override
    public boolean quoteValue(int line, int field, String value) {
      return quoted[field];
    }
  }

  /** Writes what stands before the rows. */
  void writeHeader(CsvSource source, CsvRow header) throws IOException {
    if (source.hasByteOrderMark()) {
      out.write('\uFEFF');
    }
    write(header.values(), header.quoted(), header.end());
  }

  void write(String[] values, boolean[] quotes, LineEnd end) throws IOException {
    quoted = quotes;
    row.getBuffer().setLength(0);
    writer.writeRecord(values);
    out.append(row.getBuffer(), 0, row.getBuffer().length() - 1);
    // Without a line end a last row of one null would be no row.
    boolean vanishes = end == LineEnd.NONE && values.length == 1 && values[0] == null;
    out.write((vanishes ? usualEnd : end).text);
    usualEnd = end == LineEnd.NONE ? usualEnd : end;
  }

  void flush() throws IOException {
    out.flush();
  }
}
