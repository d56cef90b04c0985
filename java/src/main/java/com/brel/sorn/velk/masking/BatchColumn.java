package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;

/** The values of a column on their way in: a bitmap of those that are not null, offsets, bytes. */
final class BatchColumn {
  /** Bytes of UTF-8 of which the text in 16-bit units still has a size. */
  private static final int LONGEST_VALUE = Integer.MAX_VALUE / 2 - 1;

  private final NativeMemory validity = new NativeMemory();
  private final NativeMemory offsets = new NativeMemory();
  private final NativeMemory bytes = new NativeMemory();
  private int rows;
  private int end;

  int rows() {
    return rows;
  }

  /** Starts anew; the memory stays. */
  void clear() {
    rows = 0;
    end = 0;
  }

  void add(byte[] utf8, int from, int to) {
    int length = to - from;
    room(length).put(end, utf8, from, length);
    end(end + length, true);
  }

  /** Half a surrogate pair becomes bytes that are no UTF-8, as the text is none. */
  void add(String text) {
    ByteBuffer target = room(3L * text.length());
    int at = end;
    for (int i = 0; i < text.length(); i++) {
      char unit = text.charAt(i);
      if (unit < 0x80) {
        target.put(at++, (byte) unit);
      } else if (Character.isHighSurrogate(unit)
          && i + 1 < text.length()
          && Character.isLowSurrogate(text.charAt(i + 1))) {
        at = put(target, at, Character.toCodePoint(unit, text.charAt(++i)));
      } else {
        at = put(target, at, unit);
      }
    }
    end(at, true);
  }

  private static int put(ByteBuffer target, int start, int codePoint) {
    int more = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    int lead = 0xF0 << (3 - more);
    target.put(start, (byte) (lead | codePoint >> 6 * more));
    for (int i = 1; i <= more; i++) {
      target.put(start + i, (byte) (0x80 | codePoint >> 6 * (more - i) & 0x3F));
    }
    return start + more + 1;
  }

  void addNull() {
    room(0);
    end(end, false);
  }

  private ByteBuffer room(long length) {
    if (length > 3L * LONGEST_VALUE || end + length > Integer.MAX_VALUE) {
      throw new IllegalArgumentException("no buffer holds so many values, or one so long");
    }
    return bytes.room(end + length + 1);
  }

  private void end(int newEnd, boolean present) {
    if (newEnd - end > LONGEST_VALUE) {
      throw new IllegalArgumentException("no buffer holds a value of that length");
    }
    ByteBuffer bits = validity.room(rows / 8 + 1);
    int former = rows % 8 == 0 ? 0 : bits.get(rows / 8);
    bits.put(rows / 8, (byte) (former | (present ? 1 << rows % 8 : 0)));
    ByteBuffer ends = offsets.room(4L * rows + 8);
    ends.putInt(4 * rows, end);
    ends.putInt(4 * rows + 4, newEnd);
    end = newEnd;
    rows++;
  }

  /** Writes the three addresses of the column. */
  void addresses(long[] target, int from) {
    target[from] = validity.address();
    target[from + 1] = offsets.address();
    target[from + 2] = bytes.address();
  }

  /** Wipes and frees everything; the column can be used again. */
  void discard() {
    clear();
    validity.close();
    offsets.close();
    bytes.close();
  }
}
