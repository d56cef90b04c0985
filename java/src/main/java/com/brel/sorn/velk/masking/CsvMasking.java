package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.io.IOException;
import java.io.InputStream;
import java.io.InterruptedIOException;
import java.io.OutputStream;
import java.nio.channels.IllegalBlockingModeException;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SelectableChannel;
import java.nio.channels.WritableByteChannel;
import java.util.Objects;
import java.util.function.Consumer;
import java.util.stream.IntStream;
import org.jspecify.annotations.Nullable;

/**
 * Masks CSV from a stream to a stream, with what is kept byte by byte as it was: quotes, line ends,
 * a missing last one, a byte-order mark. The text is UTF-8. A value that is empty and not quoted is
 * null, {@code ""} is empty. A masked value is quoted where it was or must be.
 *
 * <p>Blocks of whole rows are masked one by one, or several at a time, and leave in order. Of a
 * block in which anything fails nothing is written, nor of any behind it; those before it are.
 * Memory is a few blocks for each thread, whatever the length of the input; it holds values outside
 * of Java's heap and is wiped at the end. Where columns are declared to stay unique it is up to 64
 * MiB more, for numbers by which their results are told apart; {@link CsvReport.Repeats} says what
 * came of it.
 *
 * <p>Each run starts a provider for each thread, which reads the key anew. An object belongs to one
 * thread, and can be used for one table after the other.
 */
public final class CsvMasking {
  private static final int MOST_THREADS = 256;

  private final MaskingService service;
  private CsvFormat format = CsvFormat.STANDARD;
  private OnError onError;
  private int threads = 1;
  private @Nullable Consumer<CsvReport> listener;

  /** Different values of columns that are to stay unique that are kept; tests keep fewer. */
  int mostFingerprints = RepeatCounter.MOST_KEPT;

  CsvMasking(MaskingService service) {
    this.service = service;
    this.onError = service.onError();
  }

  /**
   * Says what stands between two values; unsaid, a comma.
   *
   * @param character a character of ASCII, neither the quote nor of a line end
   * @return this
   * @throws IllegalArgumentException if it is none
   */
  public CsvMasking delimiter(char character) {
    format = format.withDelimiter(character);
    return this;
  }

  /**
   * Says what values are quoted with; unsaid, a double quote.
   *
   * @param character a character of ASCII, neither the delimiter nor of a line end
   * @return this
   * @throws IllegalArgumentException if it is none
   */
  public CsvMasking quote(char character) {
    format = format.withQuote(character);
    return this;
  }

  /**
   * Says whether the first row names the columns; unsaid, it does. Names are those of the service's
   * columns, in any order, each of them once. Without a header the columns are those of the
   * service, in its order.
   *
   * @param present whether it does
   * @return this
   */
  public CsvMasking header(boolean present) {
    format = format.withHeader(present);
    return this;
  }

  /**
   * Says whether lines without a character are left out, in the output too; unsaid, they are a row
   * of one null, and refused where the table has more columns.
   *
   * @param skipped whether they are
   * @return this
   */
  public CsvMasking skipBlankLines(boolean skipped) {
    format = format.withBlankLinesSkipped(skipped);
    return this;
  }

  /**
   * Says what becomes of a value that cannot be masked; unsaid, what the service says. Where that
   * is nothing, the first one ends the run: a file has no other place for an error.
   *
   * @param choice the choice; a text in the place of a value is not tried against its column
   * @return this
   */
  public CsvMasking onError(OnError choice) {
    onError = Objects.requireNonNull(choice, "choice");
    return this;
  }

  /**
   * Says how many threads mask; unsaid, the caller's alone. More are threads of their own, beside
   * which the caller's reads and writes. The output does not depend on their number. Where the
   * engine allows calls of one thread only, the calls themselves follow one another.
   *
   * @param number from 1 to 256
   * @return this
   * @throws IllegalArgumentException if it is less or more
   */
  public CsvMasking threads(int number) {
    if (number < 1 || number > MOST_THREADS) {
      throw new IllegalArgumentException(number + " threads: there may be 1 to " + MOST_THREADS);
    }
    threads = number;
    return this;
  }

