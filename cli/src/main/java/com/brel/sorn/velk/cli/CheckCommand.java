package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import java.io.IOException;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "check",
    description = "Checks a masking string against the header of a CSV file.",
    footer = {"", "The masking key need not be there, and no value is masked."})
final class CheckCommand implements Callable<Integer> {
  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
  @Mixin private MaskingStringSource maskingString;

  @Option(names = "--strict", description = "Take warnings for errors.")
  private boolean strict;

  @Parameters(paramLabel = "IN", description = "The CSV file in UTF-8; - is standard input.")
  private String in;

  @Override
  public Integer call() throws IOException {
    RunFiles files =
        new RunFiles().reads("the input", in).reads("the rules file", maskingString.file());
    try (Masking masking = files.masking(maskingString.read());
        CsvSource source = new CsvSource(new Input(in, velk.streams()).open())) {
      List<String> errors = Header.read(source).findings(masking.rules());
      List<String> warnings =
          masking.rules().stream()
              .filter(rule -> rule.unique() && rule.rule().isLossy())
              .map(CheckCommand::warning)
              .toList();
      Streams streams = velk.streams();
      errors.forEach(error -> streams.say("error: " + error));
      warnings.forEach(text -> streams.say((strict ? "error: " : "warning: ") + text));
      if (!errors.isEmpty() || strict && !warnings.isEmpty()) {
        return ExitCode.USAGE;
      }
      velk.print(masking.rules().size() + " columns, each with its rule\n");
      return ExitCode.DONE;
    }
  }

  private static String warning(ColumnRule rule) {
    return "column "
        + Show.quoted(rule.name())
        + " is to stay unique, and "
        + rule.rule().function()
        + " may give two values the same result";
  }
}
