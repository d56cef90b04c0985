package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.AtomicBoolean;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Databases that are set up so that a copy would lose, change or show values. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyAttackIT extends CopyTests {
  /** How the user's sessions write and read values unless they say otherwise. */
  private static final String[] ODD_SETTINGS = {
    "datestyle = 'German, DMY'",
    "intervalstyle = 'sql_standard'",
    "timezone = 'Europe/Berlin'",
    "extra_float_digits = -10",
    "bytea_output = 'escape'",
    "array_nulls = off",
    "xmloption = 'document'",
    "standard_conforming_strings = off",
    "client_encoding = 'LATIN1'",
    "statement_timeout = 500",
    "default_transaction_isolation = 'serializable'",
    "search_path = evil, public, pg_catalog"
  };

  @AfterEach
  void forgetSettings() {
    server.execute("postgres", "ALTER ROLE velk RESET ALL");
  }

  private static void setOddly() throws Exception {
    try (Connection connection = server.connect("postgres");
        Statement statement = connection.createStatement()) {
      for (String setting : ODD_SETTINGS) {
        statement.execute("ALTER ROLE velk SET " + setting);
      }
    }
  }

  @Test
  void settingsOfAUserChangeNoValue() throws Exception {
    both(
        "CREATE TABLE a (id int PRIMARY KEY, d date, i interval, f float8, b bytea, t timestamptz, n text[],"
            + " x xml, s text, r tstzrange, m money, born date, seen timestamptz)");
    server.execute(
        "source",
        "INSERT INTO a VALUES (1, '2024-02-01', '-1 day +02:03:04.5', 1e-7/3, '\\x5c00ff27', '2024-03-31 02:30+01',"
            + " ARRAY['NULL', NULL, 'a\\b'], XMLPARSE(CONTENT 'a<b/>c'), 'Zoë ''\\ ΩЖ',"
            + " '[2024-10-27 00:30+00,2024-10-27 01:30+00)', 12.34, '2024-02-01', '2024-10-27 01:30+00')");
    // Writing the first row takes longer than the user's statements may, and so does reading what
    // no buffer between the two servers holds in the meantime.
    server.execute(
        "source",
        "INSERT INTO a (id, s) SELECT i, repeat('x', 4000000) FROM generate_series(2, 13) i");
    server.execute("target", "ALTER TABLE a ADD CHECK (id > 1 OR pg_sleep(0.8)::text IS NOT NULL)");
    String all = "SELECT d, i, f, b, t, n, n[2] IS NULL, x::text, s, r, m FROM a WHERE id = 1";
    List<String> before = server.rows("source", all);
    setOddly();
    String rules = HEAD + "[public.a]\nborn=dateshift(days=3) seen=dateshift(days=3) *=keep";
    copy(rules).expect(ExitCode.DONE);
    forgetSettings();
    assertEquals(before, server.rows("target", all));
    assertEquals(
        "t|t",
        server.row(
            "target",
            "SELECT abs(born - date '2024-02-01') BETWEEN 1 AND 3,"
                + " abs(extract(epoch FROM seen - '2024-10-27 01:30+00')) BETWEEN 1 AND 3*86400"
                + " FROM a WHERE id = 1"));
    assertEquals("13", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void functionsAndOperatorsOfOtherSchemasAreNotCalled() throws Exception {
    String raise = " LANGUAGE plpgsql AS $$BEGIN RAISE EXCEPTION 'called'; END$$";
    both(
        "CREATE TABLE a (id text PRIMARY KEY)",
        "CREATE TABLE b (a text REFERENCES a(id))",
        "CREATE SCHEMA evil",
        "CREATE FUNCTION evil.same(text, text) RETURNS boolean" + raise,
        "CREATE OPERATOR evil.= (LEFTARG = text, RIGHTARG = text, FUNCTION = evil.same)",
        "CREATE FUNCTION evil.format_type(oid, int) RETURNS text" + raise,
        "CREATE FUNCTION evil.pg_current_xact_id() RETURNS xid8" + raise,
        "CREATE FUNCTION evil.count() RETURNS bigint" + raise,
        "CREATE TABLE evil.pg_class (oid oid)",
        "CREATE TABLE evil.run (finished timestamptz)");
    server.execute("source", "INSERT INTO a VALUES ('clear12345')", "INSERT INTO b TABLE a");
    setOddly();
    String alike = "ff1(alphabet=alphanumeric, scope=a)";
    copy(HEAD + "[public.a]\nid=" + alike + "\n[public.b]\na=" + alike, "--tables", "a,b")
        .expect(ExitCode.DONE);
    forgetSettings();
    assertEquals("t|10", server.row("target", "SELECT id = b.a, length(id) FROM a, b"));
  }

  @Test
  void valuesCrossBetweenEncodings() throws Exception {
    server.create("target");
    server.execute("postgres", "DROP DATABASE IF EXISTS source WITH (FORCE)");
    server.execute("postgres", "CREATE DATABASE source TEMPLATE template0 ENCODING 'LATIN1'");
    for (String database : List.of("source", "target")) {
      server.execute(database, "CREATE TABLE a (x text, y text)");
    }
    server.execute("source", "INSERT INTO a VALUES ('Zoë', 'Zoë')");
    copy(HEAD + "[public.a]\nx=keep y=classes").expect(ExitCode.DONE);
    assertEquals("Zoë|t", server.row("target", "SELECT x, y <> x AND length(y) = 3 FROM a"));
  }

  @Test
  void bytesThatAreNoTextEndTheCopyAndAreNotShown() throws Exception {
    server.execute("postgres", "DROP DATABASE IF EXISTS source WITH (FORCE)");
    server.execute("postgres", "CREATE DATABASE source TEMPLATE template0 ENCODING 'SQL_ASCII'");
    for (String rules : List.of("[public.a]\nx=hash", "[public.a] = keep")) {
      server.create("target");
      server.execute("target", "CREATE TABLE a (x text)");
      server.execute(
          "source",
          "DROP TABLE IF EXISTS a",
          "CREATE TABLE a (x text)",
          "INSERT INTO a VALUES ('fine'), (convert_from('\\x736563726574ff', 'SQL_ASCII'))");
      Run run = copy(HEAD + rules).expect(ExitCode.INPUT_OUTPUT);
      assertFalse(run.err().contains("secret"), run.err());
      assertEquals("0", server.row("target", "SELECT count(*) FROM a"));
    }
  }

  @Test
  void rowsThatATriggerOfTheTargetSwallowsAreMissed() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY)");
    server.execute("source", "INSERT INTO a SELECT generate_series(1, 100)");
    server.execute(
        "target",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS"
            + " 'BEGIN IF NEW.id = 7 THEN RETURN NULL; END IF; RETURN NEW; END'",
        "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW EXECUTE FUNCTION f()",
        "ALTER TABLE a ENABLE ALWAYS TRIGGER t");
    Run run = copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("100 rows were read and 99 written"), run.err());
    assertEquals("0", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void aRuleOfTheTargetRedirectsNothing() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY)", "CREATE TABLE b (id int)");
    server.execute("source", "INSERT INTO a SELECT generate_series(1, 100)");
    server.execute(
        "target", "CREATE RULE r AS ON INSERT TO a DO INSTEAD INSERT INTO b VALUES (NEW.id)");
    copy("[public.a] = keep\n[public.b] = keep").expect(ExitCode.DONE);
    assertEquals(
        "100|0", server.row("target", "SELECT (SELECT count(*) FROM a), (SELECT count(*) FROM b)"));
  }

  @Test
  void whatIsNoTableOfTheTargetIsRefused() throws Exception {
    both();
    for (String table : List.of("a", "b", "c", "d")) {
      server.execute("source", "CREATE TABLE " + table + " (x int)");
    }
    server.execute("source", "CREATE TABLE p (x int) PARTITION BY LIST (x)");
    server.execute(
        "target",
        "CREATE VIEW a AS SELECT 1 AS x",
        "CREATE FOREIGN DATA WRAPPER w",
        "CREATE SERVER s FOREIGN DATA WRAPPER w",
        "CREATE FOREIGN TABLE b (x int) SERVER s",
        "CREATE MATERIALIZED VIEW c AS SELECT 1 AS x",
        "CREATE TABLE p (x int) PARTITION BY LIST (x)",
        "CREATE TABLE d PARTITION OF p FOR VALUES IN (1)",
        "CREATE FOREIGN TABLE far PARTITION OF p FOR VALUES IN (2) SERVER s");
    StringBuilder rules = new StringBuilder();
    StringBuilder refusals = new StringBuilder();
    for (String table : List.of("a", "b", "c", "d")) {
      rules.append("[public.").append(table).append("] = keep\n");
      refusals
          .append("velk: table public.")
          .append(table)
          .append(": the target has no such table\n");
    }
    refusals.append(
        "velk: table public.p: in the target, its partition public.far is a foreign table\n");
    Run run = copy(rules + "[public.p] = keep").expect(ExitCode.USAGE);
    assertTrue(run.err().endsWith(refusals.toString()), run.err());
  }

  @Test
  void rowLevelSecurityOfTheTargetIsRefused() throws Exception {
    both("CREATE TABLE a (x text)");
    server.execute(
        "target",
        "DROP ROLE IF EXISTS bound",
        "CREATE ROLE bound LOGIN",
        "ALTER TABLE a ENABLE ROW LEVEL SECURITY",
        "CREATE POLICY p ON a USING (true)",
        "GRANT ALL ON a TO bound");
    Run run = copyTo(server.url("source"), server.url("bound", "target"), "[public.a] = keep");
    assertTrue(
        run.expect(ExitCode.USAGE).err().contains("row-level security of the target forbids"),
        run.err());
  }

  @Test
  void columnsGoByTheirNamesWhateverTheirOrder() throws Exception {
    both();
    server.execute(
        "source",
        "CREATE TABLE a (gone int, mail text, id int, \"Mail\" text DEFAULT 'd')",
        "ALTER TABLE a DROP COLUMN gone",
        "INSERT INTO a VALUES ('m@x.org', 1, 'kept'), (NULL, 2, NULL)");
    server.execute(
        "target",
        "CREATE TABLE a (\"Mail\" text DEFAULT 'd', id int, other int, mail text DEFAULT 'clear')",
        "ALTER TABLE a DROP COLUMN other");
    copy(HEAD + "[public.a]\nmail=email(domain=example.com) id=keep \"Mail\"=keep")
        .expect(ExitCode.DONE);
    assertEquals(
        List.of("1|kept|t|t", "2|null|null|null"),
        server.rows(
            "target",
            "SELECT id, \"Mail\", mail LIKE '%@example.com', mail <> 'm@x.org' FROM a ORDER BY id"));
  }

  @Test
  void aTableWithoutColumnsIsRefused() throws Exception {
    both("CREATE TABLE a ()", "CREATE TABLE b (x int GENERATED ALWAYS AS (1) STORED)");
    server.execute("source", "INSERT INTO a DEFAULT VALUES");
    String err = copy("[public.a] = keep\n[public.b] = keep").expect(ExitCode.USAGE).err();
    for (String table : List.of("a", "b")) {
      String finding = "table public." + table + ": it has no columns that could be copied";
      assertTrue(err.contains(finding), err);
    }
  }

  @Test
  void aTableHasOneSectionHoweverItIsWritten() throws Exception {
    both(
        "CREATE TABLE a (x text)",
        "CREATE TABLE \"public.a\" (x text)",
        "CREATE TABLE \"A\" (x text)",
        "CREATE TABLE \"a] = keep\" (x text)");
    server.execute(
        "source",
        "INSERT INTO a VALUES ('clear')",
        "INSERT INTO \"public.a\" VALUES ('clear')",
        "INSERT INTO \"A\" VALUES ('clear')",
        "INSERT INTO \"a] = keep\" VALUES ('clear')");
    String rules =
        HEAD
            + """
            [public.a]
            x=hash
            [public."public.a"]
            x=hash
            [ public . "A" ]
            x=hash
            [public."a] = keep"]
            x=hash
            """;
    Run twice = copy(rules + "[\"public\".\"a\"] = keep").expect(ExitCode.USAGE);
    assertEquals("velk: line 10: table public.a has a section already, in line 2\n", twice.err());
    for (String heading :
        List.of("[public.a.x] = keep", "[public] = keep", "[public.a b] = keep")) {
      Run none = copy(rules + heading).expect(ExitCode.USAGE);
      assertTrue(none.err().contains("line 10: no heading of a section"), none.err());
    }
    copy(rules).expect(ExitCode.DONE);
    for (String table : List.of("a", "\"public.a\"", "\"A\"", "\"a] = keep\"")) {
      assertEquals("f", server.row("target", "SELECT x = 'clear' FROM " + table), table);
    }
  }

  @Test
  void twoCopiesDoNotWriteIntoOneTarget() throws Exception {
    both("CREATE TABLE a (x text)");
    List<Run> runs = new ArrayList<>();
    Thread[] threads = new Thread[2];
    String[] arguments =
        arguments(server.url("source"), server.url("target"), "[public.a] = keep")
            .toArray(String[]::new);
    server.execute(
        "source", "INSERT INTO a SELECT repeat('x', 100) FROM generate_series(1, 50000)");
    for (int i = 0; i < threads.length; i++) {
      threads[i] =
          new Thread(
              () -> {
                Run run = Run.velk(arguments);
                synchronized (runs) {
                  runs.add(run);
                }
              });
      threads[i].start();
    }
    for (Thread thread : threads) {
      thread.join();
    }
    assertEquals(
        1, runs.stream().filter(run -> run.exitCode() == ExitCode.DONE).count(), runs.toString());
    assertEquals("50000", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void anotherCopyIsToldApartByItsLock() throws Exception {
    both("CREATE TABLE a (x text)");
    try (Connection connection = server.connect("target");
        Statement statement = connection.createStatement()) {
      statement.execute("SELECT pg_advisory_lock(" + 0x76656c6b_636f7079L + ")");
      Run run = copy("[public.a] = keep").expect(ExitCode.USAGE);
      assertEquals("velk: another copy writes into the target\n", run.err());
    }
  }

  @Test
  void aSchemaThatSomebodyMadeInPlaceOfTheMarksIsNotUsed() throws Exception {
    both("CREATE TABLE a (x text)");
    server.execute("target", "CREATE SCHEMA velk_copy");
    Run run = copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("SQLSTATE 42P06"), run.err());
    server.execute(
        "target",
        "CREATE TABLE velk_copy.run (rules text, key text, engine text, catalogue text, pages bigint,"
            + " started timestamptz, finished timestamptz)");
    Run none = copy("[public.a] = keep", "--resume").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(none.err().contains("are not a copy's"), none.err());
  }

  private static String checksum() {
    String checksum = server.row("target", "SELECT checksum FROM velk_copy.piece");
    server.execute("target", "TRUNCATE a", "DROP SCHEMA velk_copy CASCADE");
    return checksum;
  }

  /** Whoever can make a checksum of clear rows tries values until it is the mark's. */
  @Test
  void rulesWithoutAKeyLeaveNoChecksumThatAnybodyCanMake() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("source", "INSERT INTO a VALUES (1, 'Anna')");
    for (String rule : List.of("null", "fixed('x')")) {
      String rules = "service=s\n[public.a]\nid=keep x=" + rule;
      copy(rules).expect(ExitCode.DONE);
      String first = checksum();
      copy(rules).expect(ExitCode.DONE);
      assertNotEquals(first, checksum(), rule);
    }
    copy("[public.a] = keep").expect(ExitCode.DONE);
    String kept = checksum();
    copy("[public.a] = keep").expect(ExitCode.DONE);
    assertEquals(kept, checksum());
  }

  private static void fillForACopyThatEndsEarly() {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("source", "INSERT INTO a SELECT i, 'Anna' FROM generate_series(1, 3000) i");
    server.execute("target", "ALTER TABLE a ADD CONSTRAINT early CHECK (id < 2500)");
  }

  @Test
  void whatIsDoneWithoutAKeyIsDoneAgain() throws Exception {
    fillForACopyThatEndsEarly();
    String rules = "service=s\n[public.a]\nid=keep x=null";
    copy(rules, "--piece-pages", "4", "--jobs", "1").expect(ExitCode.INPUT_OUTPUT);
    server.execute("target", "ALTER TABLE a DROP CONSTRAINT early");
    copy(rules, "--piece-pages", "4", "--resume").expect(ExitCode.DONE);
    assertEquals("3000|3000|0", server.row("target", "SELECT count(*), sum(1), count(x) FROM a"));
  }

  @Test
  void aCopyIsNotResumedWithAnotherKeyInTheSamePlace() throws Exception {
    fillForACopyThatEndsEarly();
    Path key = Files.writeString(folder.resolve("key"), "one key of 16 bytes or more");
    String rules = "service=s key='file:" + key + "'\n[public.a]\nid=keep x=hash";
    copy(rules, "--piece-pages", "4", "--jobs", "1").expect(ExitCode.INPUT_OUTPUT);
    Files.writeString(key, "another key of 16 bytes or more");
    Run other = copy(rules, "--piece-pages", "4", "--resume").expect(ExitCode.USAGE);
    String told = "the copy that was begun is another one, for it differs in the key\n";
    assertTrue(other.err().endsWith("velk: --resume: " + told), other.err());
  }

  @Test
  void otherWordsInADictionaryAreAnotherCopy() throws Exception {
    fillForACopyThatEndsEarly();
    Path words = Files.writeString(folder.resolve("words"), "one\ntwo\nthree\n");
    String rules = HEAD + "[public.a]\nid=keep x=dict(file='" + words + "')";
    copy(rules, "--piece-pages", "4", "--jobs", "1").expect(ExitCode.INPUT_OUTPUT);
    Files.writeString(words, "one\ntwo\nfour\n");
    Run other = copy(rules, "--piece-pages", "4", "--resume").expect(ExitCode.USAGE);
    String told =
        "the copy that was begun is another one, for it differs in the rules or a dictionary\n";
    assertTrue(other.err().endsWith("velk: --resume: " + told), other.err());
    Files.writeString(words, "one\ntwo\nthree\n");
    server.execute("target", "ALTER TABLE a DROP CONSTRAINT early");
    copy(rules, "--piece-pages", "4", "--resume").expect(ExitCode.DONE);
  }

  /** A session that leaves keys unchecked leaves a deferrable unique constraint unchecked, too. */
  @Test
  void rowsThatADeferrableConstraintWouldRefuseEndTheCopy() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text, y text)");
    server.execute(
        "target", "ALTER TABLE a ADD CONSTRAINT \"No \"\"two\" UNIQUE (y, x) DEFERRABLE");
    server.execute(
        "source",
        "INSERT INTO a VALUES (1, '4111111111111111'), (2, 'wrong'), (3, 'wrong too'), (4, null)");
    String rules = HEAD + "on_error=fixed('z')\n[public.a]\nid=keep x=card y=card";
    server.execute("source", "UPDATE a SET y = '4111111111111111'");
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: table public.a: 2 rows are not unique by constraint \"No \"\"two\"\n", run.err());
    assertEquals("f", server.row("target", "SELECT finished IS NOT NULL FROM velk_copy.run"));
    server.execute("source", "DELETE FROM a WHERE id = 3");
    copy(rules, "--resume").expect(ExitCode.FIELD_ERRORS);
    assertEquals("3", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void aDeferrableConstraintMayTakeNullsForAlike() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    String unique = "ALTER TABLE a ADD UNIQUE NULLS %s DISTINCT (x) DEFERRABLE";
    server.execute("target", unique.formatted(""));
    server.execute("source", "INSERT INTO a VALUES (1, null), (2, null)");
    String rules = HEAD + "[public.a]\nid=keep x=card";
    copy(rules).expect(ExitCode.DONE);
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("target", unique.formatted("NOT"));
    server.execute("source", "INSERT INTO a VALUES (1, null), (2, null)");
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("2 rows are not unique by constraint \"a_x_key\""), run.err());
  }

  @Test
  void rowsThatExcludeEachOtherEndTheCopy() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text, r int4range, p point, live boolean)");
    server.execute(
        "target",
        "ALTER TABLE a ADD CONSTRAINT \"No \"\"?\" EXCLUDE USING hash (lower(x) WITH =)"
            + " WHERE (NOT jsonb '{}' ? x) DEFERRABLE",
        "ALTER TABLE a ADD CONSTRAINT apart EXCLUDE USING gist (r WITH &&, p WITH ~=,"
            + " (int4range(1, 1 + length(x))) WITH &&) WHERE (live) DEFERRABLE INITIALLY DEFERRED",
        "ALTER TABLE a ADD CONSTRAINT at_once EXCLUDE USING gist (p WITH ~=, r WITH =)");
    server.execute(
        "source",
        "INSERT INTO a VALUES (1, 'wrong', '[1,5)', '(0,0)', true), (2, 'b', '[4,8)', '(0,0)', true),"
            + " (3, 'wrong too', '[4,9)', '(0,1)', true), (4, 'd', '[1,9)', '(0,0)', false),"
            + " (5, null, '[1,8)', '(0,2)', true), (6, 'f', '[8,9)', '(0,0)', true)");
    String rules = HEAD + "[public.a]\nid=keep r=keep p=keep live=keep ";
    Run run = copy(rules + "x=card on_error=fixed('z')").expect(ExitCode.INPUT_OUTPUT);
    String told = "\nvelk: table public.a: %d rows exclude each other by constraint \"%s\"\n";
    assertTrue(run.err().endsWith(told.formatted(5, "No \"\"?")), run.err());
    server.execute("target", "DROP SCHEMA velk_copy CASCADE", "DELETE FROM a");
    run = copy(rules + "x=keep").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().endsWith(told.formatted(2, "apart")), run.err());
    server.execute("source", "UPDATE a SET r = '[5,8)' WHERE id = 2");
    copy(rules + "x=keep", "--resume").expect(ExitCode.DONE);
  }

  @Test
  void aKeyThatIsNullInPartEndsTheCopyWhereItMustBeWhole() throws Exception {
    both(
        "CREATE TABLE a (x int, y int, UNIQUE (x, y))",
        "CREATE TABLE b (id int PRIMARY KEY, x int, y int)");
    String key = "ALTER TABLE b ADD FOREIGN KEY (x, y) REFERENCES a (x, y) MATCH ";
    server.execute("target", key + "FULL");
    server.execute("source", key + "SIMPLE");
    server.execute(
        "source",
        "INSERT INTO a VALUES (1, 2)",
        "INSERT INTO b VALUES (1, 1, 2), (2, 1, null), (3, null, null), (4, null, 3)");
    String rules = "[public.a] = keep\n[public.b] = keep";
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: table public.b: 2 rows are null in a part of MATCH FULL foreign key"
            + " \"b_x_y_fkey\"\n",
        run.err());
    server.execute("source", "DELETE FROM b WHERE num_nulls(x, y) = 1");
    copy(rules, "--resume").expect(ExitCode.DONE);
    assertEquals("2", server.row("target", "SELECT count(*) FROM b"));
  }

  @Test
  @Timeout(60)
  void tablesKeepTheirFormWhileTheyAreCopied() throws Exception {
    both("CREATE TABLE a (x text)");
    server.execute(
        "source", "INSERT INTO a SELECT repeat('x', 100) FROM generate_series(1, 100000)");
    String copying = "SELECT FROM pg_stat_activity WHERE query LIKE 'COPY%' AND datname = 'source'";
    Thread changing =
        new Thread(
            () -> {
              while (server.rows("source", copying).isEmpty() && !Thread.interrupted()) {
                Thread.onSpinWait();
              }
              server.execute(
                  "source", "ALTER TABLE a ADD y int DEFAULT 7, ALTER x TYPE varchar(100)");
            });
    changing.start();
    copy(HEAD + "[public.a]\nx=hash", "--piece-pages", "8").expect(ExitCode.DONE);
    changing.interrupt();
    changing.join();
    assertEquals(
        "100000|0",
        server.row("target", "SELECT count(*), count(*) FILTER (WHERE x LIKE 'xxx%') FROM a"));
    assertEquals("7", server.row("source", "SELECT DISTINCT y FROM a"));
  }

  @Test
  @Timeout(60)
  void whoeverWaitsToChangeATableHasTheCopyEndBeforeItBegins() throws Exception {
    both("CREATE TABLE a (x text)");
    AtomicBoolean ended = new AtomicBoolean();
    Thread changing =
        new Thread(
            () -> {
              while (!ended.get()) {
                server.execute("source", "BEGIN; LOCK TABLE a IN ACCESS EXCLUSIVE MODE; COMMIT");
              }
            });
    changing.start();
    try {
      for (int i = 0; i < 5; i++) {
        Run run = copy("[public.a] = keep");
        assertTrue(
            run.exitCode() == ExitCode.DONE || run.err().contains("somebody changes tables"),
            run.err());
        server.create("target");
        server.execute("target", "CREATE TABLE a (x text)");
      }
    } finally {
      ended.set(true);
      changing.join();
    }
  }
}
