package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Types, tables and keys of every shape, and targets whose user may do little. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyShapesIT extends CopyTests {
  /** A user of the target who owns nothing and may not leave keys unchecked. */
  private static String plainTarget(String... tables) {
    server.execute(
        "target",
        "DROP ROLE IF EXISTS plain",
        "CREATE ROLE plain LOGIN",
        "GRANT CREATE ON DATABASE target TO plain",
        "GRANT SELECT, INSERT, DELETE ON " + String.join(", ", tables) + " TO plain");
    return server.url("plain", "target");
  }

  private Run copyPlainly(String target, String rules, String... more) throws IOException {
    return copyTo(server.url("source"), target, rules, more);
  }

  @Test
  void whatIsKeptCrossesWhateverItsType() throws IOException {
    both(
        "CREATE TYPE place AS (name text, at point)",
        "CREATE TYPE mood AS ENUM ('a b', '\"', '')",
        "CREATE DOMAIN word AS text CHECK (VALUE <> '')",
        "CREATE DOMAIN short AS word CHECK (length(VALUE) < 9)",
        "CREATE TYPE span AS RANGE (subtype = float8)",
        "CREATE TABLE a (c place, m mood, ms mood[], s short, r span, mr datemultirange, p polygon, v tsvector,"
            + " h bit varying(9), n inet, l int[][], j json, jb jsonb, b bytea, u uuid, i interval, o oid,"
            + " k regclass, t timetz, f float4, x xml, z \"char\", nm name, num numeric)");
    server.execute(
        "source",
        "INSERT INTO a VALUES (ROW('x, \"y\"', '(1,2)'), '\"', ARRAY['', NULL, 'a b']::mood[], 'word', '[1,2)',"
            + " '{[2024-01-01,2024-02-01),[2025-01-01,)}', '((0,0),(1,1),(1,0))', 'a:1 b''s:2', B'0101', '::1/64',"
            + " '{{1,2},{3,NULL}}', '{\"a\" :  1}', '{\"a\": \"\\u00e9\\n\"}', '\\x00ff5c0a', gen_random_uuid(),"
            + " '1 mon -1 day', 7, 'pg_class', '12:00+14', 'NaN', '<a>&amp;</a>', 'z', 'n', '-Infinity')",
        "INSERT INTO a VALUES (ROW(NULL, NULL))",
        "INSERT INTO a VALUES (NULL)");
    copy("[public.a] = keep").expect(ExitCode.DONE);
    assertSame("SELECT a::text FROM a ORDER BY 1");
    both(
        "CREATE DOMAIN word AS varchar(12) CHECK (VALUE <> '')",
        "CREATE DOMAIN code AS word CHECK (VALUE ~ '^[0-9]+$')",
        "CREATE TABLE b (c code NOT NULL UNIQUE, f char(9), kept int[])");
    server.execute(
        "source", "INSERT INTO b VALUES ('0123456789', 'ab', '{1}'), ('9876543210', NULL, NULL)");
    copy(HEAD + "[public.b]\nc=ff1(alphabet=digits) f=classes kept=keep").expect(ExitCode.DONE);
    assertEquals(
        List.of("10|9|2|{1}", "10|null|null|null"),
        server.rows(
            "target",
            "SELECT length(c), octet_length(f), length(f), kept FROM b WHERE c NOT IN ('0123456789', '9876543210')"
                + " ORDER BY f"));
  }

  @Test
  void numbersAtTheEdgeOfTheirTypeStayInIt() throws IOException {
    both("CREATE TABLE a (id int PRIMARY KEY, n numeric(5,2), i smallint)");
    server.execute(
        "source",
        "INSERT INTO a SELECT i, (CASE WHEN i % 2 = 0 THEN -999.99 ELSE 999.99 - i * 0.01 END), (CASE WHEN i % 2 = 0 THEN"
            + " -32768 ELSE 32767 END) FROM generate_series(1, 500) i");
    Run run = copy(HEAD + "[public.a]\nid=keep n=noise(percent=20) i=keep");
    run.expect(ExitCode.DONE);
    assertEquals(
        "500|t|t",
        server.row(
            "target",
            "SELECT count(*), min(n) >= -999.99 AND max(n) <= 999.99, count(DISTINCT n) > 2 FROM a"));
  }

  @Test
  void partitionsBelowPartitionsAndTheDefaultOneAreFilled() throws IOException {
    both(
        "CREATE TABLE a (at date NOT NULL, kind int NOT NULL, who text) PARTITION BY RANGE (at)",
        "CREATE TABLE a1 PARTITION OF a FOR VALUES FROM ('2024-01-01') TO ('2025-01-01') PARTITION BY LIST (kind)",
        "CREATE TABLE a11 PARTITION OF a1 FOR VALUES IN (1)",
        "CREATE TABLE a1d PARTITION OF a1 DEFAULT",
        "CREATE TABLE ad PARTITION OF a DEFAULT",
        "CREATE TABLE c (at date, kind int)");
    server.execute(
        "source",
        "INSERT INTO a SELECT date '2023-12-01' + i, i % 3, 'who ' || i FROM generate_series(0, 600) i");
    copy(HEAD + "[public.a]\nat=keep kind=keep who=hash\n[public.c] = keep").expect(ExitCode.DONE);
    assertSame("SELECT tableoid::regclass, count(*) FROM a GROUP BY 1 ORDER BY 1");
    assertEquals("0", server.row("target", "SELECT count(*) FROM a WHERE who LIKE 'who%'"));
  }

  @Test
  void sequencesFollowWhereverTheyAreUsed() throws IOException {
    both(
        "CREATE SEQUENCE \"Shared \"\"one\"\"\" MAXVALUE 1000",
        "CREATE TABLE a (id int DEFAULT nextval('\"Shared \"\"one\"\"\"'), n serial, i int GENERATED ALWAYS AS IDENTITY)",
        "CREATE TABLE b (id int DEFAULT nextval('\"Shared \"\"one\"\"\"'), i int GENERATED BY DEFAULT AS IDENTITY)");
    server.execute(
        "source",
        "INSERT INTO a DEFAULT VALUES",
        "INSERT INTO b DEFAULT VALUES",
        "INSERT INTO a DEFAULT VALUES",
        "SELECT setval('a_n_seq', 77, false)");
    copy("[public.a] = keep\n[public.b] = keep").expect(ExitCode.DONE);
    for (String sequence : List.of("\"Shared \"\"one\"\"\"", "a_n_seq", "a_i_seq", "b_i_seq")) {
      assertSame("SELECT last_value, is_called FROM " + sequence);
    }
    assertEquals("4|77|3", server.row("target", "INSERT INTO a DEFAULT VALUES RETURNING id, n, i"));
  }

  @Test
  void sequencesThatStayBehindAreNamed() throws IOException {
    both(
        "CREATE SEQUENCE first",
        "CREATE SEQUENCE second",
        "CREATE TABLE a (id int DEFAULT nextval('first') * 1000 + nextval('second'))",
        "CREATE TABLE b (id int)");
    server.execute(
        "source",
        "CREATE SEQUENCE \"Lone one\"",
        "CREATE SEQUENCE named",
        "ALTER TABLE b ALTER id SET DEFAULT nextval('named'::text)",
        "CREATE SEQUENCE gone",
        "CREATE TABLE c (id int DEFAULT nextval('gone'))",
        "SELECT setval('first', 7), setval('second', 70), setval('gone', 700)");
    server.execute("target", "CREATE TABLE c (id int)");
    String rules = "[public.a] = keep\n[public.b] = keep\n[public.c] = keep";
    String told =
        """
        velk: warning: sequence public."Lone one" is no column's, and does not follow
        velk: warning: sequence public.named is no column's, and does not follow
        """;
    assertEquals(told, copy(rules, "--plan").expect(ExitCode.DONE).err());
    assertEquals(
        told
            + "velk: warning: table public.c, column \"id\": the target has no sequence for it that could"
            + " follow public.gone\n",
        copy(rules).expect(ExitCode.DONE).err());
    assertEquals("8071", server.row("target", "INSERT INTO a DEFAULT VALUES RETURNING id"));
  }

  @Test
  void aCircleNeedsAUserWhoMayLeaveKeysUnchecked() throws IOException {
    both(
        "CREATE TABLE a (id int PRIMARY KEY, b int)",
        "CREATE TABLE b (id int PRIMARY KEY, a int REFERENCES a DEFERRABLE INITIALLY DEFERRED)",
        "ALTER TABLE a ADD CONSTRAINT circle FOREIGN KEY (b) REFERENCES b");
    server.execute(
        "source", "INSERT INTO a VALUES (1)", "INSERT INTO b VALUES (1, 1)", "UPDATE a SET b = 1");
    String rules = "[public.a] = keep\n[public.b] = keep";
    String plain = plainTarget("a", "b");
    assertEquals(
        "velk: foreign keys go in a circle among public.a, public.b: the target's user must be allowed to set"
            + " session_replication_role\n",
        copyPlainly(plain, rules).expect(ExitCode.USAGE).err());
    copy(rules).expect(ExitCode.DONE);
    assertEquals("1|1|1|1", server.row("target", "SELECT * FROM a, b"));
  }

  @Test
  void aTableThatRefersToItselfIsOnePieceWhereKeysAreChecked() throws IOException {
    both("CREATE TABLE a (id int PRIMARY KEY, boss int REFERENCES a, pad text)");
    // Bosses stand behind those they lead.
    server.execute(
        "source",
        "INSERT INTO a SELECT i, nullif(i + 1, 3001), repeat('x', 100) FROM generate_series(1, 3000) i");
    copyPlainly(plainTarget("a"), "[public.a] = keep", "--piece-pages", "1").expect(ExitCode.DONE);
    assertEquals("1|3000", server.row("target", "SELECT count(*), sum(rows) FROM velk_copy.piece"));
    assertSame("SELECT count(*), sum(id), sum(boss) FROM a");
  }

  private static void expectNotTakenBack(Run run) {
    String told = run.expect(ExitCode.INPUT_OUTPUT).err();
    assertTrue(
        told.contains("table public.a has changed in the source and others refer to it"), told);
  }

  @Test
  void whatOthersReferToIsNotTakenBackWhereKeysAreChecked() throws IOException {
    String rules = HEAD + "[public.a]\n*=keep\n[public.b]\nid=keep a=keep x=hash";
    both(
        "CREATE TABLE a (id int PRIMARY KEY)",
        "CREATE TABLE b (id int PRIMARY KEY, a int REFERENCES a, x text)");
    server.execute(
        "source",
        "INSERT INTO a SELECT generate_series(1, 3000)",
        "INSERT INTO b SELECT i, i, 'x' || i FROM generate_series(1, 3000) i");
    String plain = plainTarget("a", "b");
    server.execute("target", "ALTER TABLE b ADD CONSTRAINT early CHECK (id < 2500)");
    copyPlainly(plain, rules, "--jobs", "1", "--piece-pages", "4").expect(ExitCode.INPUT_OUTPUT);
    server.execute("target", "ALTER TABLE b DROP CONSTRAINT early");
    server.execute("source", "UPDATE b SET x = 'changed' WHERE id = 5");
    copyPlainly(plain, rules, "--resume", "--piece-pages", "4").expect(ExitCode.DONE);
    assertEquals(
        "3000|3000|3000",
        server.row(
            "target",
            "SELECT count(*), count(DISTINCT b.id), count(DISTINCT a) FROM b JOIN a ON a = a.id"));
    server.execute("target", "UPDATE velk_copy.run SET finished = NULL");
    server.execute(
        "source", "INSERT INTO a VALUES (3001)", "UPDATE a SET id = 3002 WHERE id = 3001");
    Run refused = copyPlainly(plain, rules, "--resume", "--piece-pages", "4");
    expectNotTakenBack(refused);
  }

  /** What is not part of the copy is somebody else's: nothing of it may go. */
  @Test
  void rowsThatWouldTakeOthersWithThemAreNotTakenBack() throws IOException {
    String rules = HEAD + "[public.a]\nid=keep x=hash";
    both(
        "CREATE TABLE a (id int PRIMARY KEY, x text)",
        "CREATE TABLE b (a int REFERENCES a ON DELETE CASCADE)");
    server.execute("source", "INSERT INTO a SELECT i, 'x' || i FROM generate_series(1, 3000) i");
    String plain = plainTarget("a", "b");
    server.execute("target", "ALTER TABLE a ADD CONSTRAINT early CHECK (id < 2500)");
    String[] options = {"--tables", "a", "--jobs", "1", "--piece-pages", "4"};
    copyPlainly(plain, rules, options).expect(ExitCode.INPUT_OUTPUT);
    server.execute(
        "target",
        "ALTER TABLE a DROP CONSTRAINT early",
        "INSERT INTO b SELECT generate_series(1, 100)");
    server.execute("source", "UPDATE a SET x = 'changed' WHERE id = 5");
    List<String> more = new ArrayList<>(List.of(options));
    more.add("--resume");
    Run refused = copyPlainly(plain, rules, more.toArray(String[]::new));
    expectNotTakenBack(refused);
    assertEquals("100", server.row("target", "SELECT count(*) FROM b"));
  }

  @Test
  void aTableThatOthersReferToIsReadByAReader() throws IOException {
    both("CREATE TABLE a (id int PRIMARY KEY)", "CREATE TABLE b (a int REFERENCES a)");
    server.execute(
        "source",
        "INSERT INTO a VALUES (1)",
        "INSERT INTO b VALUES (1)",
        "DROP ROLE IF EXISTS reading",
        "CREATE ROLE reading LOGIN",
        "GRANT SELECT ON a, b TO reading");
    String from = server.url("reading", "source");
    copyTo(from, plainTarget("a", "b"), "[public.a] = keep\n[public.b] = keep")
        .expect(ExitCode.DONE);
    assertEquals("1", server.row("target", "SELECT count(*) FROM a JOIN b ON id = a"));
    server.execute("source", "REVOKE SELECT ON b FROM reading");
    server.create("target");
    server.execute(
        "target", "CREATE TABLE a (id int PRIMARY KEY)", "CREATE TABLE b (a int REFERENCES a)");
    Run none = copyTo(from, server.url("target"), "[public.a] = keep\n[public.b] = keep");
    assertTrue(none.expect(ExitCode.INPUT_OUTPUT).err().contains("permission denied"), none.err());
    assertEquals("null", server.row("target", "SELECT to_regclass('velk_copy.run')"));
  }

  @Test
  void theSourceIsAsItWasToTheLastByteOfItsStatistics() throws IOException {
    both(
        "CREATE TABLE a (id int PRIMARY KEY, x text)",
        "CREATE TABLE b (id serial, a int REFERENCES a)");
    server.execute(
        "source",
        "INSERT INTO a SELECT i, 'x' || i FROM generate_series(1, 5000) i",
        "INSERT INTO b (a) SELECT i FROM generate_series(1, 5000) i",
        "UPDATE a SET x = 'y' WHERE id % 7 = 0",
        "VACUUM ANALYZE",
        "SELECT pg_stat_force_next_flush()");
    String[] state = {
      "SELECT md5(string_agg(a::text || xmin || xmax || ctid, '' ORDER BY id)) FROM a",
      "SELECT relname, n_tup_ins, n_tup_upd, n_tup_del, n_live_tup, n_dead_tup, n_mod_since_analyze, last_vacuum,"
          + " last_autovacuum, last_analyze, last_autoanalyze, vacuum_count, analyze_count FROM pg_stat_user_tables ORDER BY 1",
      "SELECT md5(string_agg(s::text, '' ORDER BY s::text)) FROM pg_stats s WHERE schemaname = 'public'",
      "SELECT oid, relname, relfilenode, relpages, reltuples, relallvisible, relhastriggers FROM pg_class"
          + " WHERE relnamespace <> 'pg_toast'::regnamespace ORDER BY 1",
      "SELECT oid, nspname FROM pg_namespace WHERE nspname !~ 'temp' ORDER BY 1",
      "SELECT count(*), max(oid) FROM pg_proc",
      "SELECT count(*) FROM pg_trigger",
      "SELECT last_value, is_called FROM b_id_seq"
    };
    List<List<String>> before =
        List.of(state).stream().map(sql -> server.rows("source", sql)).toList();
    copyPlainly(server.url("target"), HEAD + "[public.a]\nid=keep x=hash\n[public.b] = keep")
        .expect(ExitCode.DONE);
    for (int i = 0; i < state.length; i++) {
      assertEquals(before.get(i), server.rows("source", state[i]), state[i]);
    }
    assertEquals(
        "0", server.row("source", "SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'"));
  }

  @Test
  void textsOfAnotherNameAreSuggestedToBeMasked() throws Exception {
    both(
        "CREATE EXTENSION citext",
        "CREATE DOMAIN mail AS citext",
        "CREATE DOMAIN code AS varchar(20)",
        "CREATE TABLE a (id citext PRIMARY KEY, code code UNIQUE, email citext, mail mail, phone code,"
            + " names varchar(20)[])");
    server.execute(
        "source", "INSERT INTO a VALUES ('x', 'abcd', 'a@b.c', 'a@b.c', '012345', '{Anna}')");
    String rules = Run.velk("init", "--from", server.url("source")).expect(ExitCode.DONE).out();
    for (String line :
        List.of(
            "id = null  # public.citext, not null, primary key: id = keep",
            "code = null  # public.code (character varying(20)), unique by \"a_code_key\": code ="
                + " ff1(alphabet=alphanumeric)",
            "email = null  # public.citext: email = email(domain=example.com)",
            "mail = null  # public.mail (public.citext): mail = email(domain=example.com)",
            "phone = null  # public.code (character varying(20)): phone = classes",
            "names = null  # character varying(20)[]: names = keep")) {
      assertTrue(rules.lines().toList().contains(line), line + "\n" + rules);
    }
    copy(rules.replaceAll("(?m)^\\S.* = null  # .*: (.* = .*)$", "$1")).expect(ExitCode.DONE);
    assertEquals("{Anna}", server.row("target", "SELECT names FROM a WHERE phone <> '012345'"));
  }
}