  /**
   * Has somebody told how far a run is.
   *
   * @param told gets what became of all rows up to the end of a block, on the calling thread,
   *     before the block is written; what it throws ends the run, and the block is not written
   * @return this
   */
  public CsvMasking onBlock(Consumer<CsvReport> told) {
    listener = Objects.requireNonNull(told, "told");
    return this;
  }

  /**
   * Masks a table.
   *
   * @param in the table, read to its end and not closed
   * @param out gets the masked table; it is flushed at the end, and not closed
   * @return what became of the values
   * @throws CsvException if the table is no such one, with the place
   * @throws InterruptedIOException if the thread is interrupted while others mask for it
   * @throws IOException if reading or writing fails
   * @throws VELKException if the engine fails, or a value has an error that ends the run
   * @throws IllegalStateException if the service is closed, be it in the middle
   */
  public CsvReport mask(InputStream in, OutputStream out) throws IOException {
    Objects.requireNonNull(in, "in");
    Objects.requireNonNull(out, "out");
    try (CsvReader reader = CsvReader.of(in, format)) {
      return mask(reader, tableOf(reader), out);
    }
  }

  /**
   * Masks a table.
   *
   * @param in the table, in blocking mode, read to its end and not closed
   * @param out gets the masked table; in blocking mode, and not closed
   * @return what became of the values
   * @throws IllegalBlockingModeException if a channel is not in blocking mode
   * @throws CsvException if the table is no such one, with the place
   * @throws InterruptedIOException if the thread is interrupted while others mask for it
   * @throws IOException if reading or writing fails
   * @throws VELKException if the engine fails, or a value has an error that ends the run
   * @throws IllegalStateException if the service is closed, be it in the middle
   */
  public CsvReport mask(ReadableByteChannel in, WritableByteChannel out) throws IOException {
    requireBlocking(Objects.requireNonNull(in, "in"));
    requireBlocking(Objects.requireNonNull(out, "out"));
    try (CsvReader reader = CsvReader.of(in, format)) {
      return run(reader, tableOf(reader), out);
    }
  }

  /**
   * Masks a table of which no more than its columns and first rows were looked at. It is read in
   * the reader's format, and its columns are matched by the names that the reader has for them,
   * with a header or without.
   *
   * @param in the table, read to its end
   * @param out gets the masked table; it is flushed at the end, and not closed
   * @return what became of the values
   * @throws CsvException if the table is no such one, with the place
   * @throws InterruptedIOException if the thread is interrupted while others mask for it
   * @throws IOException if reading or writing fails
   * @throws VELKException if the engine fails, or a value has an error that ends the run
   * @throws IllegalStateException if rows were read already, the reader or the service is closed
   */
  public CsvReport mask(CsvReader in, OutputStream out) throws IOException {
    Objects.requireNonNull(out, "out");
    return mask(in, CsvHeader.match(in.names(), service), out);
  }

  private CsvReport mask(CsvReader in, int[] table, OutputStream out) throws IOException {
    try (StreamChannels stream = new StreamChannels(InputStream.nullInputStream(), out)) {
      CsvReport report = run(in, table, stream);
      out.flush();
      return report;
    }
  }

  /** For each column of the table that of the service; without a header they have its order. */
  private int[] tableOf(CsvReader in) throws IOException {
    return format.header()
        ? CsvHeader.match(in.names(), service)
        : IntStream.range(0, service.running().size()).toArray();
  }

  static void requireBlocking(Object channel) {
    if (channel instanceof SelectableChannel selectable && !selectable.isBlocking()) {
      throw new IllegalBlockingModeException();
    }
  }

  private CsvReport run(CsvReader in, int[] table, WritableByteChannel out) throws IOException {
    try (CsvRun run = new CsvRun(this, in.format(), in.handOver(), out)) {
      return run.run(table);
    }
  }

  MaskingService service() {
    return service;
  }

  OnError onError() {
    return onError;
  }

  int threads() {
    return threads;
  }

  @Nullable Consumer<CsvReport> listener() {
    return listener;
  }
}
