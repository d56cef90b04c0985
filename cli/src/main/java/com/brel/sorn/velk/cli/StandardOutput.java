package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;

/** Standard output, which remembers a failure that somebody in between may not pass on. */
final class StandardOutput extends NamedOutput {
  private static final int KIND = 0170000;
  private static final int PIPE = 0010000;
  private static final int SOCKET = 0140000;

  private IOException failure;

  StandardOutput(OutputStream out) {
    super(out, "standard output");
  }

  @Override
  IOException named(IOException e) {
    failure = isPipe() ? new ClosedPipe(e) : super.named(e);
    return failure;
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
