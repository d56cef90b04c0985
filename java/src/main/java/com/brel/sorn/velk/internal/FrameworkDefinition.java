package com.brel.sorn.velk.internal;

import java.util.ArrayList;

/** What the engine's framework is started with. */
public final class FrameworkDefinition {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** The operands; each must have its native record before {@link #toC}. */
  public final ArrayList<InitializationOperand> initializationOperands = new ArrayList<>();

  /** Makes a definition without operands and without a native record. */
  public FrameworkDefinition() {}

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Copies nothing back.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /** Frees the native record, not those of its operands; an object without one is left as it is. */
  public native void free();
}
