package com.brel.sorn.velk.masking;

import java.util.List;

/**
 * How much of a batch is masked while the lock is held once, so that others wait no longer and a
 * service holds no more memory, however large a batch is. A row is never divided.
 */
final class Piece {
  /** Enough to make the calls of a piece count little. */
  static final int VALUES = 8192;

  /** Of all value buffers together; a longer row makes a piece of its own. */
  static final int BYTES = 4 << 20;

  private final List<Column> columns;
  private int rows;
  private long bytes;

  Piece(List<Column> columns) {
    this.columns = columns;
  }

  /** Takes a row, unless the piece is full without it. */
  boolean take(String[] row) {
    long more = bytes(row);
    boolean full = rows * (long) columns.size() + row.length > VALUES || bytes + more > BYTES;
    if (rows > 0 && full) {
      return false;
    }
    rows++;
    bytes += more;
    return true;
  }

  private long bytes(String[] row) {
    long sum = 0;
    for (int column = 0; column < row.length; column++) {
      sum +=
          columns.get(column).bufferSize().forUnits(row[column] == null ? 0 : row[column].length());
    }
    return sum;
  }

  /** The row behind the piece that starts at a row. */
  static int end(List<Column> columns, String[][] rows, int from) {
    Piece piece = new Piece(columns);
    int end = from;
    while (end < rows.length && piece.take(rows[end])) {
      end++;
    }
    return end;
  }
}
