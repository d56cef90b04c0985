package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.CsvException.Fault;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import org.jspecify.annotations.Nullable;

/** The rows of a block as values, one after the other. */
final class CsvRows {
  private static final int QUOTED = 1;
  private static final int QUOTES_DOUBLED = 2;
  private static final int ROW_INTS = 3;
  private static final int CELL_INTS = 3;

  private final CsvSlot slot;
  private final CsvFormat format;

  /** In front of the block. */
  private final long bytes;

  /** In front of the rows in {@link #ints}: bytes of the block, and lines of the input. */
  private int passed;

  private long lines;

  /** Three ints of a row, then three of each cell. */
  private int[] ints = new int[1 << 12];

  private int count;
  private int next;

  /** What the native has said of the rows in {@link #ints}, and what is wrong behind them. */
  private final long[] state = new long[8];

  private CsvFault fault = CsvFault.read(state, 2);

  CsvRows(CsvSlot slot, CsvFormat format, long bytes, long lines) {
    this.slot = slot;
    this.format = format;
    this.bytes = bytes;
    this.lines = lines;
  }

  /** Lines in front of the next block, once all rows were passed. */
  long lines() {
    return lines;
  }

  /**
   * The next row, null behind the last one.
   *
   * @param width the number of its values, 0 where any is right
   * @throws CsvException if the row is none, or has another number of values
   */
  CsvReader.@Nullable Row next(int width) throws CsvException {
    if (next == count && !read(width)) {
      return null;
    }
    int row = next;
    next += ROW_INTS + CELL_INTS * ints[row + 2];
    requireWidth(row, width);
    return new CsvReader.Row(lines + ints[row], values(row));
  }

  private boolean read(int width) throws CsvException {
    if (fault.number() != 0) {
      throw fault.in(bytes + passed, lines, width);
    }
    passed += (int) state[0];
    lines += state[1];
    next = 0;
    count = 0;
    while (count == 0 && passed < slot.bytes) {
      readCells();
      if (count == 0 && fault.number() != 0) {
        throw fault.in(bytes + passed, lines, width);
      }
      if (count == 0 && state[0] == 0) {
        ints = new int[2 * ints.length];
      } else if (count == 0) {
        // Blank lines up to the end.
        passed += (int) state[0];
        lines += state[1];
        state[0] = state[1] = 0;
      }
    }
    return count > 0;
  }

  private void readCells() {
    int from = slot.from + passed;
    int left = slot.bytes - passed;
    count = NativeBulk.csvCells(format.number(), slot.text.handle(), from, left, ints, state);
    if (count < 0) {
      throw Lane.failure(count, "csvCells");
    }
    fault = CsvFault.read(state, 2);
  }

  private void requireWidth(int row, int width) throws CsvException {
    int cells = ints[row + 2];
    if (width == 0 || cells == width) {
      return;
    }
    boolean blank = cells == 1 && isNull(row + ROW_INTS);
    Fault kind = blank ? Fault.BLANK_LINE : Fault.WIDTH;
    int quote = ints[row + ROW_INTS + 2] & QUOTED;
    long offset = (long) ints[row + ROW_INTS] - quote;
    throw new CsvFault(kind.ordinal(), offset, ints[row], ints[row], cells)
        .in(bytes + passed, lines, width);
  }

  private boolean isNull(int cell) {
    return ints[cell + 1] == 0 && (ints[cell + 2] & QUOTED) == 0;
  }

  private List<@Nullable String> values(int row) {
    List<@Nullable String> values = new ArrayList<>(ints[row + 2]);
    ByteBuffer text = slot.text.room(0);
    for (int cell = row + ROW_INTS; cell < row + ROW_INTS + CELL_INTS * ints[row + 2]; ) {
      values.add(isNull(cell) ? null : value(text, cell));
      cell += CELL_INTS;
    }
    return Collections.unmodifiableList(values);
  }

  private String value(ByteBuffer text, int cell) {
    byte[] utf8 = new byte[ints[cell + 1]];
    text.get(slot.from + passed + ints[cell], utf8);
    String value = new String(utf8, StandardCharsets.UTF_8);
    boolean doubled = (ints[cell + 2] & QUOTES_DOUBLED) != 0;
    String quote = String.valueOf(format.quote());
    return doubled ? value.replace(quote + quote, quote) : value;
  }
}
