package com.brel.sorn.velk.internal;

import org.jspecify.annotations.Nullable;

/** One column of a service. */
public final class FieldDefinition {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** The data type by which the column's values are exchanged. */
  public int id;

  /** The column's limit in code points, 0 for none. */
  public int length;

  /** Number of digits of a decimal column. */
  public int precision;

  /** Number of those digits behind the point. */
  public int scale;

  /** The column's name. */
  public @Nullable String columnName;

  /** Makes a column without a native record. */
  public FieldDefinition() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies the native record's values into this object.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record and its name; an object without one is left as it is. */
  public native void free();
}
