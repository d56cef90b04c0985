package com.brel.sorn.velk.cli;

import picocli.CommandLine.Option;

/** Options about what is told of a run, and by which exit code. */
final class ReportOptions {
  @Option(
      names = {"-q", "--quiet"},
      description = "No progress, no warnings of the results, and no report but that of --report.")
  private boolean quiet;

  @Option(
      names = "--report",
      paramLabel = "FILE",
      description = {
        "Write the report to this file, or to standard output (-); without it, it goes to standard"
            + " error."
      })
  private String file;

  @Option(
      names = "--report-format",
      paramLabel = "text|json",
      defaultValue = "text",
      description = "How the report is written (default: ${DEFAULT-VALUE}).")
  private ReportFormat format;

  @Option(
      names = "--fail-on-unchanged",
      description = {
        "End with exit code 3 where a rule other than keep left values as they were; without it,"
            + " that is a warning. The report counts them by column as left equal."
      })
  private boolean failOnUnchanged;

  /** The file of the report, null where it has none. */
  String file() {
    return file;
  }

  /**
   * Tells how far a run is, if anybody asks.
   *
   * @param size bytes of the input, 0 where that is not known
   */
  Progress progress(Streams streams, long size) {
    return quiet ? Progress.none() : Progress.to(streams, size);
  }

  /** Makes the place where the report goes, before the run. */
  ReportOutput open(Streams streams) {
    return new ReportOutput(file, format, quiet, streams);
  }

  int exitCode(RunReport report) {
    boolean flawed =
        report.errorCount() > 0
            || report.repeatCount() > 0
            || failOnUnchanged && report.unchangedCount() > 0;
    return flawed ? ExitCode.FIELD_ERRORS : ExitCode.DONE;
  }
}
