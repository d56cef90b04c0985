package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Copies of MariaDB and H2 that are killed, and resumed. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its servers are this machine's")
class CopyJdbcResumeIT extends DatabaseMakes {
  private static final int KILLS = 5;
  private static final int PEOPLE = 3000;
  private static final int VISITS = 9000;
  private static final String[] SCHEMA = {
    "CREATE TABLE people (id varchar(9) PRIMARY KEY, name varchar(40) NOT NULL)",
    "CREATE TABLE visits (no int PRIMARY KEY, who varchar(9) NOT NULL, at date,"
        + " FOREIGN KEY (who) REFERENCES people(id))"
  };
  private static final String RULES =
      """
      service=s key=env:MASK_KEY
      [%1$s.%2$s]
      %4$s=ff1(alphabet=digits, scope=id) %5$s=classes
      [%1$s.%3$s]
      %6$s=ff1(alphabet=digits, scope=id) %7$s=dateshift(days=9) %8$s=keep
      """;

  /** One of the same make, but that PostgreSQL is filled by JDBC from others alone. */
  private static TestDatabases source(String make) {
    return makes.get(make.equals("postgres") ? "mariadb" : make);
  }

  private static void fill(String make) {
    TestDatabases databases = source(make);
    databases.create("source");
    databases.execute("source", SCHEMA);
    boolean isH2 = make.equals("h2");
    databases.execute(
        "source",
        "INSERT INTO people SELECT lpad(x, 9, '0'), concat('Name ', x) FROM "
            + series(isH2, PEOPLE),
        "INSERT INTO visits SELECT x, lpad(1 + x % "
            + PEOPLE
            + ", 9, '0'), DATE '2024-01-01' FROM "
            + series(isH2, VISITS));
    emptyTarget(make);
  }

  private static String series(boolean isH2, int end) {
    return isH2
        ? "system_range(1, " + end + ") AS s(x)"
        : "(SELECT seq AS x FROM seq_1_to_" + end + ") AS s";
  }

  private static void emptyTarget(String make) {
    makes.get(make).create("target");
    makes.get(make).execute("target", SCHEMA);
  }

  private List<String> arguments(String make, String... more) throws IOException {
    Object[] names =
        make.equals("h2")
            ? new Object[] {"PUBLIC", "PEOPLE", "VISITS", "ID", "NAME", "WHO", "AT", "NO"}
            : new Object[] {"source", "people", "visits", "id", "name", "who", "at", "no"};
    Path rules = Files.writeString(folder.resolve("rules"), RULES.formatted(names));
    List<String> arguments = new ArrayList<>(List.of("copy", "--from", source(make).url("source")));
    arguments.addAll(List.of("--to", makes.get(make).url("target"), "-r", rules.toString()));
    arguments.addAll(List.of("-q", "--piece-rows", "100"));
    arguments.addAll(List.of(more));
    return arguments;
  }

  private Run copy(String make, String... more) throws IOException {
    return Run.velk(arguments(make, more).toArray(String[]::new));
  }

  private static List<String> contents(String make) {
    List<String> all =
        new ArrayList<>(
            makes.get(make).rows("target", "SELECT id, name FROM people ORDER BY 1, 2"));
    all.addAll(makes.get(make).rows("target", "SELECT no, who, at FROM visits ORDER BY 1"));
    return all;
  }

  private static int marks(String make) {
    TestDatabases databases = makes.get(make);
    String exists =
        "SELECT count(*) FROM information_schema.tables WHERE table_schema IN ('target', 'public',"
            + " 'PUBLIC') AND table_name = 'velk_copy_run'";
    if (databases.row("target", exists).equals("0")) {
      return 0;
    }
    return Integer.parseInt(
        databases.row("target", "SELECT count(*) FROM " + quoted(make, "velk_copy_piece")));
  }

  private static String quoted(String make, String name) {
    return make.equals("h2") ? '"' + name + '"' : name;
  }

  private static boolean isBegun(String make) {
    try {
      return !makes
          .get(make)
          .row("target", "SELECT count(*) FROM " + quoted(make, "velk_copy_run"))
          .equals("0");
    } catch (IllegalStateException e) {
      return false;
    }
  }

  private static boolean isFinished(String make) {
    return makes
        .get(make)
        .row(
            "target",
            "SELECT " + quoted(make, "finished") + " FROM " + quoted(make, "velk_copy_run"))
        .equals("1");
  }

