package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.CsvException.Fault;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.channels.ReadableByteChannel;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.IntStream;
import org.jspecify.annotations.Nullable;

/**
 * Reads CSV as {@link CsvMasking} does. What stands in front can be looked at before the whole is
 * handed to {@link CsvMasking#mask(CsvReader, OutputStream)}: nothing is read twice, so that the
 * input may be a pipe.
 *
 * <p>It belongs to one thread. It holds a block of the input outside of Java's heap, which is wiped
 * when it is closed. Behind an exception it can only be closed.
 */
public final class CsvReader implements AutoCloseable {
  /**
   * A row.
   *
   * @param line the line that it starts in, counted from 1
   * @param values its values; one that is empty and not quoted is null. The list cannot be changed.
   */
  public record Row(long line, List<@Nullable String> values) {}

  private final CsvSource source;
  private final CsvFormat format;
  private final @Nullable StreamChannels stream;

  /** The block whose rows are next; the input goes into both in turn. */
  private CsvSlot slot = new CsvSlot();

  private CsvSlot other = new CsvSlot();
  private boolean begun;
  private boolean any;
  private boolean ended;

  /** In front of the block. */
  private long bytes;

  private @Nullable List<String> names;
  private @Nullable CsvRows rows;

  private CsvReader(ReadableByteChannel in, CsvFormat format, @Nullable StreamChannels stream) {
    this.source = new CsvSource(in, format.number());
    this.format = format;
    this.stream = stream;
  }

  static CsvReader of(InputStream in, CsvFormat format) {
    StreamChannels stream = new StreamChannels(in, OutputStream.nullOutputStream());
    return new CsvReader(stream, format, stream);
  }

  static CsvReader of(ReadableByteChannel in, CsvFormat format) {
    return new CsvReader(in, format, null);
  }

  /**
   * Tells how the input is read.
   *
   * @return the format
   */
  public CsvFormat format() {
    return format;
  }

  /**
   * Names the columns.
   *
   * @return the names as they stand in the header, a blank one being empty; without a header {@code
   *     c1}, {@code c2} and so on, as many as the first row has values
   * @throws CsvException if there is no first row, or it is none
   * @throws IOException if reading fails
   */
  public List<String> names() throws IOException {
    if (names == null) {
      begin();
      Row first = any ? firstBlock().next(0) : null;
      if (first == null) {
        String lacking = format.header() ? ": it has no header" : "";
        throw CsvException.ofHeader(Fault.EMPTY, "the input is empty" + lacking);
      }
      names = format.header() ? named(first.values()) : numbered(first.values().size());
    }
    return names;
  }

  private static List<String> named(List<@Nullable String> values) {
    return values.stream().map(name -> name == null ? "" : name).toList();
  }

  private static List<String> numbered(int count) {
    return IntStream.rangeClosed(1, count).mapToObj(number -> "c" + number).toList();
  }

  /**
   * Shows the first rows, which are still to come.
   *
   * @param most how many of them
   * @return the rows behind the header, as many as there are or as stand in what was read at once
   * @throws CsvException if one of them is no row, or has another number of values than the table
   *     has columns
   * @throws IOException if reading fails
   */
  public List<Row> firstRows(int most) throws IOException {
    int width = names().size();
    requireWhole();
    CsvRows first = behindHeader();
    List<Row> shown = new ArrayList<>();
    while (shown.size() < most) {
      Row row = first.next(width);
      if (row == null) {
        break;
      }
      shown.add(row);
    }
    return shown;
  }

  /**
   * Reads the next row.
   *
   * @return the row behind the header or the row before, null behind the last one
   * @throws CsvException if it is no row, or has another number of values than the table has
   *     columns
   * @throws IOException if reading fails
   * @throws IllegalStateException if the input was handed to be masked, or this is closed
   */
  public @Nullable Row next() throws IOException {
    int width = names().size();
    if (rows == null) {
      requireWhole();
      rows = behindHeader();
    }
    Row row = rows.next(width);
    while (row == null && readNext(rows.lines())) {
      row = rows.next(width);
    }
    return row;
  }

  private boolean readNext(long lines) throws IOException {
    requireOpen();
    bytes += slot.bytes;
    CsvSlot before = slot;
    slot = other;
    other = before;
    any = source.read(slot, before);
    rows = new CsvRows(slot, format, bytes, lines);
    return any;
  }

  private CsvRows firstBlock() {
    return new CsvRows(slot, format, bytes, 0);
  }

  private CsvRows behindHeader() throws CsvException {
    CsvRows first = firstBlock();
    if (format.header()) {
      first.next(0);
    }
    return first;
  }

  /** Reads the first block, unless that was done. */
  void begin() throws IOException {
    requireOpen();
    if (!begun) {
      begun = true;
      ended = true;
      any = source.read(slot, other);
      bytes = source.hasByteOrderMark() ? slot.from : 0;
      ended = false;
    }
  }

  private void requireOpen() {
    if (ended) {
      throw new IllegalStateException("the reader is at its end");
    }
  }

  private void requireWhole() {
    requireOpen();
    if (rows != null) {
      throw new IllegalStateException("rows were read already");
    }
  }

  /** Hands the input over with its first block, whose memory is then not this one's alone. */
  Start handOver() throws IOException {
    begin();
    requireWhole();
    ended = true;
    return new Start(source, slot, any, bytes);
  }

  /**
   * An input whose first block was read.
   *
   * @param any whether there is one
   * @param bytes in front of it
   */
  record Start(CsvSource source, CsvSlot first, boolean any, long bytes) {
    /** Whether the block is all there is. */
    boolean isWhole() {
      return source.isExhausted() && first.read == first.from + first.bytes;
    }
  }

  /** Wipes and frees what was read; the input stays open. A second call does nothing. */
  @Override
  public void close() {
    ended = true;
    slot.close();
    other.close();
    if (stream != null) {
      stream.close();
    }
  }
}
