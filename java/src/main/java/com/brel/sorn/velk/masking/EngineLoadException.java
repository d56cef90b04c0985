package com.brel.sorn.velk.masking;

import java.util.List;

/** The native libraries could not be loaded; the message lists every path tried, and why. */
public final class EngineLoadException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  EngineLoadException(List<String> tried) {
    super("the native libraries could not be loaded; tried:\n  " + String.join("\n  ", tried));
  }
}
