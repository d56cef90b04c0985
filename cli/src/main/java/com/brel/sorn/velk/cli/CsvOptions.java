package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvFormat;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.util.List;
import java.util.Locale;
import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Option;

/** Options about how the file is written. */
final class CsvOptions {
  private static final String TAB = "tab";
  private static final String ADVICE_ON_BLANK_LINES = "--blank-lines skip leaves such lines out";

  /** Bytes. */
  private static final long LONG_IN_READING = 8_000_000;

  /** Rows that a first row is compared to. */
  private static final int ROWS_LOOKED_AT = 50;

  /** What becomes of blank lines. */
  enum BlankLines {
    /** In a table of several columns they end the run. */
    REFUSE,
    /** They are left out. */
    SKIP;

    @Override
    public String toString() {
      return name().toLowerCase(Locale.ROOT);
    }
  }

  @Option(
      names = {"-d", "--delimiter"},
      paramLabel = "CHARACTER|tab",
      description = {
        "What stands between two values: a character of ASCII, or the word tab; without it, a tab in"
            + " a file called .tsv, else a comma."
      })
  private String delimiter;

  @ArgGroup(exclusive = true)
  private FirstRowOptions firstRow;

  /** What the first row is; where nothing is said it is a header that must not look like data. */
  private static final class FirstRowOptions {
    @Option(
        names = "--header",
        description = {
          "The first row names the columns. Where nothing is said it does, too, but one that holds"
              + " numbers, dates or addresses as rows do is refused."
        })
    private boolean header;

    @Option(
        names = "--no-header",
        description = "The first row is one like the others; the columns are c1, c2 and so on.")
    private boolean noHeader;
  }

  @Option(
      names = "--blank-lines",
      paramLabel = "refuse|skip",
      defaultValue = "refuse",
      description = {
        "Whether lines without a character end the run, or are left out of the output; where there"
            + " is one column, such a line is a null unless it is left out (default:"
            + " ${DEFAULT-VALUE})."
      })
  private BlankLines blankLines;

  /** Opens a file, and says or refuses what is odd about its first row. */
  CsvInput open(Engine engine, Input input, Streams streams) throws IOException {
    CsvInput csv = new CsvInput(engine, input, format(input));
    try {
      requireHeader(csv.reader());
      warnOfDelimiter(csv.reader(), streams);
      return csv;
    } catch (IOException | RuntimeException e) {
      csv.close();
      throw e;
    }
  }

  /** A blank last line would end a run at its very end; what takes a moment tells it by itself. */
  void requireNoBlankEnd(Input input, CsvInput csv) throws IOException {
    if (blankLines == BlankLines.REFUSE
        && csv.reader().names().size() > 1
        && input.size() > LONG_IN_READING
        && input.endsWithBlankLine()) {
      throw Failure.inputOutput("the last line is blank; " + ADVICE_ON_BLANK_LINES);
    }
  }

  private CsvFormat format(Input input) {
    return CsvFormat.STANDARD
        .withDelimiter(delimiter(input))
        .withHeader(hasHeader())
        .withBlankLinesSkipped(blankLines == BlankLines.SKIP);
  }

  private char delimiter(Input input) {
    if (delimiter == null) {
      return input.name().toLowerCase(Locale.ROOT).endsWith(".tsv") ? '\t' : ',';
    }
    if (delimiter.equalsIgnoreCase(TAB)) {
      return '\t';
    }
    boolean plain = delimiter.length() == 1 && delimiter.charAt(0) < 0x80;
    if (!plain || "\"\n\r\0".contains(delimiter)) {
      String shown = Show.quoted(delimiter);
      throw Failure.usage(
          "--delimiter " + shown + ": one character of ASCII that is no quote, or the word tab");
    }
    return delimiter.charAt(0);
  }

  boolean hasHeader() {
    return firstRow == null || firstRow.header;
  }

  /** The first row of a table without a header would go out as it is. */
  private void requireHeader(CsvReader reader) throws IOException {
    if (firstRow == null && FirstRow.isData(reader.names(), reader.firstRows(ROWS_LOOKED_AT))) {
      throw Failure.usage(
          "the first row looks like data: say --header if it names the columns, --no-header if it"
              + " does not");
    }
  }

  private void warnOfDelimiter(CsvReader reader, Streams streams) throws IOException {
    List<String> first = hasHeader() ? reader.names() : reader.firstRows(1).get(0).values();
    if (delimiter != null || first.size() > 1 || first.get(0) == null) {
      return;
    }
    for (char other : new char[] {',', ';', '\t'}) {
      if (first.get(0).indexOf(other) >= 0) {
        String named = other == '\t' ? TAB : "\"" + other + '"';
        String what = hasHeader() ? "the header" : "the first row";
        streams.warn(
            what
                + " is one value with "
                + named
                + " in it: with --delimiter "
                + named
                + " it would be several");
      }
    }
  }

  /** What is told of CSV that is none. */
  Failure refusal(CsvException e) {
    String whole = hasHeader() ? ", the header " : ", the first one ";
    String row =
        "line "
            + e.rowLine()
            + ": the row has "
            + Show.counted(e.values(), "value")
            + whole
            + e.columns();
    return Failure.inputOutput(
        switch (e.fault()) {
          case WIDTH ->
              e.columns() > 1 ? row : row + "; perhaps the first line is no header, or blank";
          case BLANK_LINE -> row + ": the line is blank; " + ADVICE_ON_BLANK_LINES;
          case VALUE_TOO_LONG, ROW_TOO_LONG -> e.getMessage() + "; perhaps a quote is not closed";
          default -> e.getMessage();
        });
  }
}
