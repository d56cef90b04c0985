package com.brel.sorn.velk.cli;

/** Why a run ends before it is done: one message for the user, and the exit code. */
final class Failure extends RuntimeException {
  private static final long serialVersionUID = 1L;

  private final int exitCode;

  Failure(int exitCode, String message) {
    super(message);
    this.exitCode = exitCode;
  }

  /** The command or the masking string is wrong. */
  static Failure usage(String message) {
    return new Failure(ExitCode.USAGE, message);
  }

  /** The input or the output is. */
  static Failure inputOutput(String message) {
    return new Failure(ExitCode.INPUT_OUTPUT, message);
  }

  int exitCode() {
    return exitCode;
  }
}
