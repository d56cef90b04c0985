package com.brel.sorn.velk.cli;

import java.io.FilterInputStream;
import java.io.IOException;
import java.io.InputStream;

/** Counts the bytes that are read. */
final class CountingInput extends FilterInputStream {
  private long count;

  CountingInput(InputStream in) {
    super(in);
  }

  long count() {
    return count;
  }

  @Override
  public int read() throws IOException {
    int next = in.read();
    count += next < 0 ? 0 : 1;
    return next;
  }

  @Override
  public int read(byte[] target, int from, int length) throws IOException {
    int read = in.read(target, from, length);
    count += Math.max(read, 0);
    return read;
  }
}
