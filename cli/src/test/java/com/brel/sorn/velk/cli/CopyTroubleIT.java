package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.sql.Connection;
import java.sql.Statement;
import java.util.List;
import java.util.stream.IntStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Copies whose servers run out of room, end, or do what nobody expects of them. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
@Timeout(120)
class CopyTroubleIT extends CopyTests {
  private static final String RULES = HEAD + "[public.a]\nid=keep x=hash\n";
  private static final int ROWS = 100_000;

  private static void fill(String storage) {
    both("CREATE TABLE a (id int, x text, y text GENERATED ALWAYS AS (repeat(x, 5)) STORED)");
    server.execute("target", "ALTER TABLE a " + storage);
    server.execute(
        "source", "INSERT INTO a SELECT i, 'clear ' || i FROM generate_series(1, " + ROWS + ") i");
  }

  /** Ends with what the server says and what to do; what is marked is there, and nothing else. */
  private void expectFull() throws IOException {
    Run full = copy(RULES, "--piece-pages", "32").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        full.err()
            .matches(
                "velk: table public\\.a: the target refuses a piece: could not extend file .*"
                    + " \\(SQLSTATE 53100\\): make room for it; --resume goes on with a copy that has"
                    + " marks\n"),
        full.err());
    assertFalse(full.err().contains("clear"), full.err());
    String done = server.row("target", "SELECT sum(rows) > 0, sum(rows) FROM velk_copy.piece");
    assertEquals("t|" + server.row("target", "SELECT count(*) FROM a"), done);
  }

  private void expectResumed() throws IOException {
    copy(RULES, "--piece-pages", "32", "--resume").expect(ExitCode.DONE);
    assertEquals(
        ROWS + "|" + ROWS + "|0",
        server.row(
            "target",
            "SELECT count(*), count(DISTINCT id), count(*) FILTER (WHERE x LIKE 'clear%') FROM a"));
  }

  @Test
  void aCopyThatFillsTheDiskGoesOnOnceThereIsRoom() throws Exception {
    assumeTrue(server.createSmallDisk("small", 8), "this user may mount no small disk");
    try {
      fill("SET TABLESPACE small");
      expectFull();
      server.enlargeDisk("small", 64);
      expectResumed();
    } finally {
      server.create("target");
      server.execute("postgres", "DROP TABLESPACE small");
      server.removeDisk("small");
    }
  }

  /** A write that ends in the middle of a page is a full disk to the server as well. */
  @Test
  void aCopyWhoseFilesMayGrowNoMoreGoesOnOnceTheyMay() throws Exception {
    fill("SET (autovacuum_enabled = off)");
    server.limitFiles((17 << 20) + 4096);
    try {
      expectFull();
    } finally {
      server.limitFiles(0);
    }
    expectResumed();
  }

  @Test
  void aLockOfSomebodyElseIsNotWaitedForWithoutEnd() throws Exception {
    both("CREATE TABLE a (id int, x text)");
    for (String database : List.of("source", "target")) {
      try (Connection connection = server.connect(database);
          Statement statement = connection.createStatement()) {
        statement.execute("BEGIN; LOCK TABLE a IN ACCESS EXCLUSIVE MODE");
        List<String> arguments = arguments(server.url("source"), server.url("target"), RULES);
        Run run = Run.ofItsOwn(List.of("-Dvelk.lock.seconds=1"), arguments.toArray(String[]::new));
        assertEquals(
            "velk: canceling statement due to lock timeout (SQLSTATE 55P03): somebody else holds a"
                + " lock (pg_locks tells who); --resume goes on with a copy that has marks\n",
            run.expect(ExitCode.INPUT_OUTPUT).err());
      }
    }
  }

  /** A server's log tells of a row that it refuses in full. */
  @Test
  void theTargetsLogHoldsNoClearValue() throws Exception {
    both("CREATE TABLE a (id text PRIMARY KEY, x varchar(40), born date)");
    server.execute(
        "source",
        "INSERT INTO a SELECT 'Secret' || i, 'Secret ' || i, date '1971-02-03' FROM generate_series(1, 300) i");
    server.execute(
        "target",
        "ALTER TABLE a ADD CONSTRAINT short CHECK (length(x) < 9)",
        "CREATE UNIQUE INDEX one ON a (length(id))");
    String rules =
        HEAD + "[public.a]\nid=ff1(alphabet=alphanumeric) x=classes born=dateshift(days=900)";
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    String log = server.log();
    assertTrue(log.contains("violates") && log.contains("Failing row contains"), log);
    for (String all : List.of(log, run.err())) {
      assertFalse(all.contains("Secret") || all.contains("1971-02-03"), all);
    }
  }

  @Test
  void namesAndRowsAreAsLongAsTheyCanBe() throws Exception {
    String name = "Ω".repeat(31) + "x";
    List<String> columns = IntStream.range(0, 1599).mapToObj(i -> "c" + i + " smallint").toList();
    both("CREATE TABLE \"" + name + "\" (" + String.join(", ", columns) + ", x text)");
    server.execute("source", "INSERT INTO \"" + name + "\" (c0, c1598, x) VALUES (7, 8, 'clear')");
    copy(HEAD + "[public.\"" + name + "\"]\nx=hash(length=9) *=keep").expect(ExitCode.DONE);
    assertEquals(
        "7|null|8|9",
        server.row("target", "SELECT c0, c1, c1598, length(x) FROM \"" + name + "\""));
  }

  @Test
  void aSessionThatMustBeEncryptedIsNotOpenedInTheClear() throws Exception {
    both("CREATE TABLE a (x text)");
    String from = server.url("source") + "?sslmode=require";
    Run run = copyTo(from, server.url("target"), "[public.a] = keep");
    String told = run.expect(ExitCode.INPUT_OUTPUT).err();
    assertEquals(
        "velk: " + server.url("source") + ": The server does not support SSL. (SQLSTATE 08004)\n",
        told);
  }

  @Test
  void aNameDoesNothingToATerminal() throws Exception {
    String name = "a\u001b[2J\u202e";
    both(
        "CREATE TABLE \"" + name + "\" (\"" + name + "\" text UNIQUE, y text)",
        "ALTER TABLE \""
            + name
            + "\" ADD FOREIGN KEY (y) REFERENCES \""
            + name
            + "\" (\""
            + name
            + "\")");
    Run refused = copy("", "--plan").expect(ExitCode.USAGE);
    Run kept = copy("[public.\"" + name + "\"] = keep", "--plan").expect(ExitCode.DONE);
    Run masked = copy(HEAD + "[public.\"" + name + "\"]\n*=keep", "--plan").expect(ExitCode.DONE);
    for (String told : List.of(refused.err(), kept.out(), masked.out())) {
      assertTrue(told.contains("public.") && !told.matches("(?s).*[\u001b\u202e].*"), told);
    }
  }
}
