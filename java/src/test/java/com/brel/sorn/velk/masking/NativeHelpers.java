package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertTrue;

/**
 * A look at the native side from the tests. Its library was preloaded into this virtual machine;
 * the system property {@code velk.helpers} names the file.
 */
final class NativeHelpers {
  static {
    System.load(System.getProperty("velk.helpers"));
  }

  private NativeHelpers() {}

  /** Loads the libraries, and counts what each of them allocates from here on. */
  static void watch() {
    NativeLibraries.load();
    assertTrue(watchLibraries(), "not every library is loaded");
  }

  /** The blocks that the bridge has allocated and not freed. */
  static long bridgeBlocks() {
    return bridgeAllocations() - bridgeReleases();
  }

  /** The blocks that the engine has allocated and not freed. */
  static long engineBlocks() {
    return engineAllocations() - engineReleases();
  }

  private static native boolean watchLibraries();

  static native long bridgeAllocations();

  private static native long bridgeReleases();

  static native long engineAllocations();

  private static native long engineReleases();

  static void letEveryTraceScopeOpen() {
    failTraceScope(1, 0, 0);
  }

  /** So many scopes fail with the status, from the one with this number on, counted from 1. */
  static native void failTraceScope(int from, int count, int status);

  static native boolean failureIsPending();

  /** Whether the field's record holds a byte of a value. */
  static native boolean holdsValue(long pointer);
}
