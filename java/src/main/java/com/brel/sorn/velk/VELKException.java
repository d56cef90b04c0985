package com.brel.sorn.velk;

import org.jspecify.annotations.Nullable;

/** A failure of the engine or of the native library, with the code it gave. */
public final class VELKException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** What a failure is about, and so who can mend it. */
  public enum Kind {
    /** How a service is described: its masking string, columns, types, rules. */
    DESCRIPTION,
    /** The masking key: not named, not there, or not to be used. */
    KEY,
    /** A value that cannot be masked. */
    VALUE,
    /** The engine or the native library itself, and every code that this API does not know. */
    ENGINE
  }

  /** What failed, as the engine numbers it. */
  private final int code;

  /**
   * Makes a failure; the native library calls this, too.
   *
   * @param message what went wrong, null where the virtual machine had no room for a text
   * @param code the engine's status, or a negative code of the native library or this API
   */
  public VELKException(@Nullable String message, int code) {
    super(message);
    this.code = code;
  }

  /**
   * Tells what failed.
   *
   * @return the engine's status, or a negative code of the native library or this API
   */
  public int code() {
    return code;
  }

  /**
   * Tells what kind of failure this is, to branch on.
   *
   * @return the kind of {@link #code()}, by the reference engine's numbers
   */
  public Kind kind() {
    if (isFrom(7226, 7230) || isFrom(7243, 7245)) {
      return Kind.KEY;
    }
    if (isFrom(7204, 7218) || isFrom(7223, 7225) || isFrom(7241, 7242) || isFrom(7301, 7399)) {
      return Kind.DESCRIPTION;
    }
    // The negative ones are this API's own, of a value or a row.
    boolean own = isFrom(-103, -101) || code == -105;
    return isFrom(7501, 7590) || own ? Kind.VALUE : Kind.ENGINE;
  }

  private boolean isFrom(int first, int last) {
    return first <= code && code <= last;
  }
}
