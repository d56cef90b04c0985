package com.brel.sorn.velk.internal;

import org.jspecify.annotations.Nullable;

/** One parameter of a framework or a service: a text, or an integer where there is no text. */
public final class InitializationOperand {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** What the parameter speaks of: 0 the whole, k column k (counted from 1). */
  public int parameterId;

  /** The parameter's name. */
  public @Nullable String parameterName;

  /** The value where {@link #sValue} is null. */
  public int iValue;

  /** The value, or null. */
  public @Nullable String sValue;

  /** Makes an operand without a native record. */
  public InitializationOperand() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies the native record's id, name and value into this object.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record and its texts; an object without one is left as it is. */
  public native void free();
}
