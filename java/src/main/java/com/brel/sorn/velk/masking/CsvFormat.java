package com.brel.sorn.velk.masking;

/**
 * How CSV is written. The text is UTF-8; a line ends with LF, CRLF or CR.
 *
 * @param delimiter what stands between two values
 * @param quote what values are quoted with
 * @param header whether the first row names the columns
 * @param skipsBlankLines whether lines without a character are left out; else each is a row of one
 *     null
 */
public record CsvFormat(char delimiter, char quote, boolean header, boolean skipsBlankLines) {
  /** Commas, double quotes, a header, and no blank line left out. */
  public static final CsvFormat STANDARD = new CsvFormat(',', '"', true, false);

  /**
   * Says how CSV is written.
   *
   * @param delimiter what stands between two values
   * @param quote what values are quoted with
   * @param header whether the first row names the columns
   * @param skipsBlankLines whether lines without a character are left out
   * @throws IllegalArgumentException if delimiter or quote is no character of ASCII, or one of a
   *     line end, or both are the same
   */
  public CsvFormat {
    if (!isPlain(delimiter) || !isPlain(quote) || delimiter == quote) {
      throw new IllegalArgumentException("a character of ASCII that nothing else stands for");
    }
  }

  private static boolean isPlain(char character) {
    return character > 0 && character < 0x80 && character != '\n' && character != '\r';
  }

  /**
   * The same with another delimiter.
   *
   * @param character what stands between two values
   * @return the other format
   * @throws IllegalArgumentException if the character cannot be one
   */
  public CsvFormat withDelimiter(char character) {
    return new CsvFormat(character, quote, header, skipsBlankLines);
  }

  /**
   * The same with another quote.
   *
   * @param character what values are quoted with
   * @return the other format
   * @throws IllegalArgumentException if the character cannot be one
   */
  public CsvFormat withQuote(char character) {
    return new CsvFormat(delimiter, character, header, skipsBlankLines);
  }

  /**
   * The same with or without a header.
   *
   * @param present whether the first row names the columns
   * @return the other format
   */
  public CsvFormat withHeader(boolean present) {
    return new CsvFormat(delimiter, quote, present, skipsBlankLines);
  }

  /**
   * The same with or without blank lines.
   *
   * @param skipped whether lines without a character are left out
   * @return the other format
   */
  public CsvFormat withBlankLinesSkipped(boolean skipped) {
    return new CsvFormat(delimiter, quote, header, skipped);
  }

  /** As the natives know it. */
  int number() {
    return delimiter | quote << 8 | (skipsBlankLines ? 1 << 16 : 0);
  }
}
