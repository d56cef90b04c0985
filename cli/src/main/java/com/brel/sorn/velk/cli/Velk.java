package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.cli.database.Sessions;
import com.brel.sorn.velk.masking.EngineLoadException;
import com.brel.sorn.velk.masking.TableException;
import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.io.UncheckedIOException;
import java.nio.file.InvalidPathException;
import java.util.Map;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Help;
import picocli.CommandLine.Help.Ansi;
import picocli.CommandLine.HelpCommand;
import picocli.CommandLine.IVersionProvider;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.UnmatchedArgumentException;

/** The {@code velk} command. */
@Command(
    name = "velk",
    description = "Masks CSV files and databases by masking strings.",
    versionProvider = Velk.Version.class,
    exitCodeListHeading = "%nExit codes:%n",
    exitCodeList = {
      "0:done",
      "1:internal error",
      "2:the command line or the masking string is wrong",
      "3:done, but some values could not be masked, or are not as they were to be",
      "4:input or output failed, or --on-error stop or --max-errors ended the run",
      "5:the libraries or the engine failed; the key is missing or cannot be used",
      "141:standard output was a pipe, and its reader closed it"
    },
    footer = {
      "",
      "VELK_JAVA_HOME names the Java that runs this, and VELK_JAVA_OPTIONS holds more options for it;"
          + " one with a blank stands in quotes.",
      "A console of Windows shows every character after chcp 65001. Files are UTF-8 in any case."
    })
public sealed class Velk {
  /** The subcommands that do their work without a look at the others. */
  static final Map<String, Class<?>> ALONE =
      Map.of(
          "mask", MaskCommand.class,
          "check", CheckCommand.class,
          "preview", PreviewCommand.class,
          "init", InitCommand.class,
          "copy", CopyCommand.class,
          "key", KeyCommand.class);

  /** Characters of a message about the arguments, which may hold whatever was typed. */
  private static final int LONGEST_REFUSAL = 300;

  private final Streams streams;

  @Mixin private HelpOption help;

  @Option(
      names = {"-V", "--version"},
      versionHelp = true,
      description = "Print version information and exit.")
  private boolean version;

  private Velk(Streams streams) {
    this.streams = streams;
  }

  /** The command with all its subcommands, for those who ask what there is. */
  @Command(
      subcommands = {
        MaskCommand.class,
        CheckCommand.class,
        PreviewCommand.class,
        InitCommand.class,
        CopyCommand.class,
        KeyCommand.class,
        HelpCommand.class,
        Completion.class
      })
  public static final class Whole extends Velk {
    /** Makes a command on the standard streams of the process. */
    public Whole() {
      this(Streams.standard());
    }

    private Whole(Streams streams) {
      super(streams);
    }
  }

  /**
   * Runs the command and ends the process with its exit code.
   *
   * @param arguments the arguments
   */
  public static void main(String[] arguments) {
    System.exit(run(Streams.standard(), arguments));
  }

  static int run(Streams streams, String... arguments) {
    // By itself it takes a variable of the environment for a terminal.
    Ansi colours = streams.terminalWidth() > 0 ? Ansi.AUTO : Ansi.OFF;
    CommandLine command =
        commandLine(streams, arguments)
            .setOut(streams.outWriter())
            .setErr(streams.errWriter())
            .setColorScheme(Help.defaultColorScheme(colours))
            .setCaseInsensitiveEnumValuesAllowed(true)
            .setParameterExceptionHandler((e, unused) -> refuse(e, streams))
            .setExecutionExceptionHandler((e, unused, result) -> tell(e, streams));
    try {
      int exitCode = command.execute(arguments);
      IOException unwritten = streams.failure();
      // The library that prints help keeps to itself that nobody gets it.
      return exitCode == ExitCode.DONE && unwritten != null ? tell(unwritten, streams) : exitCode;
    } catch (OutOfMemoryError e) {
      streams.say("velk: out of memory; -Xmx among VELK_JAVA_OPTIONS gives it more");
      return ExitCode.INTERNAL;
    }
  }

  /** Reading what all the subcommands are takes longer than masking a small file. */
  static CommandLine commandLine(Streams streams, String[] arguments) {
    Class<?> alone = arguments.length == 0 ? null : ALONE.get(arguments[0]);
    if (alone == CopyCommand.class) {
      Sessions.prepare();
    }
    return alone == null
        ? new CommandLine(new Whole(streams))
        : new CommandLine(new Velk(streams)).addSubcommand(alone);
  }

  private static int tell(Exception e, Streams streams) {
    if (isClosedPipe(e)) {
      return ExitCode.CLOSED_PIPE;
    }
    Failure failure = failure(e);
    streams.say("velk: " + failure.getMessage());
    return failure.exitCode();
  }

  private static boolean isClosedPipe(Throwable e) {
    return e != null && (e instanceof ClosedPipe || isClosedPipe(e.getCause()));
  }

  /** What is wrong with the arguments, what may have been meant, and where more is said. */
  private static int refuse(ParameterException e, Streams streams) {
    CommandLine command = e.getCommandLine();
    streams.say("velk: " + Show.clipped(e.getMessage(), LONGEST_REFUSAL));
    StringWriter suggestions = new StringWriter();
    if (UnmatchedArgumentException.printSuggestions(e, new PrintWriter(suggestions))) {
      suggestions.toString().lines().limit(1).forEach(streams::say);
    }
    streams.say("Try: " + command.getCommandSpec().qualifiedName() + " --help");
    return ExitCode.USAGE;
  }

  /** What an exception means to the user. */
  static Failure failure(Exception e) {
    if (e instanceof Failure failure) {
      return failure;
    }
    if (e instanceof VELKException || e instanceof EngineLoadException) {
      return new Failure(ExitCode.ENGINE, e.getMessage());
    }
    if (e instanceof TableException) {
      return Failure.usage(e.getMessage());
    }
    if (e instanceof InvalidPathException path) {
      return Failure.usage(Show.quoted(path.getInput()) + " cannot be the name of a file");
    }
    if (e instanceof UncheckedIOException unchecked) {
      return failure(unchecked.getCause());
    }
    if (e instanceof IOException failure) {
      return Failure.inputOutput(Reason.told(failure));
    }
    // The message of an exception that nobody foresaw may hold a value.
    StackTraceElement[] trace = e.getStackTrace();
    String place = trace.length > 0 ? " at " + trace[0] : "";
    return new Failure(ExitCode.INTERNAL, "internal error: " + e.getClass().getName() + place);
  }

  Streams streams() {
    return streams;
  }

  /** Prints to standard output. */
  void print(String text) throws IOException {
    streams.out().write(text.getBytes(streams.outCharset()));
    streams.out().flush();
  }

  /** The version of the jar. */
  static final class Version implements IVersionProvider {
    @Override
    public String[] getVersion() {
      String version = Velk.class.getPackage().getImplementationVersion();
      return new String[] {"velk " + (version == null ? "(not packaged)" : version)};
    }
  }
}
