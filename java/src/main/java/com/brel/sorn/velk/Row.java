package com.brel.sorn.velk;

import org.jspecify.annotations.Nullable;

/** One row of a row set. */
public final class Row {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** Whether the engine found an error in the row; cleared by the caller before each batch. */
  public boolean hasError;

  /** The row's values, in order; each must have its native record before {@link #toC}. */
  public Field @Nullable [] fields;

  /** Makes a row without a native record. */
  public Row() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies {@link #hasError} back.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record, not those of its fields; an object without one is left as it is. */
  public native void free();
}
