package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import picocli.AutoComplete;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "generate-completion",
    description = "Writes a script by which bash or zsh completes what is typed.",
    footer = {"", "A shell learns it by: source <(velk generate-completion)"})
final class Completion implements Callable<Integer> {
  /** The labels of what is the name of a file. */
  private static final Set<String> FILES = Set.of("FILE", "IN", "OUT", "RULES");

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;

  @Override
  public Integer call() throws IOException {
    CommandLine command = new CommandLine(new Velk.Whole());
    completeFiles(command);
    velk.print(AutoComplete.bash("velk", command));
    return ExitCode.DONE;
  }

  /** The script completes names of files only where they are of a type for these. */
  private static void completeFiles(CommandLine command) {
    CommandSpec model = command.getCommandSpec();
    for (ArgSpec argument : List.copyOf(model.args())) {
      if (FILES.contains(argument.paramLabel()) && argument.type() == String.class) {
        model.remove(argument);
        model.add(ofFiles(argument));
      }
    }
    command.getSubcommands().values().forEach(Completion::completeFiles);
  }

  private static ArgSpec ofFiles(ArgSpec argument) {
    return argument instanceof OptionSpec option
        ? OptionSpec.builder(option.names())
            .type(Path.class)
            .arity(option.arity().toString())
            .paramLabel(option.paramLabel())
            .build()
        : PositionalParamSpec.builder()
            .type(Path.class)
            .index(((PositionalParamSpec) argument).index().toString())
            .arity(argument.arity().toString())
            .paramLabel(argument.paramLabel())
            .build();
  }
}
