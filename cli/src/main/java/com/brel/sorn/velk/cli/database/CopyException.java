package com.brel.sorn.velk.cli.database;

import java.util.List;

/**
 * Why a copy is not begun, or ends before it is complete. No message holds a value or a password.
 */
public final class CopyException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  private final transient List<String> findings;
  private final boolean refused;

  private CopyException(List<String> findings, boolean refused) {
    super(String.join("\n", findings));
    this.findings = findings;
    this.refused = refused;
  }

  /** The command, the rules or the databases are not fit for a copy: nothing was written. */
  static CopyException refused(List<String> findings) {
    return new CopyException(List.copyOf(findings), true);
  }

  static CopyException refused(String finding) {
    return refused(List.of(finding));
  }

  /** A database failed, or refused what it was sent. */
  static CopyException failed(String reason) {
    return new CopyException(List.of(reason), false);
  }

  /**
   * Lists all that is wrong.
   *
   * @return a text for each
   */
  public List<String> findings() {
    return findings;
  }

  /**
   * Tells whether the copy was refused before anything was written.
   *
   * @return whether it was
   */
  public boolean isRefused() {
    return refused;
  }
}