  private Process begin(List<String> arguments) throws IOException {
    List<String> command = new ArrayList<>();
    command.add(ProcessHandle.current().info().command().orElseThrow());
    command.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), Velk.class.getName()));
    command.addAll(arguments);
    return new ProcessBuilder(command)
        .redirectErrorStream(true)
        .redirectOutput(folder.resolve("out").toFile())
        .start();
  }

  /**
   * A file of H2 whose process is killed may hold a part of a transaction, rows without their mark.
   */
  @ParameterizedTest
  @ValueSource(strings = {"mariadb", "postgres"})
  void killedAtRandomMomentsAndResumedItIsTheSameCopy(String make) throws Exception {
    fill(make);
    long start = System.nanoTime();
    Process whole = begin(arguments(make));
    assertEquals(ExitCode.DONE, whole.waitFor(), Files.readString(folder.resolve("out")));
    long duration = (System.nanoTime() - start) / 1_000_000;
    List<String> expected = contents(make);
    assertEquals(PEOPLE + VISITS, expected.size());
    emptyTarget(make);
    long seed = System.nanoTime();
    Random random = new Random(seed);
    int midway = 0;
    for (int i = 0; i < KILLS || midway == 0 && i < 4 * KILLS; i++) {
      if (isBegun(make) && isFinished(make)) {
        assertEquals(expected, contents(make), "seed " + seed);
        emptyTarget(make);
      }
      Process process = begin(isBegun(make) ? arguments(make, "--resume") : arguments(make));
      process.waitFor(duration / 2 + random.nextInt((int) duration / 2), TimeUnit.MILLISECONDS);
      process.destroyForcibly().waitFor();
      midway += isBegun(make) && marks(make) > 0 && !isFinished(make) ? 1 : 0;
    }
    Run last = isBegun(make) ? copy(make, "--resume") : copy(make);
    last.expect(ExitCode.DONE);
    assertEquals(expected, contents(make), "seed " + seed);
    assertTrue(midway > 0, "none was killed on its way");
  }

  /** Leaves some pieces done, as a copy that ended early. */
  private void leaveSomeUndone(String make) throws IOException {
    TestDatabases databases = makes.get(make);
    databases.execute("target", "ALTER TABLE visits ADD CONSTRAINT early CHECK (no < 4050)");
    copy(make).expect(ExitCode.INPUT_OUTPUT);
    databases.execute("target", "ALTER TABLE visits DROP CONSTRAINT early");
    assertEquals("4000", databases.row("target", "SELECT count(*) FROM visits"));
    assertEquals(30 + 40, marks(make));
  }

  @ParameterizedTest
  @ValueSource(strings = {"mariadb", "h2"})
  void whatHasChangedSinceIsCopiedAgain(String make) throws IOException {
    fill(make);
    leaveSomeUndone(make);
    makes
        .get(make)
        .execute(
            "source",
            "INSERT INTO people VALUES ('100000001', 'New one')",
            "UPDATE visits SET who = '100000001' WHERE no IN (1, 2000, 8000)",
            "DELETE FROM visits WHERE no BETWEEN 300 AND 310",
            "INSERT INTO visits VALUES (10000, '100000001', NULL)");
    copy(make, "--resume").expect(ExitCode.DONE);
    List<String> resumed = contents(make);
    emptyTarget(make);
    copy(make).expect(ExitCode.DONE);
    assertEquals(contents(make), resumed);
  }

  @Test
  void whatIsDoneIsNotDoneAgain() throws IOException {
    fill("mariadb");
    leaveSomeUndone("mariadb");
    // A row that is the target's own says whether its piece was written again.
    makes.get("mariadb").execute("target", "UPDATE visits SET at = NULL WHERE no = 7");
    makes.get("mariadb").execute("source", "INSERT INTO visits VALUES (9001, '000000001', NULL)");
    copy("mariadb", "--resume").expect(ExitCode.DONE);
    assertEquals(
        "2", makes.get("mariadb").row("target", "SELECT count(*) FROM visits WHERE at IS NULL"));
  }

  @Test
  void noRowOfAnotherTableGoesWithItsParent() throws IOException {
    fill("h2");
    leaveSomeUndone("h2");
    TestDatabases databases = makes.get("h2");
    databases.execute(
        "target",
        "CREATE TABLE own (visit int REFERENCES visits(no) ON DELETE CASCADE)",
        "INSERT INTO own VALUES (1)");
    databases.execute("source", "UPDATE visits SET at = NULL WHERE no = 2");
    Run run = copy("h2", "--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err().contains("PUBLIC.VISITS has changed in the source and others refer to it"),
        run.err());
    assertEquals("1", databases.row("target", "SELECT count(*) FROM own"));
    databases.execute("target", "DELETE FROM own");
    copy("h2", "--resume").expect(ExitCode.DONE);
    assertEquals(PEOPLE + VISITS, contents("h2").size());
  }

  @Test
  void aParentThatHasChangedSinceIsLeftWhereKeysAreChecked() throws IOException {
    fill("h2");
    leaveSomeUndone("h2");
    makes.get("h2").execute("source", "UPDATE people SET name = 'Else' WHERE id = '000000077'");
    Run run = copy("h2", "--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("has changed in the source and others refer to it"), run.err());
    fill("mariadb");
    leaveSomeUndone("mariadb");
    makes
        .get("mariadb")
        .execute("source", "UPDATE people SET name = 'Else' WHERE id = '000000077'");
    copy("mariadb", "--resume").expect(ExitCode.DONE);
    assertEquals(PEOPLE + VISITS, contents("mariadb").size());
  }

  @ParameterizedTest
  @ValueSource(strings = {"mariadb", "h2"})
  void aMarkHoldsNothingOfAKey(String make) throws IOException {
    fill(make);
    copy(make).expect(ExitCode.DONE);
    TestDatabases databases = makes.get(make);
    List<String> marks =
        databases.rows(
            "target", "SELECT * FROM " + quoted(make, "velk_copy_piece") + " ORDER BY 1, 2");
    assertEquals(PEOPLE / 100 + VISITS / 100, marks.size());
    String table = make.equals("h2") ? "PUBLIC.PEOPLE" : "source.people";
    for (int i = 0; i < PEOPLE / 100; i++) {
      String mark = marks.get(i);
      assertTrue(
          mark.matches(
              java.util.regex.Pattern.quote(table)
                  + "\\|"
                  + i
                  + "\\|"
                  + 100 * i
                  + "\\|100\\|[0-9a-f]{32}\\|masked nulls equal empty\n100 0 0 0\n100 0 0 0\n"),
          mark);
    }
    Run again = copy(make).expect(ExitCode.USAGE);
    assertTrue(again.err().contains("the target has the marks of a copy: --resume"), again.err());
    Run resumed = copy(make, "--resume").expect(ExitCode.DONE);
    assertTrue(resumed.err().contains("the copy was complete already"), resumed.err());
  }

  @Test
  void anotherCopyIsNotResumed() throws IOException {
    fill("mariadb");
    leaveSomeUndone("mariadb");
    List<String> arguments = arguments("mariadb", "--resume");
    Path rules = folder.resolve("rules");
    Files.writeString(rules, Files.readString(rules).replace("days=9", "days=8"));
    Run other = Run.velk(arguments.toArray(String[]::new)).expect(ExitCode.USAGE);
    assertTrue(other.err().contains("it differs in the rules"), other.err());
    TestDatabases databases = makes.get("mariadb");
    databases.execute("source", "ALTER TABLE visits MODIFY no bigint");
    databases.execute("target", "ALTER TABLE visits MODIFY no bigint");
    Run changed = copy("mariadb", "--resume").expect(ExitCode.USAGE);
    assertTrue(changed.err().contains("it differs in the source or its catalogue"), changed.err());
  }

  @Test
  void rowsThatSomebodyAddsToTheTargetEndTheCopy() throws IOException {
    fill("mariadb");
    leaveSomeUndone("mariadb");
    TestDatabases databases = makes.get("mariadb");
    databases.execute("target", "INSERT INTO people VALUES ('x', 'y')");
    Run added = copy("mariadb", "--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        added.err().contains(PEOPLE + " rows were written and " + (PEOPLE + 1) + " are there"),
        added.err());
    assertFalse(isFinished("mariadb"));
    databases.execute("source", "UPDATE people SET name = 'Else' WHERE id = '000000001'");
    Run changed = copy("mariadb", "--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(changed.err().contains("somebody has changed them"), changed.err());
  }

  @Test
  void aChildWithoutItsParentIsFoundBeforeTheLastMark() throws IOException {
    fill("mariadb");
    makes
        .get("mariadb")
        .execute(
            "source", "SET foreign_key_checks = 0", "DELETE FROM people WHERE id = '000000005'");
    Run run = copy("mariadb").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("3 rows are without their parent in foreign key"), run.err());
    assertFalse(isFinished("mariadb"));
  }
}
