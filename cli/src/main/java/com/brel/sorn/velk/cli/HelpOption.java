package com.brel.sorn.velk.cli;

import picocli.CommandLine.Option;

/** The option that shows help, whatever else is missing from the command line. */
final class HelpOption {
  @Option(
      names = {"-h", "--help"},
      usageHelp = true,
      description = "Show this help message and exit.")
  private boolean asked;
}
