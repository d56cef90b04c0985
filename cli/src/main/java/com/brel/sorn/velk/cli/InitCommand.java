package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.regex.Pattern;
import java.util.stream.IntStream;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "init",
    description = "Writes a rules file for a CSV file or a database, to start from.",
    footer = {
      "",
      "Every column's rule is null; a comment suggests a function by the column's name and values."
          + " A column without a name of its own is called by its position."
    })
final class InitCommand implements Callable<Integer> {
  private static final int ROWS_LOOKED_AT = 200;
  private static final Pattern BARE_NAME = Pattern.compile("[A-Za-z][A-Za-z0-9_-]*");

  /** Words that speak of the service; as a column they stand in quotes. */
  private static final Set<String> WORDS = Set.of("service", "key", "on_error", "on_null");

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
  @Mixin private CsvOptions csv;

  @Option(names = "--force", description = "Write over a rules file that exists.")
  private boolean force;

  @Option(
      names = "--from",
      paramLabel = "URL",
      description = {
        "Write rules for the tables of this database (postgresql://[user@]host[:port]/database,"
            + " mariadb://..., jdbc:...), whose catalogue alone is read; IN is left out."
      })
  private String from;

  @Option(
      names = "--driver-path",
      split = ",",
      paramLabel = "JAR",
      description = "Jars of JDBC drivers for --from; PostgreSQL's is here already.")
  private List<Path> drivers = List.of();

  @Parameters(
      index = "0",
      arity = "0..1",
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
    if (from != null) {
      return ofDatabase();
    }
    if (in == null) {
      throw refused("Missing required parameter: 'IN'");
    }
    Input input = new Input(in, velk.streams());
    new RunFiles().reads("the input", in).writes("the rules file", out).check();
    if (!force && !writesIntoPipe()) {
      Output.requireNew(out);
    }
    try (Engine engine = Masking.untracedEngine();
        CsvInput source = csv.open(engine, input, velk.streams())) {
      List<String> names = source.reader().names();
      write(rules(names, sample(source.reader(), names)));
      return ExitCode.DONE;
    } catch (CsvException e) {
      throw csv.refusal(e);
    }
  }

  private static Failure refused(String why) {
    return Failure.usage(why + "\nTry: velk init --help");
  }

  private int ofDatabase() throws IOException {
    if (!Input.isStandard(out)) {
      throw refused("--from takes the place of IN");
    }
    out = in == null ? out : in;
    if (!force && !Input.isStandard(out) && !writesIntoPipe()) {
      Output.requireNew(out);
    }
    write(DatabaseRules.of(from, drivers));
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
  private static List<List<String>> sample(CsvReader reader, List<String> names)
      throws IOException {
    List<List<String>> columns = new ArrayList<>();
    names.forEach(name -> columns.add(new ArrayList<>()));
    for (int count = 0; count < ROWS_LOOKED_AT; count++) {
      CsvReader.Row row = reader.next();
      if (row == null) {
        break;
      }
      for (int column = 0; column < row.values().size(); column++) {
        String value = row.values().get(column);
        if (value != null && !value.isEmpty()) {
          columns.get(column).add(value);
        }
      }
    }
    return columns;
  }

  private String rules(List<String> names, List<List<String>> values) {
    StringBuilder rules = new StringBuilder();
    rules.append("# Every column becomes null until its rule says otherwise.\n");
    rules.append("# The key has at least 16 bytes; this names where it stands.\n");
    rules.append("service = ").append(serviceId()).append('\n');
    rules.append("key = env:MASK_KEY\n\n");
    List<String> keys = keys(names);
    int width = keys.stream().mapToInt(String::length).filter(w -> w <= 40).max().orElse(0);
    for (int i = 0; i < keys.size(); i++) {
      String key = keys.get(i);
      String rule = key + " ".repeat(Math.max(0, width - key.length())) + " = null";
      String suggestion = Suggestion.of(names.get(i), values.get(i)).text(key);
      rules.append(rule).append("  # ").append(suggestion).append('\n');
    }
    return rules.toString();
  }

  /** What a masking string calls the columns: by their names, or by their positions. */
  private static List<String> keys(List<String> names) {
    ColumnNames columns = new ColumnNames(names);
    return IntStream.range(0, names.size())
        .mapToObj(i -> columns.finding(i).isEmpty() ? key(names.get(i)) : ColumnNames.position(i))
        .toList();
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
