package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/** Copies that are killed, resumed, and made while others write to the source. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyResumeIT {
  private static final int KILLS = 20;
  private static final String[] SCHEMA = {
    "CREATE TABLE people (id varchar(9) PRIMARY KEY, name text NOT NULL)",
    "CREATE TABLE visits (no int PRIMARY KEY, who varchar(9) NOT NULL REFERENCES people(id), at date)"
  };
  private static final String RULES =
      """
      service=s key=env:MASK_KEY
      [public.people]
      id=ff1(alphabet=digits, scope=id) name=classes
      [public.visits]
      who=ff1(alphabet=digits, scope=id) at=dateshift(days=9) no=keep
      """;

  private static final String FINISHED = "SELECT finished IS NOT NULL FROM velk_copy.run";

  private static TestServer server;

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    server = new TestServer();
  }

  @AfterAll
  static void stop() throws Exception {
    server.close();
  }

  @BeforeEach
  void make() {
    for (String database : List.of("source", "target")) {
      server.create(database);
      server.execute(database, SCHEMA);
    }
    server.execute(
        "source",
        "INSERT INTO people SELECT lpad(i::text, 9, '0'), 'Name ' || i FROM generate_series(1, 20000) i",
        "INSERT INTO visits SELECT i, lpad((1 + i % 20000)::text, 9, '0'), date '2024-01-01' + i % 300"
            + " FROM generate_series(1, 40000) i");
  }

  private List<String> arguments(String... more) throws IOException {
    Path rules = Files.writeString(folder.resolve("rules"), RULES);
    List<String> arguments = new ArrayList<>(List.of("copy", "--from", server.url("source")));
    arguments.addAll(List.of("--to", server.url("target"), "-r", rules.toString()));
    arguments.addAll(List.of("-q", "--piece-pages", "16"));
    arguments.addAll(List.of(more));
    return arguments;
  }

  private Run copy(String... more) throws IOException {
    return Run.velk(arguments(more).toArray(String[]::new));
  }

  /** The rows of a copy that is made afresh. */
  private static void assertIsCopy() {
    for (String sql :
        new String[] {
          "SELECT count(*), count(DISTINCT id) FROM people",
          "SELECT count(*), count(DISTINCT no), count(DISTINCT who), sum(no) FROM visits",
          "SELECT count(*) FROM people JOIN visits ON id = who",
          // One name for each number of visits of one person: the rows belong together.
          "SELECT n, count(*) FROM (SELECT count(*) n FROM visits GROUP BY who) v GROUP BY n ORDER BY n"
        }) {
      assertEquals(server.rows("source", sql), server.rows("target", sql), sql);
    }
    assertEquals("t", server.row("target", FINISHED));
    assertEquals(
        server.row(
            "target", "SELECT (SELECT count(*) FROM people) + (SELECT count(*) FROM visits)"),
        server.row("target", "SELECT sum(rows) FROM velk_copy.piece"));
  }

  private static String contents() {
    return server.row(
        "target",
        "SELECT md5(string_agg(r, '' ORDER BY r)) FROM (SELECT p::text FROM people p"
            + " UNION ALL SELECT v::text FROM visits v) t(r)");
  }

  private Process begin(String... more) throws IOException {
    List<String> command = new ArrayList<>();
    command.add(ProcessHandle.current().info().command().orElseThrow());
    command.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    command.addAll(List.of("-XX:TieredStopAtLevel=1", "-Xshare:auto"));
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), Velk.class.getName()));
    command.addAll(arguments(more));
    return new ProcessBuilder(command)
        .redirectErrorStream(true)
        .redirectOutput(folder.resolve("log").toFile())
        .start();
  }

  private static boolean hasMarks() {
    return server.row("target", "SELECT to_regclass('velk_copy.run') IS NOT NULL").equals("t");
  }

  /** Pieces that are done of a copy that is not complete. */
  private static int piecesOnTheWay() {
    String done =
        "SELECT (SELECT count(*) FROM velk_copy.piece) FROM velk_copy.run WHERE finished IS NULL";
    List<String> pieces = hasMarks() ? server.rows("target", done) : List.of();
    return pieces.isEmpty() ? 0 : Integer.parseInt(pieces.get(0));
  }

  private static void emptyTarget() {
    server.create("target");
    server.execute("target", SCHEMA);
  }

  @Test
  void aCopyThatIsKilledAgainAndAgainEndsWithTheRowsOfTheSource() throws Exception {
    long start = System.nanoTime();
    Process unharmed = begin();
    assertEquals(ExitCode.DONE, unharmed.waitFor(), Files.readString(folder.resolve("log")));
    final long duration = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
    final String whole = contents();
    emptyTarget();
    long seed = System.nanoTime();
    Random random = new Random(seed);
    int midway = 0;
    for (int i = 0; i < KILLS; i++) {
      if (hasMarks() && piecesOnTheWay() == 0 && server.row("target", FINISHED).equals("t")) {
        assertEquals(whole, contents(), "seed " + seed);
        emptyTarget();
      }
      Process process = hasMarks() ? begin("--resume") : begin();
      process.waitFor(duration / 4 + random.nextInt((int) duration), TimeUnit.MILLISECONDS);
      process.destroyForcibly().waitFor();
      midway += piecesOnTheWay() > 0 ? 1 : 0;
    }
    Run last = hasMarks() ? copy("--resume") : copy();
    last.expect(ExitCode.DONE);
    assertIsCopy();
    assertEquals(whole, contents(), "seed " + seed);
    assertTrue(midway > 0, "none was killed on its way");
  }

  /** Leaves some pieces done, as a copy that ended early. */
  private void leaveSomeUndone() throws IOException {
    server.execute("target", "ALTER TABLE visits ADD CONSTRAINT early CHECK (no < 25000)");
    copy("--jobs", "1").expect(ExitCode.INPUT_OUTPUT);
    server.execute("target", "ALTER TABLE visits DROP CONSTRAINT early");
    assertTrue(Integer.parseInt(server.row("target", "SELECT count(*) FROM visits")) > 0);
  }

  @Test
  void whatHasChangedSinceIsCopiedAgain() throws IOException {
    leaveSomeUndone();
    server.execute(
        "source",
        "INSERT INTO people VALUES ('100000001', 'New one')",
        "UPDATE visits SET who = '100000001' WHERE no IN (1, 7000, 39000)",
        "DELETE FROM visits WHERE no BETWEEN 3000 AND 3100",
        "UPDATE people SET name = 'Else' WHERE id = '000000077'");
    copy("--resume").expect(ExitCode.DONE);
    assertIsCopy();
    String resumed = contents();
    server.create("target");
    server.execute("target", SCHEMA);
    copy().expect(ExitCode.DONE);
    assertEquals(contents(), resumed);
  }

  @Test
  void aTableThatWasRewrittenSinceIsCopiedAgain() throws IOException {
    leaveSomeUndone();
    server.execute("source", "DELETE FROM visits WHERE no % 3 = 0", "VACUUM FULL visits");
    copy("--resume").expect(ExitCode.DONE);
    assertIsCopy();
  }

  @Test
  void anotherCopyIsNotResumed() throws IOException {
    leaveSomeUndone();
    Run pages = copy("--resume", "--piece-pages", "8").expect(ExitCode.USAGE);
    assertTrue(pages.err().contains("--piece-pages"), pages.err());
    Path rules = Files.writeString(folder.resolve("other"), RULES.replace("days=9", "days=8"));
    List<String> arguments = arguments("--resume");
    arguments.set(arguments.indexOf("-r") + 1, rules.toString());
    Run other = Run.velk(arguments.toArray(String[]::new)).expect(ExitCode.USAGE);
    assertTrue(other.err().contains("it differs in the rules"), other.err());
    server.execute("source", "ALTER TABLE visits ALTER no TYPE bigint");
    server.execute("target", "ALTER TABLE visits ALTER no TYPE bigint");
    Run changed = copy("--resume").expect(ExitCode.USAGE);
    assertTrue(changed.err().contains("it differs in the source or its catalogue"), changed.err());
  }

  @Test
  void rowsThatSomebodyHasChangedInTheTargetEndTheCopy() throws IOException {
    leaveSomeUndone();
    server.execute("source", "UPDATE people SET name = 'Else' WHERE id = '000000001'");
    server.execute("target", "UPDATE people SET name = name || '!' WHERE true");
    Run run = copy("--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("somebody has changed them"), run.err());
  }

  @Test
  void aRowThatSomebodyAddsToTheTargetIsFoundBeforeTheLastMark() throws IOException {
    leaveSomeUndone();
    server.execute("target", "INSERT INTO people VALUES ('x', 'y')");
    Run run = copy("--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("20000 rows were written and 20001 are there"), run.err());
    assertEquals("f", server.row("target", FINISHED));
  }

  @Test
  void aCompleteCopyIsNotMadeAgain() throws IOException {
    copy().expect(ExitCode.DONE);
    String before = server.row("target", "SELECT finished FROM velk_copy.run");
    Run run = copy("--resume").expect(ExitCode.DONE);
    assertTrue(run.err().contains("the copy was complete already"), run.err());
    assertEquals(before, server.row("target", "SELECT finished FROM velk_copy.run"));
  }

  @Test
  void aSnapshotHasEveryParentWhileAnotherClientWrites() throws Exception {
    AtomicBoolean ended = new AtomicBoolean();
    Thread writer =
        new Thread(
            () -> {
              for (int i = 0; !ended.get(); i++) {
                server.execute(
                    "source",
                    "INSERT INTO people VALUES ('2" + String.format("%08d", i) + "', 'Late')",
                    "INSERT INTO visits VALUES ("
                        + (1_000_000 + i)
                        + ", '2"
                        + String.format("%08d", i)
                        + "')",
                    "DELETE FROM visits WHERE no = " + (i + 1));
              }
            });
    writer.start();
    try {
      copy("--jobs", "3").expect(ExitCode.DONE);
    } finally {
      ended.set(true);
      writer.join();
    }
    assertEquals(
        "0",
        server.row(
            "target", "SELECT count(*) FROM visits WHERE who NOT IN (SELECT id FROM people)"));
    assertTrue(Integer.parseInt(server.row("target", "SELECT count(*) FROM people")) >= 20000);
  }

  @Test
  void theSourceIsOnlyRead() throws IOException {
    String rows = "SELECT md5(string_agg(p::text || xmin || ctid, '' ORDER BY id)) FROM people p";
    String statistics =
        "SELECT sum(n_tup_ins), sum(n_tup_upd), sum(n_tup_del), count(last_analyze) FROM pg_stat_user_tables";
    final String rowsBefore = server.row("source", rows);
    final String statisticsBefore = server.row("source", statistics);
    copy().expect(ExitCode.DONE);
    assertEquals(rowsBefore, server.row("source", rows));
    assertEquals(statisticsBefore, server.row("source", statistics));
    assertEquals(
        "0", server.row("source", "SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'"));
  }

  @Test
  void aUserWhoMayNotLeaveKeysUncheckedCopiesParentsFirst() throws IOException {
    server.execute(
        "target",
        "DROP ROLE IF EXISTS plain",
        "CREATE ROLE plain LOGIN",
        "GRANT CREATE ON DATABASE target TO plain",
        "GRANT SELECT, INSERT, DELETE ON people, visits TO plain");
    List<String> arguments = arguments();
    arguments.set(arguments.indexOf("--to") + 1, server.url("plain", "target"));
    Run.velk(arguments.toArray(String[]::new)).expect(ExitCode.DONE);
    assertIsCopy();
  }
}
