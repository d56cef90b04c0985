package com.brel.sorn.velk.cli;

import java.io.IOException;

/** Whoever read standard output has had enough: an end that nothing need be said of. */
final class ClosedPipe extends IOException {
  private static final long serialVersionUID = 1L;

  ClosedPipe(IOException cause) {
    super("closed by its reader", cause);
  }
}
