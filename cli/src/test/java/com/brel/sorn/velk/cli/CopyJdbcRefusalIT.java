package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/**
 * What a copy refuses where a database is not PostgreSQL, and how it ends where one refuses a row.
 */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its servers are this machine's")
class CopyJdbcRefusalIT {
  private static final String HEAD = "service=s key=env:MASK_KEY\n";
  private static MariaDbServer maria;
  private static TestServer postgres;
  private static H2Files h2;

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    maria = new MariaDbServer();
    postgres = new TestServer();
    h2 = new H2Files();
  }

  @AfterAll
  static void stop() throws Exception {
    maria.close();
    postgres.close();
    h2.close();
  }

  private static void both(TestDatabases databases, String... statements) {
    for (String database : List.of("source", "target")) {
      databases.create(database);
      databases.execute(database, statements);
    }
  }

  private static void one(TestDatabases databases, String database, String... statements) {
    databases.create(database);
    databases.execute(database, statements);
  }

  private String[] arguments(String from, String to, String rules, String... more)
      throws IOException {
    Path file = Files.writeString(folder.resolve("rules"), rules);
    List<String> arguments =
        new ArrayList<>(List.of("copy", "--from", from, "--to", to, "-r", file.toString(), "-q"));
    arguments.addAll(List.of(more));
    return arguments.toArray(String[]::new);
  }

  private Run copy(String from, String to, String rules, String... more) throws IOException {
    return Run.velk(arguments(from, to, rules, more));
  }

  private Run copy(TestDatabases databases, String rules, String... more) throws IOException {
    return copy(databases.url("source"), databases.url("target"), rules, more);
  }

  /** Refused with this and nothing else, by the plan alone and by a run, and nothing is written. */
  private void expect(String from, String to, String rules, String... findings) throws IOException {
    String all =
        Stream.of(findings).map(text -> "velk: " + text + "\n").collect(Collectors.joining());
    assertEquals(all, copy(from, to, rules, "--plan").expect(ExitCode.USAGE).err());
    assertEquals(all, copy(from, to, rules).expect(ExitCode.USAGE).err());
  }

  @Test
  void everyRefusalIsToldAtOnceWithItsPlace() throws IOException {
    both(
        maria,
        "CREATE TABLE a (id int PRIMARY KEY, mail varchar(9) NOT NULL UNIQUE, word text NOT NULL, w char(4))",
        "CREATE TABLE b (id int PRIMARY KEY, a int, FOREIGN KEY fk (a) REFERENCES a(id))",
        "CREATE TABLE c (x text)");
    expect(
        maria.url("source"),
        maria.url("target"),
        """
        service=s key=env:MASK_KEY
        on_error=null
        [source.a]
        id=keep
          mail=hash(length=8)
        word=null w=keep
        [source.b] id=keep
        [source.d] = keep
        """,
        "line 7: no heading of a section: [schema.table], or [schema.table] = keep",
        "line 8: the source has no table source.d",
        "table source.a: column \"mail\" (line 5, column 3): on_error=null would make it null, and the"
            + " column must not be null",
        "table source.a: column \"word\" (line 6, column 1): the rule is null, and the column must not"
            + " be null",
        "table source.a: column \"mail\" (line 5, column 3): hash may give two values the same result,"
            + " and the column is unique by \"mail\"");
    expect(
        maria.url("source"),
        maria.url("target"),
        "[source.a] = keep\n[source.b] = keep",
        "table source.c of the source has no section in the rules: [source.c]");
    Run rule = copy(maria, HEAD + "[source.b]\nid=keep\n[source.a] = keep\n[source.c] = keep");
    assertTrue(
        rule.expect(ExitCode.USAGE).err().contains("there is no rule for column \"a\""),
        rule.err());
    Run longer =
        copy(
            maria,
            HEAD + "[source.a]\nid=keep mail=keep word=keep w=hash(length=20)",
            "--tables",
            "a");
    assertTrue(longer.expect(ExitCode.USAGE).err().contains("\"20 > 4\""), longer.err());
    Run differ =
        copy(
            maria,
            HEAD + "[source.a]\nid=noise(percent=5) *=keep\n[source.b] = keep\n[source.c] = keep");
    assertTrue(
        differ.expect(ExitCode.USAGE).err().contains("are not masked alike: keep and noise"),
        differ.err());
  }

  @Test
  void foreignKeysAreSeenByOneWhoMayOnlyRead() throws IOException {
    String parent = "CREATE TABLE a (id varchar(9), no int, PRIMARY KEY (id, no))";
    one(
        maria,
        "source",
        parent,
        "CREATE TABLE b (id int PRIMARY KEY, a varchar(9), no int,"
            + " CONSTRAINT toA FOREIGN KEY (a, no) REFERENCES a(id, no))",
        "CREATE OR REPLACE USER reader",
        "GRANT SELECT ON source.* TO reader");
    one(maria, "target", parent, "CREATE TABLE b (id int PRIMARY KEY, a varchar(9), no int)");
    expect(
        maria.url("source").replace("root@", "reader@"),
        maria.url("target"),
        HEAD + "[source.a] = keep\n[source.b]\nid=keep a=classes no=keep",
        "table source.b: foreign key \"toA\": column \"a\" (line 4, column 9) and source.a, column"
            + " \"id\" are not masked alike: classes and keep");
  }

  @Test
  void aTargetThatIsNotFitIsRefused() throws IOException {
    one(
        maria,
        "source",
        "CREATE TABLE a (id bigint unsigned, name varchar(20), at datetime(6), n decimal(10,4), x text,"
            + " g int AS (1) VIRTUAL, place point, y int, t varchar(9), m varchar(9))",
        "CREATE TABLE b (x text)",
        "CREATE TABLE c (x text)");
    one(
        h2,
        "target",
        "CREATE TABLE A (ID bigint, name varchar(10), at timestamp(3), n decimal(5,4), x varchar(9),"
            + " g int, place geometry, z int, t varchar(4), m varchar(8))",
        "CREATE TABLE b (x clob)",
        "INSERT INTO b VALUES ('')");
    expect(
        maria.url("source"),
        h2.url("target"),
        HEAD
            + "[source.a]\n*=keep place=keep t=hash(length=8) m=hash(length=8)\n[source.b] = keep\n[source.c] = keep",
        "table source.a: column \"g\" is generated, and is not in the target",
        "table source.a: column \"y\" is int, and is missing in the target",
        "table source.a: column \"Z\" is in the target alone",
        "table source.a: column \"id\" (line 3, column 1): bigint of the target is narrower than bigint unsigned",
        "table source.a: column \"name\" (line 3, column 1): character varying(10) of the target is"
            + " narrower than varchar(20)",
        "table source.a: column \"at\" (line 3, column 1): timestamp(3) of the target is narrower than"
            + " datetime(6)",
        "table source.a: column \"n\" (line 3, column 1): decimal(5,4) of the target is narrower than"
            + " decimal(10,4)",
        "table source.a: column \"x\" (line 3, column 1): character varying(9) of the target is narrower"
            + " than text",
        "table source.a: column \"place\" (line 3, column 8): point does not go over to geometry by JDBC",
        "table source.a: column \"t\" (line 3, column 19): a result may be longer than the column of the"
            + " target, which holds 4",
        "table source.c: the target has no such table",
        "table source.b: the target's is not empty");
  }

  @Test
  void whatJdbcDoesNotCarryMayBeLeftNull() throws IOException {
    one(
        postgres,
        "source",
        "CREATE TABLE a (id int PRIMARY KEY, tags text[], extra jsonb, stay daterange)",
        "INSERT INTO a VALUES (1, '{a}', '{}', NULL)");
    one(maria, "target", "CREATE TABLE a (id int PRIMARY KEY, tags text, extra text, stay text)");
    expect(
        postgres.url("source"),
        maria.url("target"),
        "[public.a] = keep",
        "table public.a: column \"tags\": _text does not go over to text by JDBC",
        "table public.a: column \"extra\": jsonb does not go over to text by JDBC",
        "table public.a: column \"stay\": daterange does not go over to text by JDBC");
    copy(postgres.url("source"), maria.url("target"), HEAD + "[public.a]\nid=keep *=null")
        .expect(ExitCode.DONE);
    assertEquals("1|null|null|null", maria.row("target", "SELECT * FROM a"));
  }

  @Test
  void aRuleThatGivesNoValueOfItsTypeIsRefused() throws IOException {
    both(maria, "CREATE TABLE a (t time, b bit(1), x blob, d double)");
    expect(
        maria.url("source"),
        maria.url("target"),
        HEAD + "[source.a]\nt=hash b=classes x=classes d=noise(percent=5)",
        "table source.a: column \"t\" (line 3, column 1): hash gives no value of the type time(0)",
        "table source.a: column \"b\" (line 3, column 8): classes gives no value of the type bit",
        "table source.a: column \"x\" (line 3, column 18): classes gives no value of the type blob");
  }

  @Test
  void aTargetThatIsTheSourceIsRefusedByWhateverUrl() throws IOException {
    both(maria, "CREATE TABLE a (x text)");
    String other = "jdbc:mariadb://root@localhost:" + maria.port + "/source?connectTimeout=9000";
    Run server = copy(maria.url("source"), other, "[source.a] = keep").expect(ExitCode.USAGE);
    assertTrue(server.err().contains("the target is the source"), server.err());
    both(h2, "CREATE TABLE a (x text)");
    String file =
        "jdbc:h2:file:" + h2.folder + "/../" + h2.folder.getFileName() + "/source;USER=sa";
    Run same = copy(h2.url("source"), file, "[PUBLIC.A] = keep").expect(ExitCode.USAGE);
    assertTrue(same.err().contains("the target is the source"), same.err());
    copy(h2, "[PUBLIC.A] = keep").expect(ExitCode.DONE);
    copy(maria, "[source.a] = keep").expect(ExitCode.DONE);
  }

  @Test
  void aTableWithoutTransactionsIsReadOnlyWhereThatIsAskedFor() throws IOException {
    both(maria, "CREATE TABLE a (id int PRIMARY KEY, x text)");
    maria.execute("source", "ALTER TABLE a ENGINE = Aria", "INSERT INTO a VALUES (1, 'x')");
    expect(
        maria.url("source"),
        maria.url("target"),
        "[source.a] = keep",
        "table source.a: its engine Aria shows no state that others keep; --no-snapshot reads it all the same");
    Run run = copy(maria, "[source.a] = keep", "--no-snapshot").expect(ExitCode.DONE);
    assertTrue(
        run.err()
            .contains(
                "warning: table source.a: its engine Aria shows no state that others"
                    + " keep: nobody may write to it meanwhile"),
        run.err());
    both(maria, "CREATE TABLE a (id int PRIMARY KEY, x text)");
    maria.execute("target", "ALTER TABLE a ENGINE = MyISAM");
    expect(
        maria.url("source"),
        maria.url("target"),
        "[source.a] = keep",
        "table source.a: in the target its engine MyISAM has no transactions");
  }

  @Test
  void aTargetThatTakesEmptyForNullIsRefused() throws IOException {
    both(h2, "CREATE TABLE a (x varchar(9))");
    expect(
        h2.url("source"),
        h2.url("target") + ";MODE=Oracle",
        "[PUBLIC.A] = keep",
        "the target takes an empty text for null: it is in the mode Oracle");
  }

  @Test
  void whatNobodyCanJudgeIsAWarningWithAName() throws IOException {
    both(
        maria,
        "CREATE TABLE a (x int, CONSTRAINT positive CHECK (x > 0))",
        "CREATE TRIGGER touch BEFORE INSERT ON a FOR EACH ROW SET NEW.x = NEW.x");
    String err = copy(maria, "[source.a] = keep", "--plan").expect(ExitCode.DONE).err();
    for (String what : List.of("check \"positive\"", "trigger \"touch\"")) {
      String warning =
          "warning: table source.a: nobody can judge what masked values mean to " + what;
      assertTrue(err.contains(warning), err);
    }
  }

  @Test
  void whatIsNoTableOfItsOwnIsRefusedOrLeftOut() throws IOException {
    one(
        postgres,
        "source",
        "CREATE TABLE old (id int PRIMARY KEY)",
        "CREATE TABLE young (y int) INHERITS (old)",
        "CREATE TABLE parted (id int) PARTITION BY RANGE (id)",
        "CREATE TABLE part PARTITION OF parted FOR VALUES FROM (1) TO (9)",
        "INSERT INTO parted VALUES (1), (8)",
        "CREATE MATERIALIZED VIEW seen AS SELECT 1");
    one(
        maria,
        "target",
        "CREATE TABLE old (id int PRIMARY KEY)",
        "CREATE TABLE young (id int, y int)",
        "CREATE TABLE parted (id int)");
    String rules = "[public.old] = keep\n[public.young] = keep\n[public.parted] = keep";
    expect(
        postgres.url("source"),
        maria.url("target"),
        rules,
        "table public.old: others inherit from it, and would be read with it");
    Run run =
        copy(postgres.url("source"), maria.url("target"), rules, "--tables", "young,parted")
            .expect(ExitCode.DONE);
    assertTrue(run.err().contains("materialized view public.seen is not copied"), run.err());
    assertEquals("2", maria.row("target", "SELECT count(*) FROM parted"));
    one(maria, "source", "CREATE TABLE a (id int) WITH SYSTEM VERSIONING");
    one(h2, "target", "CREATE TABLE a (id int)");
    expect(
        maria.url("source"),
        h2.url("target"),
        "[source.a] = keep",
        "table source.a: its rows have a history, which is not copied");
  }

  @Test
  void aCircleOfForeignKeysNeedsATargetThatChecksThemLater() throws IOException {
    String[] circle = {
      "CREATE TABLE a (id int PRIMARY KEY, b int)",
      "CREATE TABLE b (id int PRIMARY KEY, a int, CONSTRAINT toA FOREIGN KEY (a) REFERENCES a(id))",
      "ALTER TABLE a ADD CONSTRAINT toB FOREIGN KEY (b) REFERENCES b(id)"
    };
    both(h2, circle);
    expect(
        h2.url("source"),
        h2.url("target"),
        "[PUBLIC.A] = keep\n[PUBLIC.B] = keep",
        "foreign keys go in a circle among PUBLIC.A, PUBLIC.B: the target has no way to write them that"
            + " leaves keys to be checked at the end");
    both(maria, circle);
    maria.execute(
        "source",
        "SET foreign_key_checks = 0",
        "INSERT INTO a VALUES (1, 1), (2, NULL)",
        "INSERT INTO b VALUES (1, 2)");
    copy(maria, "[source.a] = keep\n[source.b] = keep").expect(ExitCode.DONE);
    assertEquals(
        "2|1", maria.row("target", "SELECT (SELECT count(*) FROM a), (SELECT a - 1 FROM b)"));
  }

  /** A process of its own shows what a driver tells its log as well. */
  private Run refuseOne(TestDatabases databases, String schema) throws Exception {
    both(databases, "CREATE TABLE a (id varchar(12) PRIMARY KEY, x varchar(20))");
    databases.execute(
        "source",
        Stream.iterate(1, i -> i + 1)
            .limit(400)
            .map(i -> "INSERT INTO a VALUES ('" + String.format("%09d", i) + "', 'word" + i + "')")
            .toArray(String[]::new));
    databases.execute("source", "INSERT INTO a VALUES ('000000999', 'word177')");
    databases.execute("target", "CREATE UNIQUE INDEX few ON a (x)");
    Run run =
        Run.ofItsOwn(
                List.of(),
                arguments(
                    databases.url("source"),
                    databases.url("target"),
                    HEAD
                        + "["
                        + schema
                        + "]\n*=keep "
                        + (schema.startsWith("P") ? "ID" : "id")
                        + "=ff1(alphabet=digits)"))
            .expect(ExitCode.INPUT_OUTPUT);
    assertFalse(run.err().contains("word177") || run.err().contains("000000999"), run.err());
    assertEquals(1, run.err().lines().count(), run.err());
    String key = run.err().replaceAll("(?s).*\"[iI][dD]\" = (\\d+):.*", "$1");
    databases.execute("target", "DROP INDEX few" + (schema.startsWith("P") ? "" : " ON a"));
    copy(
            databases,
            HEAD
                + "["
                + schema
                + "]\n*=keep "
                + (schema.startsWith("P") ? "ID" : "id")
                + "=ff1(alphabet=digits)",
            "--resume")
        .expect(ExitCode.DONE);
    assertEquals("word177", databases.row("target", "SELECT x FROM a WHERE id = '" + key + "'"));
    return run;
  }

  @Test
  void aRowThatTheTargetRefusesIsToldByItsMaskedKeyAlone() throws Exception {
    Run run = refuseOne(maria, "source.a");
    assertTrue(
        run.err().contains(": a constraint is violated (SQLSTATE 23000, code 1062)"), run.err());
    Run other = refuseOne(h2, "PUBLIC.A");
    assertTrue(
        other.err().contains(": a constraint is violated (SQLSTATE 23505, code 23505)"),
        other.err());
    try (Stream<Path> files = Files.list(h2.folder)) {
      for (Path trace : files.filter(file -> file.toString().endsWith(".trace.db")).toList()) {
        assertFalse(Files.readString(trace).contains("word177"), Files.readString(trace));
      }
    }
  }

  @Test
  void aTextThatIsTooLongForATypeOfBytesIsRefusedAndNotCut() throws Exception {
    one(
        postgres,
        "source",
        "CREATE TABLE a (id int PRIMARY KEY, x text)",
        "INSERT INTO a VALUES (7, repeat('x', 70000))");
    one(maria, "target", "CREATE TABLE a (id int PRIMARY KEY, x text)");
    Run run =
        copy(postgres.url("source"), maria.url("target"), "[public.a] = keep")
            .expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err().contains("the row that has, masked, \"id\" = 7: a value is refused"), run.err());
    assertEquals("0", maria.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void aValueInErrorIsTheRulesToDecide() throws IOException {
    String table = "CREATE TABLE a (id int PRIMARY KEY, card text)";
    both(maria, table);
    String rows = "INSERT INTO a VALUES (1, '4012888888881881'), (2, 'secret')";
    maria.execute("source", rows);
    String rules = HEAD + "[source.a]\nid=keep card=card";
    Run stop = copy(maria, rules).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(stop.err().contains("column \"card\""), stop.err());
    assertFalse(stop.err().contains("secret"), stop.err());
    assertEquals("0", maria.row("target", "SELECT count(*) FROM a"));
    both(maria, table);
    maria.execute("source", rows);
    Run run = copy(maria, rules + " on_error=null", "--report", "-").expect(ExitCode.FIELD_ERRORS);
    assertTrue(run.out().contains("1 value could not be masked"), run.out());
    assertTrue(
        run.out().matches("(?s).*table source.a, column \"card\", error \\d+, 1 value: .*"),
        run.out());
    assertEquals("2|1", maria.row("target", "SELECT count(*), count(card) FROM a"));
  }

  @Test
  void noPasswordIsEverShown() throws IOException {
    both(maria, "CREATE TABLE a (x text)");
    maria.execute(
        "source",
        "CREATE OR REPLACE USER who@'%' IDENTIFIED BY 's3cret;@/'",
        "GRANT ALL ON *.* TO who@'%'");
    String where = "127.0.0.1:" + maria.port + "/source";
    for (String url :
        List.of(
            "mariadb://who:s3cret;%40%2F@" + where,
            "jdbc:mariadb://who:s3cret%3B%40%2F@" + where,
            "jdbc:mariadb://" + where + "?user=who&password=s3cret%3B%40%2F&connectTimeout=9000")) {
      one(maria, "target", "CREATE TABLE a (x text)");
      Run run = copy(url, maria.url("target"), "[source.a] = keep", "--report", "-");
      assertTrue(
          run.expect(ExitCode.DONE).out().contains("jdbc:mariadb://who@127.0.0.1"), run.out());
      assertFalse((run.out() + run.err()).contains("s3cret"), run.err());
      String wrong = url.replace("s3cret", "s3crets");
      Run refused =
          copy(wrong, maria.url("target"), "[source.a] = keep").expect(ExitCode.INPUT_OUTPUT);
      assertTrue(refused.err().contains("SQLSTATE 28000"), refused.err());
      assertFalse(refused.err().contains("s3cret"), refused.err());
    }
    String missing = "jdbc:h2:" + folder.resolve("none") + ";USER=sa;PASSWORD=s3cret";
    Run none =
        copy(missing, maria.url("target"), "[PUBLIC.A] = keep").expect(ExitCode.INPUT_OUTPUT);
    assertFalse(none.err().contains("s3cret"), none.err());
    assertFalse(Files.exists(folder.resolve("none.mv.db")));
    Run odd =
        copy("mariadb://who:s3cret%s3cret@h/d", maria.url("target"), "").expect(ExitCode.USAGE);
    assertEquals(
        "velk: the URL of a database: % in a user's name or a password is written %25\n",
        odd.err());
    Run unknown =
        copy("jdbc:unknown:thin:who/s3cret@host", maria.url("target"), "").expect(ExitCode.USAGE);
    assertTrue(unknown.err().contains("no driver is found for it; --driver-path"), unknown.err());
    assertFalse(unknown.err().contains("s3cret"), unknown.err());
  }

  @Test
  void aDriverComesFromAJarThatIsNamed() throws Exception {
    both(h2, "CREATE TABLE a (x varchar(9))");
    h2.execute("source", "INSERT INTO a VALUES ('here')");
    String[] paths = System.getProperty("java.class.path").split(File.pathSeparator);
    String jar =
        Stream.of(paths)
            .filter(path -> path.matches(".*/h2-[^/]*\\.jar"))
            .findFirst()
            .orElseThrow();
    String others =
        Stream.of(paths)
            .filter(path -> !path.equals(jar))
            .collect(Collectors.joining(File.pathSeparator));
    String[] arguments = arguments(h2.url("source"), h2.url("target"), "[PUBLIC.A] = keep");
    Run without = ofClassPath(others, arguments);
    assertTrue(
        without.expect(ExitCode.USAGE).err().contains("no driver is found for it"), without.err());
    Run nothing =
        ofClassPath(others, with(arguments, "--driver-path", folder.resolve("rules").toString()));
    assertTrue(
        nothing.expect(ExitCode.USAGE).err().contains("there is no JDBC driver in it"),
        nothing.err());
    ofClassPath(others, with(arguments, "--driver-path", jar)).expect(ExitCode.DONE);
    assertEquals("here", h2.row("target", "SELECT x FROM a"));
    Run draft =
        ofClassPath(
            others, new String[] {"init", "--from", h2.url("source"), "--driver-path", jar});
    assertTrue(draft.expect(ExitCode.DONE).out().contains("[PUBLIC.A]"), draft.out());
  }

  private static String[] with(String[] arguments, String... more) {
    return Stream.concat(Stream.of(arguments), Stream.of(more)).toArray(String[]::new);
  }

  private Run ofClassPath(String classPath, String[] arguments) throws Exception {
    List<String> command = new ArrayList<>();
    command.add(ProcessHandle.current().info().command().orElseThrow());
    command.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    command.addAll(List.of("-cp", classPath, Velk.class.getName()));
    command.addAll(List.of(arguments));
    Path err = folder.resolve("err");
    Process process = new ProcessBuilder(command).redirectError(err.toFile()).start();
    byte[] out = process.getInputStream().readAllBytes();
    return new Run(process.waitFor(), out, Files.readString(err));
  }
}
