package com.brel.sorn.velk.masking;

/** The native libraries could not be loaded; the message tells where they were sought, and why. */
public final class EngineLoadException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  EngineLoadException(String message) {
    super(message);
  }
}
