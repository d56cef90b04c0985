package com.brel.sorn.velk.cli;

/** What the command's exit code says. */
final class ExitCode {
  static final int DONE = 0;
  static final int INTERNAL = 1;
  static final int USAGE = 2;
  static final int FIELD_ERRORS = 3;
  static final int INPUT_OUTPUT = 4;
  static final int ENGINE = 5;

  /** As of a program that a closed pipe ends: 128 and the number of the signal. */
  static final int CLOSED_PIPE = 141;

  private ExitCode() {}
}
