package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;
import java.security.SecureRandom;
import java.util.Arrays;
import java.util.List;
import java.util.stream.IntStream;
import org.jspecify.annotations.Nullable;

/**
 * Tells the values that were written of the columns that are to stay unique apart: each is a number
 * of 64 bits, equal for equal values of a column and for others by chance only. Without the key,
 * which every run draws anew, the number says nothing of its value. Any thread may use it.
 */
final class CsvFingerprints {
  /** The number of no value. */
  static final long NULL = 0;

  /** Delimiter and quote: a line without a character is a row here, of one null. */
  private static final int CHARACTERS = 0xFFFF;

  private static final int QUOTED = 1;
  private static final int QUOTES_DOUBLED = 2;
  private static final int ROW_INTS = 3;
  private static final int CELL_INTS = 3;
  private static final int USUAL_CELLS = 8192;

  private final int width;
  private final int[] columns;
  private final int format;
  private final List<SipHash> keys;

  private CsvFingerprints(int width, int[] columns, int format, SecureRandom random) {
    this.width = width;
    this.columns = columns;
    this.format = format & CHARACTERS;
    // A key for each column, so that the numbers of all fit into one set.
    this.keys =
        Arrays.stream(columns)
            .mapToObj(column -> new SipHash(random.nextLong(), random.nextLong()))
            .toList();
  }

  /** Those of a table; null where no column is to stay unique. */
  static @Nullable CsvFingerprints of(List<Column> table, int format) {
    int[] unique =
        IntStream.range(0, table.size()).filter(i -> table.get(i).rule().unique()).toArray();
    return unique.length == 0
        ? null
        : new CsvFingerprints(table.size(), unique, format, new SecureRandom());
  }

  /** The columns that are to stay unique. */
  int[] columns() {
    return columns.clone();
  }

  List<SipHash> keys() {
    return keys;
  }

  /**
   * Reads a block's output.
   *
   * @param rows what it has, a header not counted
   * @return row by row a number for each of the columns; fewer rows where what follows cannot be
   *     read, a value being too long to come in again for instance
   */
  long[] read(CsvSlot slot, long rows) {
    Reading reading = new Reading(slot, Math.toIntExact(rows));
    while (reading.next()) {}
    return Arrays.copyOf(reading.numbers, reading.row * columns.length);
  }

  /** An output on its way through the cells of its rows. */
  private final class Reading {
    private final CsvSlot slot;
    private final ByteBuffer text;
    private final int[] cells = new int[ROW_INTS + CELL_INTS * Math.max(width, USUAL_CELLS)];
    private final long[] state = new long[8];
    private final long[] numbers;
    private byte[] value = new byte[64];
    private int from;
    private boolean header;

    /** Rows that were read. */
    private int row;

    Reading(CsvSlot slot, int rows) {
      this.slot = slot;
      this.text = slot.written();
      this.numbers = new long[rows * columns.length];
      this.header = slot.hasHeader;
    }

    /** Reads some rows; false at the end, or where there is none. */
    boolean next() {
      int bytes = text.capacity() - from;
      int ints = NativeBulk.csvCells(format, slot.output.handle(), from, bytes, cells, state);
      if (ints < 0) {
        throw Lane.failure(ints, "csvCells");
      }
      for (int at = 0; at < ints; at += ROW_INTS + CELL_INTS * cells[at + 2]) {
        if (header) {
          header = false;
        } else if (cells[at + 2] != width || (row + 1) * columns.length > numbers.length) {
          return false;
        } else {
          readRow(at + ROW_INTS);
        }
      }
      from += (int) state[0];
      return ints > 0;
    }

    private void readRow(int at) {
      for (int i = 0; i < columns.length; i++) {
        int cell = at + CELL_INTS * columns[i];
        numbers[row * columns.length + i] =
            number(keys.get(i), from + cells[cell], cells[cell + 1], cells[cell + 2]);
      }
      row++;
    }

    private long number(SipHash hash, int start, int bytes, int flags) {
      if (bytes == 0 && (flags & QUOTED) == 0) {
        return NULL;
      }
      if (value.length < bytes) {
        value = new byte[2 * bytes];
      }
      text.get(start, value, 0, bytes);
      int length = (flags & QUOTES_DOUBLED) == 0 ? bytes : halveQuotes(bytes);
      long number = hash.of(value, length);
      return number == NULL ? NULL + 1 : number;
    }

    private int halveQuotes(int bytes) {
      byte quote = (byte) (format >> 8);
      int length = 0;
      for (int i = 0; i < bytes; i++) {
        value[length++] = value[i];
        i += value[i] == quote ? 1 : 0;
      }
      return length;
    }
  }
}
