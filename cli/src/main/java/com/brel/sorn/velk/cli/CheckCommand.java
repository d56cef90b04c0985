package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvException;
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
  @Mixin private MaskingStringSource maskingString;
  @Mixin private CsvOptions csv;

  @Option(names = "--strict", description = "Take warnings for errors.")
  private boolean strict;

  @Parameters(paramLabel = "IN", description = "The CSV file in UTF-8; - is standard input.")
  private String in;

  @Override
  public Integer call() throws IOException {
    try {
      return check();
    } catch (CsvException e) {
      throw csv.refusal(e);
    }
  }

  private int check() throws IOException {
    Input input = new Input(in, velk.streams());
    try (Masking masking = new Masking(maskingString.read());
        CsvInput source = csv.open(masking.engine(), input, velk.streams())) {
      List<String> errors = Header.read(source.reader()).findings(masking.rules());
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
