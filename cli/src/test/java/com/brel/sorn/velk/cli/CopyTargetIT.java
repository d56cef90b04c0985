package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Targets that are made otherwise than the source, and users who may do less in them. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyTargetIT extends CopyTests {
  /** Makes a user of the target who may not leave keys unchecked. */
  private static String plainUser(String... tables) {
    server.execute(
        "target",
        "DROP ROLE IF EXISTS plain",
        "CREATE ROLE plain LOGIN",
        "GRANT ALL ON DATABASE target TO plain",
        "GRANT ALL ON " + String.join(", ", tables) + " TO plain");
    return server.url("plain", "target");
  }

  @Test
  void anotherUserWhoResumesACopyWritesNoRowTwice() throws Exception {
    both("CREATE TABLE a (id int, boss int, x text)");
    server.execute(
        "source",
        "ALTER TABLE a ADD PRIMARY KEY (id)",
        "ALTER TABLE a ADD FOREIGN KEY (boss) REFERENCES a (id)",
        "INSERT INTO a SELECT i, greatest(1, i - 1), 'word' FROM generate_series(1, 2000) i");
    String rules = HEAD + "[public.a]\nid=keep boss=keep x=hash";
    copy(rules, "--piece-pages", "2").expect(ExitCode.DONE);
    for (String page : List.of("0", "6")) {
      server.execute(
          "target",
          "DELETE FROM a WHERE xmin::text = (SELECT transaction FROM velk_copy.piece WHERE from_page = "
              + page
              + ")",
          "DELETE FROM velk_copy.piece WHERE from_page = " + page);
    }
    String plain = plainUser("a");
    server.execute(
        "target",
        "UPDATE velk_copy.run SET finished = NULL",
        "GRANT ALL ON SCHEMA velk_copy TO plain",
        "GRANT ALL ON ALL TABLES IN SCHEMA velk_copy TO plain");
    copyTo(server.url("source"), plain, rules, "--resume", "--piece-pages", "2")
        .expect(ExitCode.DONE);
    assertEquals("2000|2000", server.row("target", "SELECT count(*), count(DISTINCT id) FROM a"));
  }

  private static void makePartitions() {
    both(
        "CREATE TABLE p (i int PRIMARY KEY)",
        "CREATE TABLE c (k int, p int) PARTITION BY LIST (k)",
        "CREATE TABLE c1 PARTITION OF c FOR VALUES IN (1)",
        "CREATE TABLE c2 PARTITION OF c FOR VALUES IN (2)",
        "ALTER TABLE c1 ADD CONSTRAINT one FOREIGN KEY (p) REFERENCES p");
    server.execute("source", "INSERT INTO p VALUES (1)", "INSERT INTO c VALUES (1, 1), (2, 7)");
  }

  @Test
  void eachPartitionHasItsOwnForeignKeysChecked() throws Exception {
    makePartitions();
    String rules = "[public.p] = keep\n[public.c] = keep";
    copy(rules).expect(ExitCode.DONE);
    makePartitions();
    for (String database : List.of("source", "target")) {
      server.execute(
          database, "ALTER TABLE c2 ADD CONSTRAINT two FOREIGN KEY (p) REFERENCES p NOT VALID");
    }
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    String told = "table public.c: 1 rows are without their parent in foreign key \"two\"\n";
    assertTrue(run.err().endsWith(told), run.err());
  }

  @Test
  void aForeignKeyOfAPartitionThatTheTargetHasNotIsRefused() throws Exception {
    makePartitions();
    server.execute("target", "DROP TABLE c1, c2", "CREATE TABLE d PARTITION OF c DEFAULT");
    Run run = copy("[public.p] = keep\n[public.c] = keep").expect(ExitCode.USAGE);
    assertEquals(
        "velk: table public.c: foreign key \"one\" names public.c1, which is missing in the target\n",
        run.err());
  }

  @Test
  void whatPartitionsHaveOfTheirOwnIsPlannedFor() throws Exception {
    both(
        "CREATE TABLE c (k int, x text, y text, z text) PARTITION BY LIST (k)",
        "CREATE TABLE c1 PARTITION OF c FOR VALUES IN (1) PARTITION BY LIST (k)",
        "CREATE TABLE c2 PARTITION OF c1 FOR VALUES IN (1)");
    server.execute(
        "source",
        "ALTER TABLE c1 ALTER x SET NOT NULL",
        "CREATE UNIQUE INDEX own ON c2 (y)",
        "DROP ROLE IF EXISTS bound",
        "CREATE ROLE bound LOGIN",
        "GRANT SELECT ON ALL TABLES IN SCHEMA public TO bound",
        "ALTER TABLE c2 ENABLE ROW LEVEL SECURITY",
        "CREATE POLICY part ON c2 USING (k > 1)");
    server.execute(
        "target",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN RETURN NEW; END'",
        "CREATE TRIGGER late AFTER INSERT ON c2 FOR EACH ROW EXECUTE FUNCTION f()",
        "ALTER TABLE c2 ADD CONSTRAINT few CHECK (k < 9)",
        "CREATE INDEX lowered ON c2 (lower(z))");
    String rules = HEAD + "[public.c]\nk=keep z=hash ";
    Run run = copyTo(server.url("bound", "source"), server.url("target"), rules + "x=null y=hash");
    assertEquals(
        """
        velk: table public.c: row-level security of the source would hide rows of its partition public.c2
        velk: table public.c: column "x" (line 3, column 15): the rule is null, and the column must not be null
        velk: table public.c: column "y" (line 3, column 22): hash may give two values the same result, and the column is unique by "own"
        """,
        run.expect(ExitCode.USAGE).err());
    Run fine = copy(rules + "x=hash y=ff1(alphabet=digits)").expect(ExitCode.DONE);
    for (String what :
        List.of("trigger \"late\"", "check \"few\"", "expression index \"lowered\"")) {
      assertTrue(fine.err().contains("what masked values mean to " + what + "\n"), fine.err());
    }
  }

  @Test
  void aTypeOfOtherAttributesIsAnotherOne() throws Exception {
    both("CREATE TYPE t AS (a text, \"B\" varchar(3))", "CREATE TABLE a (x t, y t[], z text[])");
    server.execute("source", "INSERT INTO a VALUES (('a', 'b'), ARRAY[('a', 'b')::t], '{z}')");
    copy("[public.a] = keep").expect(ExitCode.DONE);
    assertEquals("a|b|z", server.row("target", "SELECT (x).a, (y[1]).\"B\", z[1] FROM a"));
    server.create("target");
    server.execute(
        "target",
        "CREATE TYPE t AS (\"B\" varchar(3), a text)",
        "CREATE TABLE a (x t, y t[], z text[])");
    String is = "(a text, \"B\" character varying(3)), and is public.t";
    String found = "(\"B\" character varying(3), a text) in the target\n";
    assertEquals(
        "velk: table public.a: column \"x\" is public.t "
            + is
            + " "
            + found
            + "velk: table public.a: column \"y\" is public.t[] "
            + is
            + "[] "
            + found,
        copy("[public.a] = keep").expect(ExitCode.USAGE).err());
  }

  @Test
  void aSequenceThatCannotFollowIsNamedAndFollowsOnceItCan() throws Exception {
    both("CREATE TABLE a (id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY)");
    server.execute(
        "source", "INSERT INTO a DEFAULT VALUES", "SELECT setval('a_id_seq', 5000000000)");
    server.execute("target", "ALTER SEQUENCE a_id_seq AS int");
    assertEquals(
        "velk: sequence public.a_id_seq of the target cannot follow: a value is refused (SQLSTATE"
            + " 22003)\n",
        copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT).err());
    server.execute("target", "ALTER SEQUENCE a_id_seq AS bigint");
    copy("[public.a] = keep", "--resume").expect(ExitCode.DONE);
    assertEquals("5000000001", server.row("target", "SELECT nextval('a_id_seq')"));
  }

  @Test
  @Timeout(60)
  void whatATriggerHasToSayOfEachRowIsNotWaitedFor() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY)");
    server.execute("source", "INSERT INTO a SELECT generate_series(1, 60000)");
    server.execute(
        "target",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS"
            + " $$BEGIN RAISE NOTICE 'row %', NEW.id; RETURN NEW; END$$",
        "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW EXECUTE FUNCTION f()",
        "ALTER TABLE a ENABLE ALWAYS TRIGGER t");
    copy("[public.a] = keep").expect(ExitCode.DONE);
    assertEquals("60000", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void aValueThatNamesWhatTheTargetHasNotIsNotShown() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x regclass, y regrole)");
    server.execute(
        "source",
        "CREATE TABLE secret (x int)",
        "INSERT INTO a SELECT i, CASE i WHEN 7 THEN regclass 'secret' END FROM generate_series(1, 9) i");
    Run run = copy("[public.a] = keep", "--tables", "a").expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: table public.a: the target refuses the row that has, masked, \"id\" = 7: a value is"
            + " refused (SQLSTATE 42P01)\n",
        run.err());
  }

  @Test
  void whatATypeWouldQuietlyCutIsRefused() throws Exception {
    both("CREATE TABLE a (x name, y \"char\", z name)");
    server.execute("source", "INSERT INTO a VALUES ('Anna', 'A', 'Bert')");
    Run run = copy(HEAD + "[public.a]\nx=hash(length=64) y=hash z=hash(length=63)");
    assertEquals(
        "velk: table public.a: column \"x\" (line 3, column 1): a result of 64 characters is longer"
            + " than the column, which holds 63\n"
            + "velk: table public.a: column \"y\" (line 3, column 19): a result of 32 characters is"
            + " longer than the column, which holds 1\n",
        run.expect(ExitCode.USAGE).err());
    copy(HEAD + "[public.a]\nx=classes y=keep z=hash(length=63)").expect(ExitCode.DONE);
    assertEquals("t|A|63", server.row("target", "SELECT x <> 'Anna', y, length(z::text) FROM a"));
  }

  @Test
  void aRowWhoseParentComesLaterIsNotTakenForTheOneThatIsRefused() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, boss int, x text)");
    server.execute(
        "source", "INSERT INTO a SELECT i, 1001 - i, 'word' || i FROM generate_series(1, 1000) i");
    server.execute(
        "target",
        "ALTER TABLE a ADD CONSTRAINT boss FOREIGN KEY (boss) REFERENCES a",
        "ALTER TABLE a ADD CONSTRAINT few CHECK (x <> 'word777')");
    String plain = plainUser("a");
    Run check = copyTo(server.url("source"), plain, "[public.a] = keep");
    assertTrue(
        check
            .expect(ExitCode.INPUT_OUTPUT)
            .err()
            .endsWith(
                "the row that has, masked, \"id\" = 777: a constraint is violated, constraint"
                    + " \"few\" (SQLSTATE 23514)\n"),
        check.err());
    server.execute("target", "ALTER TABLE a DROP CONSTRAINT few");
    server.execute("source", "UPDATE a SET boss = 0 WHERE id = 777");
    Run orphan = copyTo(server.url("source"), plain, "[public.a] = keep", "--resume");
    assertTrue(
        orphan
            .expect(ExitCode.INPUT_OUTPUT)
            .err()
            .endsWith(
                "the target refuses rows of a piece together: a constraint is violated, constraint"
                    + " \"boss\" (SQLSTATE 23503)\n"),
        orphan.err());
  }

  @Test
  void aDomainOfAnotherTypeIsAnotherOne() throws Exception {
    both();
    server.execute("source", "CREATE DOMAIN at AS timestamptz(3)", "CREATE TABLE a (x at, y at[])");
    server.execute("target", "CREATE DOMAIN at AS timestamp(3)", "CREATE TABLE a (x at, y at[])");
    String is = " (timestamp(3) with time zone), and is public.at";
    String found = " (timestamp(3) without time zone) in the target\n";
    assertEquals(
        "velk: table public.a: column \"x\" is public.at"
            + is
            + found
            + "velk: table public.a: column \"y\" is public.at[]"
            + is
            + "[]"
            + found,
        copy("[public.a] = keep").expect(ExitCode.USAGE).err());
  }

  @Test
  void aTypeOfOtherTypesIsAnotherOneHoweverDeepTheyAre() throws Exception {
    both();
    for (String database : List.of("source", "target")) {
      String type = database.equals("source") ? "timestamptz" : "date";
      server.execute(
          database,
          "CREATE DOMAIN d AS " + type,
          "CREATE TYPE c AS (a d[])",
          "CREATE TYPE n AS (c c)",
          "CREATE TYPE r AS RANGE (subtype = " + type + ", multirange_type_name = m)",
          "CREATE TABLE a (x n, y r, z m[], u int4range)");
    }
    String text =
        """
        velk: table public.a: column "x" is public.n (c public.c) (a public.d[]) (ZONED), \
        and is public.n (c public.c) (a public.d[]) (date) in the target
        velk: table public.a: column "y" is public.r (ZONED), and is public.r (date) in the target
        velk: table public.a: column "z" is public.m[] (ZONED), and is public.m[] (date) in the target
        """;
    assertEquals(
        text.replace("ZONED", "timestamp with time zone"),
        copy("[public.a] = keep").expect(ExitCode.USAGE).err());
  }

  @Test
  void rowsOfTablesThatInheritAreNeitherChildrenNorParents() throws Exception {
    both(
        "CREATE TABLE p (id int PRIMARY KEY)",
        "CREATE TABLE q () INHERITS (p)",
        "CREATE TABLE a (p int)",
        "CREATE TABLE b () INHERITS (a)",
        "ALTER TABLE a ADD CONSTRAINT own FOREIGN KEY (p) REFERENCES p NOT VALID");
    server.execute(
        "source",
        "INSERT INTO p VALUES (1)",
        "INSERT INTO q VALUES (2)",
        "INSERT INTO a VALUES (1)",
        "INSERT INTO b VALUES (3)");
    String rules = "[public.p] = keep\n[public.q] = keep\n[public.a] = keep\n[public.b] = keep";
    copy(rules).expect(ExitCode.DONE);
    server.execute("target", "DROP SCHEMA velk_copy CASCADE", "TRUNCATE p, a CASCADE");
    server.execute("source", "SET session_replication_role = replica", "INSERT INTO a VALUES (2)");
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: table public.a: 1 rows are without their parent in foreign key \"own\"\n",
        run.err());
  }

  @Test
  void whatOneUserLeftUncheckedIsCheckedWhereAnotherOneResumes() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("target", "ALTER TABLE a ADD UNIQUE (x) DEFERRABLE");
    server.execute("source", "INSERT INTO a VALUES (1, 'twice'), (2, 'twice')");
    String told = "velk: table public.a: 2 rows are not unique by constraint \"a_x_key\"\n";
    assertEquals(told, copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT).err());
    String plain = plainUser("a");
    server.execute(
        "target",
        "GRANT ALL ON SCHEMA velk_copy TO plain",
        "GRANT ALL ON ALL TABLES IN SCHEMA velk_copy TO plain");
    Run run = copyTo(server.url("source"), plain, "[public.a] = keep", "--resume");
    assertEquals(told, run.expect(ExitCode.INPUT_OUTPUT).err());
  }

  @Test
  void whatATriggerRaisesIsNotShownWhateverItsState() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("source", "INSERT INTO a VALUES (1, 'Anna')");
    server.execute(
        "target",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS"
            + " $$BEGIN RAISE '% is not allowed', NEW.x USING ERRCODE = TG_ARGV[0]; END$$");
    for (String state : List.of("42501", "55000", "57014", "0A000")) {
      server.execute(
          "target",
          "DROP SCHEMA IF EXISTS velk_copy CASCADE",
          "DROP TRIGGER IF EXISTS t ON a",
          "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW EXECUTE FUNCTION f('" + state + "')",
          "ALTER TABLE a ENABLE ALWAYS TRIGGER t");
      Run run = copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT);
      String told = "the row that has, masked, \"id\" = 1: a value is refused (SQLSTATE " + state;
      assertTrue(run.err().endsWith(told + ")\n"), run.err());
    }
  }

  @Test
  void rowsThatAServerWouldReadInParallelAreKnownAgain() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute(
        "source",
        "INSERT INTO a SELECT i, repeat('x', 50) FROM generate_series(1, 200000) i",
        "ANALYZE a",
        "ALTER DATABASE source SET enable_tidscan = off",
        "ALTER DATABASE source SET parallel_setup_cost = 0",
        "ALTER DATABASE source SET parallel_tuple_cost = 0",
        "ALTER DATABASE source SET min_parallel_table_scan_size = 0");
    copy("[public.a] = keep").expect(ExitCode.DONE);
    String pieces = "SELECT from_page, transaction FROM velk_copy.piece ORDER BY 1";
    List<String> before = server.rows("target", pieces);
    server.execute("target", "UPDATE velk_copy.run SET finished = NULL");
    copy("[public.a] = keep", "--resume").expect(ExitCode.DONE);
    assertEquals(before, server.rows("target", pieces));
  }

  @Test
  void aServerThatQuotesAllNamesHasTheSameTypes() throws Exception {
    both(
        "CREATE TYPE mood AS ENUM ('glad')",
        "CREATE TABLE a (m mood UNIQUE)",
        "CREATE TABLE b (m mood REFERENCES a (m))");
    server.execute("target", "ALTER DATABASE target SET quote_all_identifiers = on");
    server.execute("source", "INSERT INTO a VALUES ('glad')", "INSERT INTO b VALUES ('glad')");
    copy("[public.a] = keep\n[public.b] = keep").expect(ExitCode.DONE);
    assertSame("SELECT a.m, b.m FROM a, b");
  }

  @Test
  void aValueThatAFunctionTakesForANameIsNotShown() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY, x text)");
    server.execute("source", "INSERT INTO a VALUES (1, 'anna')");
    server.execute(
        "target",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS"
            + " $$BEGIN EXECUTE 'SELECT ' || NEW.x; RETURN NEW; END$$",
        "CREATE FUNCTION g(t text) RETURNS boolean LANGUAGE sql IMMUTABLE AS"
            + " $$SELECT t::regclass IS NOT NULL$$");
    String late = "CREATE CONSTRAINT TRIGGER t AFTER INSERT ON a DEFERRABLE INITIALLY DEFERRED";
    for (String code :
        List.of(
            "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW EXECUTE FUNCTION f()",
            late + " FOR EACH ROW EXECUTE FUNCTION f()",
            "ALTER TABLE a ADD CHECK (g(x))")) {
      server.execute(
          "target",
          "DROP SCHEMA IF EXISTS velk_copy CASCADE",
          "DROP TRIGGER IF EXISTS t ON a",
          code);
      if (code.contains("TRIGGER")) {
        server.execute("target", "ALTER TABLE a ENABLE ALWAYS TRIGGER t");
      }
      Run run = copy("[public.a] = keep").expect(ExitCode.INPUT_OUTPUT);
      assertTrue(run.err().contains("a value is refused (SQLSTATE 42"), run.err());
      assertFalse(run.err().contains("anna"), run.err());
    }
  }
}
