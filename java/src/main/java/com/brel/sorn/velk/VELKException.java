package com.brel.sorn.velk;

import org.jspecify.annotations.Nullable;

/** A failure of the engine or of the native library, with the code it gave. */
public final class VELKException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** What failed, as the engine numbers it. */
  private final int code;

  /**
   * Makes a failure; the native library calls this, too.
   *
   * @param message what went wrong, null where the virtual machine had no room for a text
   * @param code the engine's status, or a negative code of the native library or this API
   */
  public VELKException(@Nullable String message, int code) {
    super(message);
    this.code = code;
  }

  /**
   * Tells what failed.
   *
   * @return the engine's status, or a negative code of the native library or this API
   */
  public int code() {
    return code;
  }
}
