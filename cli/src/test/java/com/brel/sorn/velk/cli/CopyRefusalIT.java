package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** What a copy refuses before its first row, and how it ends where the target refuses one. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyRefusalIT extends CopyTests {
  /** Refused with this and nothing else, by the plan alone and by a run, and nothing is written. */
  private void expect(String rules, String... findings) throws IOException {
    StringBuilder all = new StringBuilder();
    for (String finding : findings) {
      all.append("velk: ").append(finding).append('\n');
    }
    assertEquals(all.toString(), copy(rules, "--plan").expect(ExitCode.USAGE).err());
    assertEquals(all.toString(), copy(rules).expect(ExitCode.USAGE).err());
    assertEquals(
        "0", server.row("target", "SELECT count(*) FROM pg_namespace WHERE nspname = 'velk_copy'"));
  }

  @Test
  void everyRefusalIsToldAtOnceWithItsPlace() throws IOException {
    both(
        "CREATE TABLE a (id int PRIMARY KEY, mail varchar(9) NOT NULL UNIQUE, word text NOT NULL)",
        "CREATE TABLE b (id int, a int REFERENCES a(id))",
        "CREATE TABLE c (x text)");
    String rules =
        """
        service=s key=env:MASK_KEY
        on_error=null
        [public.a]
        id=keep
          mail=hash(length=8)
        word=null
        [public.b] a=keep
        [public.b]
        id=keep
        [public.d] = keep
        """;
    expect(
        rules,
        "line 7: no heading of a section: [schema.table], or [schema.table] = keep",
        "line 10: the source has no table public.d",
        "table public.a: column \"mail\" (line 5, column 3): on_error=null would make it null, and the"
            + " column must not be null",
        "table public.a: column \"word\" (line 6, column 1): the rule is null, and the column must not be"
            + " null",
        "table public.a: column \"mail\" (line 5, column 3): hash may give two values the same result, and"
            + " the column is unique by \"a_mail_key\"",
        "table public.b: line 8: there is no rule for column \"a\"");
  }

  @Test
  void aTableWithoutASectionIsRefusedUnlessItIsLeftOut() throws IOException {
    both("CREATE TABLE a (x text)", "CREATE TABLE b (x text)");
    server.execute("source", "INSERT INTO a VALUES ('1')", "INSERT INTO b VALUES ('1')");
    expect(
        HEAD + "[public.a]\nx=hash",
        "table public.b of the source has no section in the rules: [public.b]");
    copy(HEAD + "[public.a]\nx=hash", "--tables", "a").expect(ExitCode.DONE);
    assertEquals(
        "1|0", server.row("target", "SELECT (SELECT count(*) FROM a), (SELECT count(*) FROM b)"));
    Run unknown = copy(HEAD + "[public.a]\nx=hash", "--tables", "a,z").expect(ExitCode.USAGE);
    assertTrue(unknown.err().contains("--tables z: the source has no such table"), unknown.err());
  }

  @Test
  void aResultLongerThanItsColumnIsRefused() throws IOException {
    both("CREATE TABLE a (b varchar(9), c char(7))");
    expect(
        HEAD + "[public.a]\n*=hash(length=20)",
        "table public.a: column \"b\" (line 3, column 1): a result of 20 characters is longer than the"
            + " column, which holds 9",
        "table public.a: column \"c\" (line 3, column 1): a result of 20 characters is longer than the"
            + " column, which holds 7");
    Run named = copy(HEAD + "[public.a]\nb=hash(length=20) c=keep").expect(ExitCode.USAGE);
    assertTrue(named.err().contains("line 3, column 3"), named.err());
    assertTrue(named.err().contains("\"20 > 9\""), named.err());
  }

  @Test
  void aFunctionThatTheTypeDoesNotAllowIsRefused() throws IOException {
    both("CREATE TABLE a (b date)");
    Run run = copy(HEAD + "[public.a]\n b=email(domain=example.com)").expect(ExitCode.USAGE);
    assertTrue(run.err().contains("7314"), run.err());
    assertTrue(run.err().contains("line 3, column 4"), run.err());
  }

  @Test
  void rulesMayBeWrittenAsSomeEditorsDo() throws IOException {
    both("CREATE TABLE a (x text)", "CREATE TABLE b (x text)");
    server.execute("source", "INSERT INTO a VALUES ('1')", "INSERT INTO b VALUES ('1')");
    String rules =
        "\uFEFF[public.a] # as it is\r\nservice=s x=keep\r\n\t[ public . \"b\" ]=keep#\r\n";
    copy(rules).expect(ExitCode.DONE);
    assertSame("SELECT a.x, b.x FROM a, b");
    server.create("target");
    server.execute("target", "CREATE TABLE a (x text)", "CREATE TABLE b (x text)");
    expect(
        rules.replace("x=", "\ty="),
        "table public.a: line 1: there is a rule for column \"y\" (line 2, column 12), and no such"
            + " column",
        "table public.a: line 1: there is no rule for column \"x\"");
  }

  @Test
  void foreignKeysWhoseEndsDifferAreRefused() throws IOException {
    both(
        "CREATE TABLE a (id varchar(20) PRIMARY KEY, no varchar(9) UNIQUE)",
        "CREATE TABLE b (a varchar(20) REFERENCES a(id), no varchar(12) REFERENCES a(no))");
    String alike = "ff1(alphabet=digits, scope=a)";
    expect(
        HEAD
            + "[public.a]\nid="
            + alike
            + " no="
            + alike
            + "\n[public.b]\na=ff1(alphabet=digits) no="
            + alike,
        "table public.b: foreign key \"b_a_fkey\": column \"a\" (line 5, column 1) and public.a, column"
            + " \"id\" (line 3, column 1) are not masked alike: ff1(alphabet=digits) and "
            + alike,
        "table public.b: foreign key \"b_no_fkey\": column \"no\" (line 5, column 24) and public.a, column"
            + " \"no\" (line 3, column 34) are not masked alike: their types differ, character varying(12)"
            + " and character varying(9)");
    Run kept =
        copy(HEAD + "[public.a] = keep\n[public.b]\na=" + alike + " no=keep", "--plan")
            .expect(ExitCode.USAGE);
    assertTrue(kept.err().contains("are not masked alike: " + alike + " and keep"), kept.err());
    Run left = copy(HEAD + "[public.b]\n*=keep", "--tables", "b").expect(ExitCode.USAGE);
    assertTrue(left.err().contains("refers to public.a, which is left out"), left.err());
  }

  @Test
  void keysAreToBeTheSameAtBothEndsOfAForeignKey() throws IOException {
    both("CREATE TABLE a (id text PRIMARY KEY)", "CREATE TABLE b (a text REFERENCES a(id))");
    String rule = "=ff1(alphabet=digits, scope=a)";
    Path key = Files.writeString(folder.resolve("key"), "another key of some bytes");
    Run run =
        copy(
            "service=s\n[public.a]\nkey=env:MASK_KEY id"
                + rule
                + "\n[public.b]\nkey='file:"
                + key
                + "' a"
                + rule);
    assertTrue(run.expect(ExitCode.USAGE).err().contains("their keys differ"), run.err());
  }

  @Test
  void aTargetThatIsNotFitIsRefused() throws IOException {
    both();
    server.execute(
        "source",
        "CREATE TABLE a (x text, y int)",
        "CREATE TABLE b (x text)",
        "CREATE TABLE c (x text)");
    server.execute(
        "target",
        "CREATE TABLE a (x varchar(5), z int)",
        "CREATE TABLE b (x text)",
        "INSERT INTO b VALUES ('')");
    expect(
        "[public.a] = keep\n[public.b] = keep\n[public.c] = keep",
        "table public.a: column \"x\" is text, and is character varying(5) in the target",
        "table public.a: column \"y\" is integer, and is missing in the target",
        "table public.a: column \"z\" is in the target alone",
        "table public.c: the target has no such table",
        "table public.b: the target's is not empty");
  }

  @Test
  void aTargetThatIsTheSourceIsRefusedByWhateverUrl() throws IOException {
    both("CREATE TABLE a (x text)");
    String other = server.url("source").replace("127.0.0.1", "localhost") + "?sslmode=disable";
    Run run = copyTo(server.url("source"), other, "[public.a] = keep").expect(ExitCode.USAGE);
    assertTrue(run.err().contains("the target is the source"), run.err());
  }

  @Test
  void whatNobodyCanJudgeIsAWarningWithAName() throws IOException {
    both(
        "CREATE TABLE a (x text, CONSTRAINT \"is x\" CHECK (x > ''))",
        "CREATE INDEX lower_x ON a (lower(x))",
        "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN RETURN NEW; END'",
        "CREATE TRIGGER touch BEFORE INSERT ON a FOR EACH ROW EXECUTE FUNCTION f()",
        "ALTER TABLE a ENABLE ROW LEVEL SECURITY",
        "CREATE MATERIALIZED VIEW seen AS SELECT 1");
    String err = copy(HEAD + "[public.a]\nx=hash", "--plan").expect(ExitCode.DONE).err();
    for (String what :
        List.of(
            "check \"is x\"",
            "expression index \"lower_x\"",
            "trigger \"touch\"",
            "row-level security")) {
      String warning =
          "warning: table public.a: nobody can judge what masked values mean to " + what;
      assertTrue(err.contains(warning), err);
    }
    assertTrue(err.contains("warning: materialized view public.seen is not copied"), err);
  }

  @Test
  void rowsThatRowLevelSecurityWouldHideAreRefused() throws IOException {
    both("CREATE TABLE a (x text)", "ALTER TABLE a ENABLE ROW LEVEL SECURITY");
    server.execute(
        "source",
        "DROP ROLE IF EXISTS reader",
        "CREATE ROLE reader LOGIN",
        "GRANT SELECT ON a TO reader");
    Run run = copyTo(server.url("reader", "source"), server.url("target"), "[public.a] = keep");
    assertTrue(
        run.expect(ExitCode.USAGE)
            .err()
            .contains("row-level security of the source would hide rows"),
        run.err());
  }

  @Test
  void aRowThatTheTargetRefusesIsToldByItsMaskedKeyAlone() throws IOException {
    both("CREATE TABLE a (id varchar(12) PRIMARY KEY, x text)");
    server.execute(
        "source",
        "INSERT INTO a SELECT lpad(i::text, 9, '0'), 'word' || i FROM generate_series(1, 999) i");
    server.execute("target", "ALTER TABLE a ADD CONSTRAINT few CHECK (x <> 'word777')");
    String rules = HEAD + "[public.a]\nid=ff1(alphabet=digits) x=keep";
    Run run = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    String told = "table public.a: the target refuses the row that has, masked, \"id\" = ";
    assertTrue(run.err().contains(told), run.err());
    assertTrue(
        run.err().contains(": a constraint is violated, constraint \"few\" (SQLSTATE 23514)"),
        run.err());
    assertFalse(run.err().contains("word777") || run.err().contains("000000777"), run.err());
    String key = run.err().replaceAll("(?s).*\"id\" = (\\d+):.*", "$1");
    assertEquals("0", server.row("target", "SELECT count(*) FROM a"));
    server.execute("target", "ALTER TABLE a DROP CONSTRAINT few");
    copy(rules, "--resume").expect(ExitCode.DONE);
    assertEquals("word777", server.row("target", "SELECT x FROM a WHERE id = '" + key + "'"));
  }

  @Test
  void aValueInErrorIsTheRulesToDecide() throws IOException {
    both("CREATE TABLE a (id int PRIMARY KEY, card text)");
    server.execute("source", "INSERT INTO a VALUES (1, '4012888888881881'), (2, 'secret')");
    String rules = HEAD + "[public.a]\nid=keep card=card";
    Run stop = copy(rules).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(stop.err().contains("column \"card\""), stop.err());
    assertFalse(stop.err().contains("secret"), stop.err());
    assertEquals("0", server.row("target", "SELECT count(*) FROM a"));
    both("CREATE TABLE a (id int PRIMARY KEY, card text)");
    server.execute("source", "INSERT INTO a VALUES (1, '4012888888881881'), (2, 'secret')");
    Run run =
        copy(rules + " on_error=null", "--report", "-", "--report-format", "json")
            .expect(ExitCode.FIELD_ERRORS);
    assertEquals("2|1", server.row("target", "SELECT count(*), count(card) FROM a"));
    JsonNode card =
        new ObjectMapper().readTree(run.out()).get("tables").get(0).get("columns").get(1);
    String code = card.get("errors").fieldNames().next();
    assertEquals(1, card.get("errors").get(code).get("count").asInt());
    String text = card.get("errors").get(code).get("text").asText();
    assertFalse(text.isEmpty() || text.contains("secret"), text);
    // A copy that is complete tells of its errors again, from its marks.
    Run again = copy(rules + " on_error=null", "--resume", "--report", "-");
    String line = "table public.a, column \"card\", error " + code + ", 1 value: " + text + "\n";
    assertTrue(again.expect(ExitCode.FIELD_ERRORS).out().endsWith(line), again.out());
  }

  @Test
  void allFaultsOfASectionAreToldAtOnce() throws IOException {
    both("CREATE TABLE a (b text, c text, d date, e text)", "CREATE TABLE f (g text)");
    String rules =
        HEAD
            + """
            [public.a]
            b=kepp
            c=hash(length=)
            d=email(domain=x.org)
            e=card(first=2)
            [public.f]
            g="x
            """;
    String err = copy(rules).expect(ExitCode.USAGE).err();
    for (String fault :
        List.of(
            "table public.a: 7307 unexpected character \")\":\nline 4, column 15 (byte 60)",
            "table public.a: 7301 unknown function \"kepp\":\nline 3, column 3 (byte 41)",
            "line 5, column 3 (byte 64): 7314 the column's type cannot be masked by this function",
            "line 6, column 8 (byte 91): 7302 unknown argument \"first\"",
            "table public.f: 7306 a quoted text does not end \"\"\":\nline 8, column 3 (byte 113)")) {
      assertTrue(err.contains(fault), fault + "\n" + err);
    }
  }

  @Test
  void noPasswordIsEverShown() throws IOException {
    both("CREATE TABLE a (x text)");
    String from = server.url("source").replace("velk@", "velk:s3cret%40@");
    Run run = copyTo(from, server.url("target"), "[public.a] = keep", "--report", "-");
    assertTrue(run.expect(ExitCode.DONE).out().contains("postgresql://velk@127.0.0.1"), run.out());
    assertFalse((run.out() + run.err()).contains("s3cret"), run.err());
    String nowhere = from.replace("/source", "/nowhere");
    Run missing =
        copyTo(nowhere, server.url("target"), "[public.a] = keep").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(missing.err().contains("SQLSTATE 3D000"), missing.err());
    assertFalse(missing.err().contains("s3cret"), missing.err());
    for (String wrong :
        List.of(
            "mysql://x:s3cret@y/z",
            "postgresql://x:s3cret @y/z",
            "postgresql://h/d?password=s3cret")) {
      Run refused = copyTo(wrong, server.url("target"), "").expect(ExitCode.USAGE);
      assertTrue(refused.err().contains("--from: "), refused.err());
      assertFalse(refused.err().contains("s3cret"), refused.err());
    }
    String unread = "postgresql://velk@h:99999/d?sslpassword=s3cret";
    Run quoted = copyTo(unread, server.url("target"), "").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(quoted.err().contains("velk: postgresql://velk@h:99999/d: "), quoted.err());
    assertFalse(quoted.err().contains("s3cret"), quoted.err());
  }

  @Test
  void aCopyThatIsWrongInItsArgumentsIsRefused() throws IOException {
    both("CREATE TABLE a (x text)");
    copy("[public.a] = keep", "--jobs", "0").expect(ExitCode.USAGE);
    copy("[public.a] = keep", "--piece-pages", "0").expect(ExitCode.USAGE);
    Run resumed = copy("[public.a] = keep", "--resume").expect(ExitCode.USAGE);
    assertEquals("velk: --resume: the target has no marks of a copy\n", resumed.err());
    copy("[public.a] = keep").expect(ExitCode.DONE);
    Run again = copy("[public.a] = keep").expect(ExitCode.USAGE);
    assertTrue(again.err().contains("the marks of a copy in schema velk_copy"), again.err());
  }
}
