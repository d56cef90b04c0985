package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.ParsedService;
import java.io.IOException;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Optional;
import java.util.Set;
import java.util.regex.MatchResult;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The files of a run: none of those that are written may be one that is read, or be written twice.
 * Files are told apart by what they are, whatever names and links lead to them.
 */
final class RunFiles {
  /** An argument of a rule: its name, if it has one, and its text in quotes or bare. */
  private static final Pattern ARGUMENT =
      Pattern.compile(
          "\\s*(?:(\\w+)\\s*=\\s*)?('(?:[^']|'')*'|\"(?:\\\\.|[^\"\\\\])*\"|[^,]*)\\s*(?:,|$)");

  private static final Pattern ESCAPE = Pattern.compile("\\\\(?:u\\{([0-9A-Fa-f]+)}|(.))");
  private static final String KEY_FILE = "file:";
  private static final String DICTIONARY = "a dictionary";

  private static final boolean HAS_DEVICES =
      FileSystems.getDefault().supportedFileAttributeViews().contains("unix");

  private record Named(String what, Path path) {}

  private final List<Named> read = new ArrayList<>();
  private final List<Named> written = new ArrayList<>();
  private final Set<String> keys = new LinkedHashSet<>();

  /**
   * Adds a file that is read.
   *
   * @param what what it is to the user
   * @param name its name, {@code -} for standard input, or null where there is none
   */
  RunFiles reads(String what, String name) {
    add(read, what, name, "/dev/stdin");
    return this;
  }

  /** Adds a file that is written, as {@link #reads}. */
  RunFiles writes(String what, String name) {
    add(written, what, name, "/dev/stdout");
    return this;
  }

  private static void add(List<Named> files, String what, String name, String standard) {
    if (name != null && !name.isEmpty()) {
      // Windows has no such names: two streams are the same there, and no file is one.
      boolean isDevice = Input.isStandard(name) && HAS_DEVICES;
      files.add(new Named(what, Path.of(isDevice ? standard : name)));
    }
  }

  /**
   * Reads a masking string with the files that it names looked at, too. Where the engine traces,
   * these are found by an engine that does not, because a trace is written from the start.
   */
  Masking masking(String text) throws IOException {
    if (addTrace()) {
      checkWith(Masking.untraced(text)).close();
      return new Masking(text);
    }
    return checkWith(new Masking(text));
  }

  /**
   * Opens the engine that is to read masking strings, in the same way. What is wrong with one of
   * them is told by who masks by it.
   */
  Engine engine(List<String> maskingStrings) throws IOException {
    if (addTrace()) {
      checkWith(Masking.untracedEngine(), maskingStrings).close();
      return Engine.open();
    }
    return checkWith(Engine.open(), maskingStrings);
  }

  /** Whether there is a trace, which can be written and takes the place of no other file so far. */
  private boolean addTrace() throws IOException {
    Optional<Path> trace = Tracing.file(System.getenv());
    trace.ifPresent(file -> writes("the trace", file.toString()));
    check();
    trace.ifPresent(Tracing::requireWritable);
    return trace.isPresent();
  }

  private Masking checkWith(Masking masking) throws IOException {
    try {
      addFilesOf(masking.keyPlace(), masking.rules());
      check();
      return masking;
    } catch (IOException | RuntimeException e) {
      masking.close();
      throw e;
    }
  }

  private Engine checkWith(Engine engine, List<String> maskingStrings) throws IOException {
    try {
      for (String text : maskingStrings) {
        try (ParsedService parsed = engine.parse(text)) {
          addFilesOf(parsed.key(), parsed.columns());
        } catch (IllegalArgumentException | VELKException e) {
          // It names no file then.
        }
      }
      check();
      return engine;
    } catch (IOException | RuntimeException e) {
      engine.close();
      throw e;
    }
  }

  private void addFilesOf(Optional<String> key, List<ColumnRule> rules) {
    key.ifPresent(keys::add);
    key.filter(place -> place.startsWith(KEY_FILE)).ifPresent(this::addKey);
    rules.forEach(rule -> addFiles(rule.rule().arguments()));
  }

  /** What should be said of the keys of the masking strings before they are used, if anything. */
  List<String> keyWarnings() {
    return keys.stream().map(KeyFile::warning).flatMap(Optional::stream).toList();
  }

  /** The dictionaries that the masking strings name, in their order. */
  List<Path> dictionaries() {
    return read.stream()
        .filter(file -> file.what.equals(DICTIONARY))
        .map(Named::path)
        .distinct()
        .toList();
  }

  private void addKey(String place) {
    addFile("the key file", place.substring(KEY_FILE.length()));
  }

  private void addFiles(String arguments) {
    Matcher argument = ARGUMENT.matcher(arguments);
    while (argument.lookingAt() && argument.end() > argument.regionStart()) {
      if ("file".equals(argument.group(1))) {
        addFile(DICTIONARY, unquoted(argument.group(2)));
      }
      argument.region(argument.end(), arguments.length());
    }
  }

  /** What the engine cannot open either is its to tell. */
  private void addFile(String what, String name) {
    try {
      reads(what, name);
    } catch (InvalidPathException e) {
      // Nothing has this name.
    }
  }

  private static String unquoted(String argument) {
    if (argument.startsWith("'")) {
      return argument.substring(1, argument.length() - 1).replace("''", "'");
    }
    return argument.startsWith("\"")
        ? unescaped(argument.substring(1, argument.length() - 1))
        : argument.strip();
  }

  private static String unescaped(String text) {
    return ESCAPE.matcher(text).replaceAll(match -> Matcher.quoteReplacement(character(match)));
  }

  private static String character(MatchResult escape) {
    if (escape.group(1) != null) {
      return Character.toString(Integer.parseInt(escape.group(1), 16));
    }
    return switch (escape.group(2)) {
      case "n" -> "\n";
      case "r" -> "\r";
      case "t" -> "\t";
      default -> escape.group(2);
    };
  }

  /** Refuses a file that is written and is another of these. */
  void check() throws IOException {
    for (int i = 0; i < written.size(); i++) {
      Named file = written.get(i);
      for (Named other : read) {
        if (isSame(file.path, other.path) && !mayBeBoth(other.path)) {
          throw Failure.usage(file.what + " would take the place of " + other.what);
        }
      }
      for (Named other : written.subList(0, i)) {
        if (isSame(file.path, other.path) && !isNowhere(file.path)) {
          throw Failure.usage(other.what + " and " + file.what + " would go to the same place");
        }
      }
    }
  }

  /** As a terminal is, and the one connection of a process that was begun from elsewhere. */
  private static boolean mayBeBoth(Path file) throws IOException {
    return !Files.isRegularFile(file) && !Target.isPipe(file);
  }

  private static boolean isNowhere(Path file) throws IOException {
    return HAS_DEVICES && isSame(file, Path.of("/dev/null"));
  }

  private static boolean isSame(Path a, Path b) throws IOException {
    if (a.equals(b)) {
      return true;
    }
    boolean bothAreThere = Files.exists(a) && Files.exists(b);
    return bothAreThere ? Files.isSameFile(a, b) : place(a).equals(place(b));
  }

  /** Where a file is, or is going to be. */
  private static Path place(Path name) throws IOException {
    Path file = Target.follow(name).toAbsolutePath();
    Path folder = file.getParent();
    boolean isKnown = folder != null && Files.exists(folder);
    return isKnown && !Files.exists(file, LinkOption.NOFOLLOW_LINKS)
        ? folder.toRealPath().resolve(file.getFileName())
        : file.normalize();
  }
}
