package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.VELKException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Map;
import java.util.Optional;
import java.util.regex.Pattern;

/** The trace that the environment asks for, looked at before the engine writes it. */
final class Tracing {
  private static final Pattern SEPARATORS = Pattern.compile("[, \t]+");
  private static final Pattern NUMBER = Pattern.compile("0[xX][0-9A-Fa-f]{1,8}|[0-9]{1,10}");
  private static final Pattern WORD = Pattern.compile("all|data|entry|message");

  private Tracing() {}

  /**
   * Finds the file that is going to be written.
   *
   * @param variables those of the environment
   * @return the file, empty where nothing is traced or the trace goes to standard error
   */
  static Optional<Path> file(Map<String, String> variables) {
    boolean any = false;
    for (String word : SEPARATORS.split(variables.getOrDefault("VELK_TRACE", ""))) {
      any |= !word.isEmpty() && asksForAny(word);
    }
    String file = variables.getOrDefault("VELK_TRACE_FILE", "");
    if (!any || file.equals("-")) {
      return Optional.empty();
    }
    return Optional.of(Path.of(file.isEmpty() ? "velk-trace.json" : file));
  }

  private static boolean asksForAny(String word) {
    if (!WORD.matcher(word).matches() && !NUMBER.matcher(word).matches()) {
      throw Failure.usage(
          "VELK_TRACE: "
              + Show.quoted(word)
              + " is no word of it; they are all, data, entry and message, or a number");
    }
    return !word.matches("0[xX]0+|0+");
  }

  /** Refuses a file that the engine would not write, and says why. */
  static void requireWritable(Path file) {
    Path folder = file.toAbsolutePath().getParent();
    if (!Files.isDirectory(folder)) {
      throw refused(folder, "there is no such directory");
    }
    if (Files.isSymbolicLink(file)) {
      throw refused(file, "a trace is not written through a link; name the file itself");
    }
    if (Files.isDirectory(file)) {
      throw refused(file, "it is a directory");
    }
    if (!Files.isWritable(Files.exists(file) ? file : folder)) {
      throw refused(Files.exists(file) ? file : folder, "permission denied");
    }
  }

  /** What the end of an engine failed by: with a trace, what could not be written of it. */
  static RuntimeException told(VELKException e) {
    return file(System.getenv())
        .<RuntimeException>map(
            file ->
                new Failure(
                    ExitCode.ENGINE,
                    Show.text(file.toString()) + ": the trace could not be written to its end"))
        .orElse(e);
  }

  private static Failure refused(Path place, String why) {
    return Failure.inputOutput("VELK_TRACE_FILE: " + Show.text(place.toString()) + ": " + why);
  }
}
