package com.brel.sorn.velk.masking;

import java.util.List;

/** The rules of a masking string that do not fit the columns of a table. */
public final class TableException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** Findings in the message. */
  private static final int MOST_TOLD = 10;

  /** All that was found. */
  @SuppressWarnings("serial") // A list that was copied can be serialized.
  private final List<String> findings;

  TableException(List<String> findings) {
    super(message(findings));
    this.findings = List.copyOf(findings);
  }

  private static String message(List<String> findings) {
    int told = Math.min(findings.size(), MOST_TOLD);
    String message = String.join("\n", findings.subList(0, told));
    int more = findings.size() - told;
    return more == 0 ? message : message + "\nand " + more + " more";
  }

  /**
   * Tells all that does not fit; the message has the first ten.
   *
   * @return a line for each finding, at least one: what it is about as the masking string or the
   *     table writes it, and where it stands in the string where that is known
   */
  public List<String> findings() {
    return findings;
  }
}
