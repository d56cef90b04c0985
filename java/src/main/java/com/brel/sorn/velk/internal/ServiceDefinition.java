package com.brel.sorn.velk.internal;

import java.util.ArrayList;
import org.jspecify.annotations.Nullable;

/** What a service masks, and how. */
public final class ServiceDefinition {
  /** Address of the native record, 0 while there is none. */
  long pointer;

  /** Handed to the engine as it is. */
  boolean copyToDestination;

  /** The operands; each must have its native record before {@link #toC}. */
  public final ArrayList<InitializationOperand> initializationOperands = new ArrayList<>();

  /** The columns, in order; each must have its native record before {@link #toC}. */
  public final ArrayList<FieldDefinition> fieldDefinitions = new ArrayList<>();

  /** The service's name; not part of the native record. */
  public @Nullable String serviceId;

  /** Makes an empty definition without a native record. */
  public ServiceDefinition() {}

  /**
   * Tells where the native record is.
   *
   * @return its address, 0 while there is none
   */
  public long pointer() {
    return pointer;
  }

  /**
   * Builds the native record, or refreshes it in place.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toC();

  /**
   * Makes an object for each operand and column that the native record chains.
   *
   * @return 0, or the status of the trace facility (nothing was done then)
   */
  public native int toJava();

  /**
   * Frees the native record, not those of its operands and columns; an object without one is left
   * as it is.
   */
  public native void free();
}
