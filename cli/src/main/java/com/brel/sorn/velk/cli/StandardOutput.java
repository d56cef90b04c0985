package com.brel.sorn.velk.cli;

import java.io.FilterOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Standard output, which remembers a failure that somebody in between may not pass on. */
final class StandardOutput extends FilterOutputStream {
  private static final int KIND = 0170000;
  private static final int PIPE = 0010000;
  private static final int SOCKET = 0140000;

  private IOException failure;

  StandardOutput(OutputStream out) {
    super(out);
  }

  @Override
  public void write(int value) throws IOException {
    write(new byte[] {(byte) value}, 0, 1);
  }

  @Override
  public void write(byte[] bytes, int offset, int length) throws IOException {
    try {
      out.write(bytes, offset, length);
    } catch (IOException e) {
      failure = isPipe() ? new ClosedPipe(e) : named(e);
      throw failure;
    }
  }

  private static IOException named(IOException e) {
    IOException named = new FileSystemException("standard output", null, Reason.of(e));
    named.initCause(e);
    return named;
  }

  /** Nothing else fails with a pipe; what the system says of it depends on its language. */
  private static boolean isPipe() {
    Path own = Path.of("/dev/stdout");
    try {
      int kind = (int) Files.getAttribute(own, "unix:mode") & KIND;
      return kind == PIPE || kind == SOCKET;
    } catch (IOException | UnsupportedOperationException | IllegalArgumentException e) {
      return false;
    }
  }

  /** What was not written, null where all was. */
  IOException failure() {
    return failure;
  }
}
