package com.brel.sorn.velk.masking;

import org.jspecify.annotations.Nullable;

/**
 * The native libraries could not be loaded. The message tells where they were sought, why none was
 * taken and, where that is known, what helps; the cause is what the virtual machine or the system
 * said first, null where there was nothing to load.
 */
public final class EngineLoadException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  EngineLoadException(String message, @Nullable Throwable cause) {
    super(message, cause);
  }
}
