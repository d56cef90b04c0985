package com.brel.sorn.velk;

import org.jspecify.annotations.Nullable;

/** A set of rows that one call masks. */
public final class RowSet {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** The rows, in order; each must have its native record before {@link #toC}. */
  public Row @Nullable [] rows;

  /** Reserved; no native uses it. */
  boolean rowSetHasInfo;

  /** Makes a row set without a native record. */
  public RowSet() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies nothing back: the rows and fields carry the results.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record, not those of its rows; an object without one is left as it is. */
  public native void free();
}
