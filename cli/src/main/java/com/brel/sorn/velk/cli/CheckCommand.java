package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.TableException;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "check",
    description = {
      "Checks a masking string against the header of a CSV file, and tells which rule each column"
          + " gets."
    },
    footer = {"", "The masking key need not be there, and no value is masked."})
final class CheckCommand implements Callable<Integer> {
  private static final int WIDEST_NAME = 40;
  private static final int WIDEST_RULE = 60;

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
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
    RunFiles files =
        new RunFiles().reads("the input", in).reads("the rules file", maskingString.file());
    try (Masking masking = files.masking(maskingString.read());
        CsvInput source = csv.open(masking.engine(), input, velk.streams())) {
      List<ColumnRule> rules = masking.rulesOf(source).columns();
      List<String> warnings = Masking.warnings(rules);
      warnings.forEach(text -> velk.streams().say((strict ? "error: " : "warning: ") + text));
      if (strict && !warnings.isEmpty()) {
        return ExitCode.USAGE;
      }
      velk.print(
          Table.of(table(rules)) + Show.counted(rules.size(), "column") + ", each with its rule\n");
      return ExitCode.DONE;
    } catch (TableException e) {
      e.findings().forEach(finding -> velk.streams().say("error: " + finding));
      return ExitCode.USAGE;
    }
  }

  /** What each column got. */
  private static List<List<String>> table(List<ColumnRule> rules) {
    List<List<String>> table = new ArrayList<>();
    table.add(List.of("column", "type", "rule"));
    for (ColumnRule rule : rules) {
      String unique = rule.unique() ? ", unique" : "";
      table.add(
          List.of(
              Show.clipped(rule.name(), WIDEST_NAME),
              rule.type() + unique,
              Show.clipped(rule.rule().toString(), WIDEST_RULE)));
    }
    return table;
  }
}
