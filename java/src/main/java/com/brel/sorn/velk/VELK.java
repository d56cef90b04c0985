package com.brel.sorn.velk;

import com.brel.sorn.velk.internal.FrameworkDefinition;
import com.brel.sorn.velk.internal.ServiceDefinition;

/** Start and end of the native library and of the engine's framework. */
public final class VELK {
  /** Read once by {@link #init0}; what is traced is decided by the engine alone. */
  boolean debug;

  /** Makes an object to call the natives on; it holds nothing native. */
  public VELK() {}

  /** Looks up the Java classes and members that every other native uses. */
  public native void init0();

  /**
   * Starts the engine's framework.
   *
   * @param definition a definition with its native record
   * @return 0, or the status of the trace facility
   */
  public native int initializeFramework0(FrameworkDefinition definition);

  /**
   * Builds the native record of a service from a masking string, and sets the service's name.
   *
   * @param maskingString the masking string
   * @param target a definition without a native record of its own; left as it is on failure
   * @return 0, or the status of the trace facility (nothing was parsed then)
   */
  public native int parseVELKSyntaxString(String maskingString, ServiceDefinition target);

  /**
   * Ends the engine's framework.
   *
   * @return 0, or the status of the trace facility (the framework then still runs)
   */
  public native int terminateFramework0();

  /**
   * Releases what {@link #init0} looked up; only {@code init0} may follow.
   *
   * @return 0, or the status of the trace facility (nothing was released then)
   */
  public native int destroy0();
}
