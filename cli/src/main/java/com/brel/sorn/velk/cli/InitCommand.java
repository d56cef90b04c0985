package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.regex.Pattern;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "init",
    description = "Writes a rules file for a CSV file, to start from.",
    footer = {
      "",
      "Every column's rule is null; a comment suggests a function by the column's name and values."
    })
final class InitCommand implements Callable<Integer> {
  private static final int ROWS_LOOKED_AT = 200;
  private static final Pattern BARE_NAME = Pattern.compile("[A-Za-z][A-Za-z0-9_-]*");

  /** Words that speak of the service; as a column they stand in quotes. */
  private static final Set<String> WORDS = Set.of("service", "key", "on_error", "on_null");

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;

  @Option(names = "--force", description = "Write over a rules file that exists.")
  private boolean force;

  @Parameters(
      index = "0",
      paramLabel = "IN",
      description = "The CSV file in UTF-8; - is standard input.")
  private String in;

  @Parameters(
      index = "1",
      arity = "0..1",
      paramLabel = "RULES",
      defaultValue = "-",
      description = "The rules file; without it, the rules go to standard output.")
  private String out;

  @Override
  public Integer call() throws IOException {
    Input input = new Input(in, velk.streams());
    new RunFiles().reads("the input", in).writes("the rules file", out).check();
    if (!force && !writesIntoPipe()) {
      Output.requireNew(out);
    }
    try (CsvSource source = new CsvSource(input.open())) {
      Header header = Header.read(source);
      write(rules(header, sample(source, header)));
    }
    return ExitCode.DONE;
  }

  private void write(String rules) throws IOException {
    if (Input.isStandard(out)) {
      velk.print(rules);
      return;
    }
    try (Output output = new Output(out, velk.streams())) {
      output.stream().write(rules.getBytes(StandardCharsets.UTF_8));
      output.commit();
    }
  }

  /** What is no file has nothing that could be written over. */
  private boolean writesIntoPipe() throws IOException {
    Path file = Path.of(out);
    return Files.exists(file) && !Files.isRegularFile(file) && !Files.isDirectory(file);
  }

  /** The values of each column in the first rows. */
  private static List<List<String>> sample(CsvSource source, Header header) {
    List<List<String>> columns = new ArrayList<>();
    header.names().forEach(name -> columns.add(new ArrayList<>()));
    for (int count = 0; count < ROWS_LOOKED_AT; count++) {
      CsvRow row = source.next();
      if (row == null) {
        break;
      }
      String[] values = header.check(row).values();
      for (int column = 0; column < values.length; column++) {
        if (values[column] != null && !values[column].isEmpty()) {
          columns.get(column).add(values[column]);
        }
      }
    }
    return columns;
  }

  private String rules(Header header, List<List<String>> values) {
    StringBuilder rules = new StringBuilder();
    rules.append("# Every column becomes null until its rule says otherwise.\n");
    rules.append("# The key has at least 16 bytes; this names where it stands.\n");
    rules.append("service = ").append(serviceId()).append('\n');
    rules.append("key = env:MASK_KEY\n\n");
    List<String> keys = header.names().stream().map(InitCommand::key).toList();
    int width = keys.stream().mapToInt(String::length).filter(w -> w <= 40).max().orElse(0);
    for (int i = 0; i < keys.size(); i++) {
      String key = keys.get(i);
      String rule = key + " ".repeat(Math.max(0, width - key.length())) + " = null";
      String suggestion = Suggestion.of(header.names().get(i), values.get(i)).text(key);
      rules.append(rule).append("  # ").append(suggestion).append('\n');
    }
    return rules.toString();
  }

  /** Up to nine of the letters and digits of the file's name. */
  private String serviceId() {
    String name = Input.isStandard(in) ? "" : Path.of(in).getFileName().toString();
    String id = name.replaceFirst("\\.[^.]*$", "").replaceAll("[^A-Za-z0-9_-]", "");
    return id.isEmpty() ? "service" : id.substring(0, Math.min(9, id.length()));
  }

  /** A column's name as a masking string writes it. */
  static String key(String name) {
    if (BARE_NAME.matcher(name).matches() && !WORDS.contains(name)) {
      return name;
    }
    StringBuilder quoted = new StringBuilder("\"");
    name.codePoints().forEach(codePoint -> quoted.append(escaped(codePoint)));
    return quoted.append('"').toString();
  }

  private static String escaped(int codePoint) {
    if (codePoint == '"' || codePoint == '\\') {
      return "\\" + (char) codePoint;
    }
    // Who reads the file shall see what it says, and in its order.
    return Show.isPlain(codePoint)
        ? Character.toString(codePoint)
        : "\\u{" + Integer.toHexString(codePoint) + "}";
  }
}
