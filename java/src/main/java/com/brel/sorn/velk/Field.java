package com.brel.sorn.velk;

import org.jspecify.annotations.Nullable;

/** One value of a row: the value to be masked goes in, the masked value or an error comes out. */
public final class Field {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** The data type by which the value is exchanged; 6 is text that ends with a zero unit. */
  public int id;

  /** Size of the native value buffer in bytes; a buffer grows to it and never shrinks. */
  public int sourceSize;

  /** The value, a String or null; replaced by the masked value. */
  public @Nullable Object source;

  /** Reserved; no native uses it. */
  int destinationSize;

  /** Reserved; no native uses it. */
  @Nullable Object destination;

  /**
   * The engine's code of an error of this value, 0 for none; cleared by the caller before each
   * batch.
   */
  public int errorCode;

  /** The engine's text of {@link #errorCode}; left as it is where the engine has none. */
  public @Nullable String errorMessage;

  /** Makes a field without a native record. */
  public Field() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies the masked value and the error back.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record and its buffers; an object without one is left as it is. */
  public native void free();
}
