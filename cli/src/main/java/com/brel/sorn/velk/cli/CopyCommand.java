package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.CopyException;
import com.brel.sorn.velk.cli.database.CopySettings;
import com.brel.sorn.velk.cli.database.DatabaseCopy;
import com.brel.sorn.velk.cli.database.DatabaseUrl;
import com.brel.sorn.velk.cli.database.MaskedCopy;
import com.brel.sorn.velk.cli.database.PasswordFile;
import com.brel.sorn.velk.cli.database.RulesFile;
import com.brel.sorn.velk.cli.database.Sessions;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "copy",
    description = "Copies a database into another one, masked.",
    footer = {
      "",
      "The tables are in the target already, and empty. The source is read in one snapshot and never"
          + " written to. All that does not fit is refused before the first row.",
      "A password stands in the URL, in VELK_FROM_PASSWORD, VELK_TO_PASSWORD or PGPASSWORD, or in a"
          + " .pgpass, or is asked for."
    })
final class CopyCommand implements Callable<Integer> {
  private static final int MOST_JOBS = 32;
  private static final long PAGE = 8192;
  private static final String BEGUN = "stopped; the copy is not complete, --resume goes on with it";

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
  @Mixin private ReportOptions reporting;

  @Option(
      names = "--from",
      required = true,
      paramLabel = "URL",
      description = {
        "The source: postgresql://[user@]host[:port]/database, mariadb://[user@]host[:port]/database or"
            + " another URL that begins with jdbc: and whose driver is known by --driver-path."
      })
  private String from;

  @Option(names = "--to", required = true, paramLabel = "URL", description = "The target.")
  private String to;

  @Option(
      names = {"-r", "--rules"},
      required = true,
      paramLabel = "FILE",
      description = {
        "The rules: a section for each table, [schema.table] with a masking string below it, or"
            + " [schema.table] = keep. What stands in front of the first is part of each."
      })
  private Path rules;

  @Option(names = "--plan", description = "Print the plan; nothing is written.")
  private boolean planOnly;

  @Option(
      names = "--tables",
      split = ",",
      paramLabel = "TABLE",
      description = "Copy these tables only, of which the source may have others.")
  private List<String> tables = List.of();

  @Option(
      names = {"-j", "--jobs"},
      paramLabel = "N",
      defaultValue = "2",
      description = {
        "Have N pieces on their way at a time (default: ${DEFAULT-VALUE}), from PostgreSQL to PostgreSQL;"
            + " by JDBC it is one."
      })
  private int jobs;

  @Option(
      names = "--resume",
      description = {
        "Go on with a copy that ended before it was complete. What is done is compared with the"
            + " source, and done again where it differs."
      })
  private boolean resume;

  @Option(
      names = "--piece-pages",
      paramLabel = "N",
      defaultValue = "2048",
      description = {
        "Commit N pages of a table together (default: ${DEFAULT-VALUE}, which is 16 MiB)."
      })
  private long pages;

  @Option(
      names = "--piece-rows",
      paramLabel = "N",
      defaultValue = "5000",
      description = {
        "Commit N rows together where one of the databases is not PostgreSQL (default:"
            + " ${DEFAULT-VALUE})."
      })
  private int rows;

  @Option(
      names = "--no-snapshot",
      description = {
        "Read a database that cannot show one state of all its tables; nobody may write to it"
            + " meanwhile."
      })
  private boolean noSnapshot;

  @Option(
      names = "--driver-path",
      split = ",",
      paramLabel = "JAR",
      description = "Jars of JDBC drivers; PostgreSQL's is here already.")
  private List<Path> drivers = List.of();

  @Override
  public Integer call() throws IOException {
    checkArguments();
    try {
      return call(rulesText());
    } catch (CopyException e) {
      List<String> all = e.findings();
      all.subList(0, all.size() - 1).forEach(finding -> velk.streams().say("velk: " + finding));
      String last = all.get(all.size() - 1);
      throw e.isRefused() ? Failure.usage(last) : Failure.inputOutput(last);
    }
  }

  private int call(String text) throws IOException {
    RunFiles files = files();
    List<String> rules = new RulesFile(text).maskingStrings();
    CopySettings settings = settings(text);
    try (Sessions sessions = Sessions.begin(settings);
        Engine engine = files.engine(rules);
        MaskedCopy copy = MaskedCopy.open(engine, settings.with(files.dictionaries()), sessions)) {
      files.keyWarnings().forEach(velk.streams()::warn);
      copy.warnings().forEach(velk.streams()::warn);
      if (planOnly) {
        velk.print(plan(copy));
        return ExitCode.DONE;
      }
      return run(engine, copy);
    }
  }

  /** The names in it are a database's, which may hold anything. */
  private static String plan(MaskedCopy copy) {
    Stream<List<String>> rows =
        copy.table().stream().map(row -> row.stream().map(Show::text).toList());
    String notes = copy.notes().stream().map(Show::text).collect(Collectors.joining("\n"));
    return Table.of(rows.toList()) + "\n" + notes + "\n";
  }

  private int run(Engine engine, MaskedCopy copy) throws IOException {
    CopyReport report = new CopyReport();
    try (ReportOutput told = reporting.open(velk.streams())) {
      try (Progress progress = reporting.progress(velk.streams(), PAGE * copy.pages())) {
        report.from = new DatabaseUrl(from, "from", System.getenv()).toString();
        report.to = new DatabaseUrl(to, "to", System.getenv()).toString();
        report.engine = engine.library().identification();
        for (DatabaseCopy.TableResult table : run(copy, progress)) {
          report.add(table, Masking.keyFingerprint(engine, table.key()));
        }
      }
      told.write(report);
      told.commit();
    }
    return reporting.exitCode(report);
  }

  private List<DatabaseCopy.TableResult> run(MaskedCopy copy, Progress progress)
      throws IOException {
    Interruption interruption =
        new Interruption(
            velk.streams(), () -> copy.hasMarks() ? BEGUN : "stopped; nothing was copied");
    try {
      return copy.run((rows, done) -> progress.update(rows, PAGE * done), velk.streams()::warn);
    } finally {
      interruption.close();
    }
  }

  private void checkArguments() {
    if (jobs < 1 || jobs > MOST_JOBS) {
      throw Failure.usage("--jobs " + jobs + ": 1 to " + MOST_JOBS);
    }
    if (pages < 1) {
      throw Failure.usage("--piece-pages " + pages + ": at least 1");
    }
    if (rows < 1) {
      throw Failure.usage("--piece-rows " + rows + ": at least 1");
    }
  }

  private RunFiles files() {
    RunFiles files = new RunFiles().reads("the rules file", rules.toString());
    drivers.forEach(jar -> files.reads("a driver", jar.toString()));
    return files
        .reads("the file of passwords", PasswordFile.place().toString())
        .writes("the report", reporting.file());
  }

  private CopySettings settings(String text) {
    return new CopySettings(
        new DatabaseUrl(from, "from", System.getenv()),
        new DatabaseUrl(to, "to", System.getenv()),
        text,
        tables,
        jobs,
        resume,
        pages,
        rows,
        noSnapshot,
        drivers,
        List.of());
  }

  private String rulesText() {
    String name = Show.text(rules.toString());
    try {
      return Utf8.decode(Files.readAllBytes(rules));
    } catch (Failure e) {
      throw Failure.usage(name + ": " + e.getMessage());
    } catch (IOException e) {
      throw Failure.inputOutput("cannot read " + name + ": " + Reason.of(e));
    }
  }
}
