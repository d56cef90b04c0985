package com.brel.sorn.velk.cli;

import picocli.CommandLine.Option;

/** Options about values that cannot be masked. */
final class OnErrorOptions {
  private static final String UNSAID_TEXT = "***";

  /** The words of the option. */
  enum Choice {
    /** Nothing takes the value's place. */
    NULL,
    /** A text does. */
    FIXED,
    /** The run fails. */
    STOP;

    @Override
    public String toString() {
      return name().toLowerCase(java.util.Locale.ROOT);
    }
  }

  @Option(
      names = "--on-error",
      paramLabel = "null|fixed|stop",
      description = {
        "What becomes of a value that cannot be masked: it becomes null, a fixed text, or ends the"
            + " run with exit code 4 and no output. Wins over on_error in the masking string;"
            + " where neither is given, it becomes null."
      })
  private Choice choice;

  @Option(
      names = "--error-text",
      paramLabel = "TEXT",
      description =
          "The text of --on-error fixed, in columns of every type (default: " + UNSAID_TEXT + ").")
  private String text;

  @Option(
      names = "--max-errors",
      paramLabel = "N",
      defaultValue = "" + Long.MAX_VALUE,
      showDefaultValue = picocli.CommandLine.Help.Visibility.NEVER,
      description =
          "More than N values that cannot be masked end the run with exit code 4 and no output.")
  private long most;

  ErrorPolicy policy(Masking masking) {
    if (most < 0) {
      throw Failure.usage("--max-errors " + most + ": less than none");
    }
    if (text != null && choice != Choice.FIXED) {
      throw Failure.usage("--error-text is the text of --on-error fixed, which is not given");
    }
    String replacement = text == null ? UNSAID_TEXT : text;
    return choice == null
        ? masking.errorPolicy(most)
        : new ErrorPolicy(ErrorPolicy.Way.valueOf(choice.name()), replacement, most);
  }
}
