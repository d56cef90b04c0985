package com.brel.sorn.velk.masking;

/**
 * That the engine is open in this process, told to other class loaders. Each may have a copy of the
 * libraries, but the system binds every bridge to the engine that was loaded first. Guarded by
 * {@link Bridge#LOCK}.
 */
final class OpenMark {
  /** A process that inherits the properties of another does not take this one for its own. */
  static final String PROPERTY = "com.brel.sorn.velk.open.in." + ProcessHandle.current().pid();

  private static boolean ours;

  private OpenMark() {}

  /**
   * Sets the mark, unless it is ours already. One whose class loader was closed gives it up.
   *
   * @throws IllegalStateException if another class loader has set it
   */
  static void set() {
    if (!ours && !isSetNow() && !(Abandoned.close() && isSetNow())) {
      throw new IllegalStateException(
          "another class loader of this virtual machine has the engine open, and there is one in a"
              + " process: close it there first, or put the jar where all applications share it; an"
              + " engine that an ended application left open is closed here once that application's"
              + " class loader is closed");
    }
    if (!ours) {
      ours = true;
      Abandoned.offer();
    }
  }

  private static boolean isSetNow() {
    return System.getProperties().putIfAbsent(PROPERTY, "true") == null;
  }

  /** Whether it is this class loader that has set the mark. */
  static boolean isOurs() {
    return ours;
  }

  static void clear() {
    if (ours) {
      Abandoned.withdraw();
      System.getProperties().remove(PROPERTY);
      ours = false;
    }
  }
}
