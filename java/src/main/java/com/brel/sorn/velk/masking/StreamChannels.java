package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.WritableByteChannel;
import java.util.Arrays;

/** Streams as channels; what passes through is wiped at the end, and the streams stay open. */
final class StreamChannels implements ReadableByteChannel, WritableByteChannel {
  private final InputStream in;
  private final OutputStream out;
  private final byte[] passing = new byte[1 << 16];

  StreamChannels(InputStream in, OutputStream out) {
    this.in = in;
    this.out = out;
  }

  @Override
  public int read(ByteBuffer target) throws IOException {
    int read = in.read(passing, 0, Math.min(passing.length, target.remaining()));
    if (read > 0) {
      target.put(passing, 0, read);
    }
    return read;
  }

  @Override
  public int write(ByteBuffer source) throws IOException {
    int length = Math.min(passing.length, source.remaining());
    source.get(passing, 0, length);
    out.write(passing, 0, length);
    return length;
  }

  @Override
  public boolean isOpen() {
    return true;
  }

  @Override
  public void close() {
    Arrays.fill(passing, (byte) 0);
  }
}
