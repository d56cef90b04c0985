package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.InputStream;
import java.io.Reader;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharsetDecoder;
import java.nio.charset.CoderResult;
import java.nio.charset.MalformedInputException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;

/** Reads UTF-8 and nothing else. It remembers how each line ends. */
final class Utf8Reader extends Reader {
  private static final byte[] BYTE_ORDER_MARK = {(byte) 0xEF, (byte) 0xBB, (byte) 0xBF};

  private final InputStream in;
  private final CharsetDecoder decoder = StandardCharsets.UTF_8.newDecoder();
  private final ByteBuffer bytes = ByteBuffer.allocate(1 << 16).flip();

  /** The ends of the lines that were read and not yet asked for. */
  private final ArrayDeque<LineEnd> ends = new ArrayDeque<>();

  private long firstEnd = 1;
  private long lines;
  private char last = '\n';
  private boolean exhausted;
  private final boolean byteOrderMark;

  Utf8Reader(InputStream in) throws IOException {
    this.in = in;
    byteOrderMark = skipByteOrderMark();
  }

  /** Tells whether the file starts with a byte-order mark, which is not part of the text. */
  boolean hasByteOrderMark() {
    return byteOrderMark;
  }

  /** How a line of this text ends, counted from 1; lines are asked for in order, once. */
  LineEnd endOf(long line) {
    while (firstEnd < line && ends.poll() != null) {
      firstEnd++;
    }
    firstEnd++;
    LineEnd end = ends.poll();
    return end == null ? LineEnd.NONE : end;
  }

  /** The line that was read last, counted from 1. */
  long lastLine() {
    return last == '\n' || last == '\r' ? lines : lines + 1;
  }

  private boolean skipByteOrderMark() throws IOException {
    while (bytes.remaining() < BYTE_ORDER_MARK.length && !exhausted) {
      fill();
    }
    for (int i = 0; i < BYTE_ORDER_MARK.length; i++) {
      if (i >= bytes.remaining() || bytes.get(i) != BYTE_ORDER_MARK[i]) {
        return false;
      }
    }
    bytes.position(BYTE_ORDER_MARK.length);
    return true;
  }

  private void fill() throws IOException {
    bytes.compact();
    int count = in.read(bytes.array(), bytes.position(), bytes.remaining());
    exhausted = count < 0;
    bytes.position(bytes.position() + Math.max(count, 0)).flip();
  }

  @Override
  public int read(char[] buffer, int start, int length) throws IOException {
    CharBuffer target = CharBuffer.wrap(buffer, start, length);
    while (target.position() == start) {
      CoderResult result = decoder.decode(bytes, target, exhausted);
      note(buffer, start, target.position());
      if (result.isError()) {
        throw new MalformedInputException(result.length());
      }
      if (result.isUnderflow() && exhausted) {
        return target.position() > start ? target.position() - start : -1;
      }
      if (result.isUnderflow()) {
        fill();
      }
    }
    return target.position() - start;
  }

  private void note(char[] buffer, int start, int end) {
    for (int i = start; i < end; i++) {
      char unit = buffer[i];
      if (unit == '\n' && last == '\r') {
        // The line was counted with its first half.
        ends.pollLast();
        ends.addLast(LineEnd.CRLF);
      } else if (unit == '\n' || unit == '\r') {
        ends.addLast(unit == '\n' ? LineEnd.LF : LineEnd.CR);
        lines++;
      }
      last = unit;
    }
  }

  @Override
  public void close() throws IOException {
    in.close();
  }
}
