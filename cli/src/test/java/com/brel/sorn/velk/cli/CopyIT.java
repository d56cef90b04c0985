package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Pattern;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/** Copies of a database that has much of what bites. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
class CopyIT {
  private static final String HEAD = "service = shop\nkey = env:MASK_KEY\non_error = stop\n";

  /**
   * Shop's schema: quoted names, composite and self-referring keys, a circle, generated columns.
   */
  private static final String[] SCHEMA = {
    "CREATE TYPE mood AS ENUM ('glad', 'so, so', '')",
    "CREATE DOMAIN phone AS varchar(20) NOT NULL",
    "CREATE SCHEMA \"Other \"\"one\"\"\"",
    "CREATE TABLE customers (id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
        + " account char(12) NOT NULL UNIQUE, name varchar(40) NOT NULL, email text, phone phone,"
        + " born date, seen timestamptz, mood mood, tags text[], extra jsonb, photo bytea,"
        + " stay daterange, score numeric(5,2), shout text GENERATED ALWAYS AS (upper(name)) STORED)",
    "CREATE TABLE orders (customer char(12) NOT NULL REFERENCES customers(account),"
        + " no int NOT NULL, note text, PRIMARY KEY (customer, no))",
    "CREATE TABLE lines (customer char(12), no int, line serial, what text,"
        + " FOREIGN KEY (customer, no) REFERENCES orders(customer, no), PRIMARY KEY (customer, no, line))",
    "CREATE TABLE staff (id int PRIMARY KEY, boss int REFERENCES staff(id), office int, name text)",
    "CREATE TABLE offices (id int PRIMARY KEY, head int NOT NULL REFERENCES staff(id))",
    "ALTER TABLE staff ADD CONSTRAINT circle FOREIGN KEY (office) REFERENCES offices(id)"
        + " DEFERRABLE INITIALLY DEFERRED",
    "CREATE TABLE \"Other \"\"one\"\"\".customers (\"User \"\"x\"\"\" text, \"from\" text)",
    "CREATE TABLE events (at date NOT NULL, who text) PARTITION BY RANGE (at)",
    "CREATE TABLE events_1 PARTITION OF events FOR VALUES FROM ('2024-01-01') TO ('2025-01-01')",
    "CREATE TABLE events_2 PARTITION OF events FOR VALUES FROM ('2025-01-01') TO ('2026-01-01')",
    "CREATE TABLE nothing (id int PRIMARY KEY, word text)",
    "CREATE TABLE one (word text)"
  };

  private static final String[] ROWS = {
    "INSERT INTO customers (account, name, email, phone, born, seen, mood, tags, extra, photo, stay, score)"
        + " SELECT lpad(i::text, 10, '0'), 'Name ' || i, CASE WHEN i % 3 > 0 THEN 'u' || i || '@x.org' END,"
        + " '+49 ' || i, date '1970-01-01' + i, timestamptz '2024-03-31 00:30:00+00' + i * interval '1 minute',"
        + " (ARRAY['glad', 'so, so', ''])[1 + i % 3]::mood, ARRAY['a\"b', NULL, 'c,d'], '{\"k\": [1, null]}',"
        + " '\\x00ff0a'::bytea, daterange('2024-01-01', NULL), 999.99 FROM generate_series(1, 500) i",
    "INSERT INTO orders SELECT account, n, E'line\\n\\\\.\\n' || n FROM customers, generate_series(1, 2) n",
    "INSERT INTO lines (customer, no, what) SELECT customer, no, 'thing' FROM orders",
    "BEGIN; INSERT INTO staff SELECT i, nullif(i / 2, 0), 1, 'Staff ' || i FROM generate_series(1, 100) i;"
        + " INSERT INTO offices VALUES (1, 7); COMMIT",
    "INSERT INTO \"Other \"\"one\"\"\".customers VALUES ('a', NULL), (NULL, ''), ('', E'\\\\.')",
    "INSERT INTO events SELECT date '2024-12-20' + i, 'who ' || i FROM generate_series(0, 30) i",
    "INSERT INTO one VALUES (NULL), (''), (E'\\\\.'), (E'\\uFEFFx'), ('x')"
  };

  private static final String RULES =
      HEAD
          + """
          [public.customers]
          * = keep
          account = ff1(alphabet=digits, scope=account)
          name = classes
          email = email(domain=example.com)
          phone = classes
          born = dateshift(days=30)
          score = noise(percent=5)
          seen = dateshift(days=3)
          [public.orders]
          customer = ff1(alphabet=digits, scope=account)   no = keep
          note = fixed('gone')
          [public.lines]
          customer = ff1(alphabet=digits, scope=account)   * = keep
          [public.staff] = keep
          [public.offices] = keep
          ["Other ""one""\".customers]
          "User \\"x\\"" = classes
          "from" = fixed('\\.')
          [public.events]
          at = keep
          who = hash(length=8)
          [public.nothing]
          * = keep
          [public.one]
          word = hash(length=8)
          """;

  private static TestServer server;

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    server = new TestServer();
    server.create("source");
    server.execute("source", SCHEMA);
    server.execute("source", ROWS);
  }

  @AfterAll
  static void stop() throws Exception {
    server.close();
  }

  @BeforeEach
  void emptyTarget() {
    server.create("target");
    server.execute("target", SCHEMA);
  }

  private Run copy(String rules, String... more) throws IOException {
    return copyOf("source", "target", rules, more);
  }

  private Run copyOf(String from, String to, String rules, String... more) throws IOException {
    Path file = Files.writeString(folder.resolve("shop.rules"), rules);
    List<String> arguments =
        new ArrayList<>(List.of("copy", "--from", server.url(from), "--to", server.url(to)));
    arguments.addAll(List.of("--rules", file.toString()));
    arguments.addAll(List.of(more));
    return Run.velk(arguments.toArray(String[]::new));
  }

  private static void assertSame(String sql) {
    assertEquals(server.rows("source", sql), server.rows("target", sql), sql);
  }

  private static void assertMaskedShop() {
    for (String join :
        new String[] {
          "SELECT count(*) FROM customers c JOIN orders o ON o.customer = c.account",
          "SELECT count(*) FROM orders o JOIN lines l USING (customer, no)",
          "SELECT count(*), count(email), count(DISTINCT account) FROM customers",
          "SELECT count(*) FROM events_1",
          "SELECT count(*), count(word) FROM one"
        }) {
      assertSame(join);
    }
    for (String kept :
        new String[] {
          "SELECT id, mood, tags, extra, photo, stay FROM customers ORDER BY id",
          "SELECT * FROM staff ORDER BY id",
          "SELECT * FROM offices",
          "SELECT at FROM events ORDER BY at",
          "SELECT no, line, what FROM lines ORDER BY line",
          "SELECT last_value, is_called FROM lines_line_seq",
          "SELECT last_value, is_called FROM customers_id_seq",
        }) {
      assertSame(kept);
    }
    for (String column :
        new String[] {"account", "name", "email", "phone::text", "born", "score", "seen"}) {
      String sql =
          "SELECT " + column + " FROM customers WHERE " + column + " IS NOT NULL ORDER BY id";
      List<String> masked = server.rows("target", sql);
      List<String> clear = server.rows("source", sql);
      assertEquals(clear.size(), masked.size());
      for (int i = 0; i < clear.size(); i++) {
        // A permutation has a fixed point now and then.
        if (!column.equals("account")) {
          assertNotEquals(clear.get(i), masked.get(i), column);
        }
      }
      assertNotEquals(clear, masked, column);
    }
    assertEquals(
        "0", server.row("target", "SELECT count(*) FROM customers WHERE shout <> upper(name)"));
    assertEquals("gone", server.row("target", "SELECT DISTINCT note FROM orders"));
    assertEquals(
        List.of("null|\\.", "x|null", "|\\."),
        server
            .rows(
                "target",
                "SELECT regexp_replace(\"User \"\"x\"\"\", '[a-z]', 'x'), \"from\" FROM \"Other \"\"one\"\"\".customers"
                    + " ORDER BY coalesce(\"User \"\"x\"\"\", ' '), 2")
            .stream()
            .sorted()
            .toList());
  }

  @Test
  void aShopIsCopiedMaskedAndItsKeysStillJoin() throws IOException {
    Run run = copy(RULES, "--piece-pages", "2", "--jobs", "3").expect(ExitCode.DONE);
    assertMaskedShop();
    assertTrue(
        run.err().matches("(?s).*public\\.customers +account +ff1.* 500 +500 +0 +0 +0\\n.*"),
        run.err());
  }

  @Test
  void aPlanIsShownAndNothingIsWritten() throws IOException {
    String plan = copy(RULES, "--plan").expect(ExitCode.DONE).out();
    assertTrue(
        plan.matches(
            "(?s).*public.customers +account +character\\(12\\) +no +customers_account_key +ff1.*"),
        plan);
    assertTrue(plan.contains("public.customers [account], masked alike"), plan);
    String order = plan.substring(plan.indexOf("\n1: "));
    assertTrue(order.indexOf("public.customers") < order.indexOf("public.orders"), plan);
    assertTrue(order.indexOf("public.orders") < order.indexOf("public.lines"), plan);
    assertEquals("0", server.row("target", "SELECT count(*) FROM customers"));
    assertEquals("null", server.row("target", "SELECT to_regclass('velk_copy.run')"));
  }

  @Test
  void aValueIsMaskedAsInAFile() throws IOException {
    copy(RULES).expect(ExitCode.DONE);
    Run file =
        Run.mask(
            "service=s key=env:MASK_KEY a=ff1(alphabet=digits, scope=account)", "a\n0000000321\n");
    String masked = file.out().split("\n")[1];
    assertEquals(
        "1",
        server.row(
            "target", "SELECT count(*) FROM orders WHERE customer = '" + masked + "' AND no = 1"));
  }

  @Test
  void aTableThatOthersInheritFromHasItsOwnRowsOnly() throws IOException {
    String[] family = {"CREATE TABLE old (x text)", "CREATE TABLE young (y int) INHERITS (old)"};
    server.create("family");
    server.execute("family", family);
    server.execute(
        "family", "INSERT INTO old VALUES ('1'), ('2')", "INSERT INTO young VALUES ('3', 4)");
    server.create("other");
    server.execute("other", family);
    String rules = HEAD + "[public.old]\nx=hash\n[public.young]\nx=hash y=keep\n";
    Run run = copyOf("family", "other", rules, "-q", "--report", "-", "--report-format", "json");
    JsonNode tables = new ObjectMapper().readTree(run.expect(ExitCode.DONE).out()).get("tables");
    assertEquals(
        "public.old 2", tables.get(0).get("name").asText() + " " + tables.get(0).get("rows"));
    assertEquals(
        "{\"name\":\"x\",\"rule\":\"hash\",\"rows\":2,\"masked\":2,\"nullsKept\":0,\"leftEqual\":0,\"errors\":{}}",
        tables.get(0).get("columns").get(0).toString());
    assertEquals(
        "2|1",
        server.row(
            "other", "SELECT (SELECT count(*) FROM ONLY old), (SELECT count(*) FROM young)"));
  }

  @Test
  void theReportTellsKeysApartAndWhatStayedAsItWas() throws IOException {
    String[] tables = {
      "CREATE TABLE a (x text)", "CREATE TABLE b (x text)", "CREATE TABLE c (x int)"
    };
    server.create("family");
    server.execute("family", tables);
    server.execute("family", "INSERT INTO a VALUES ('-')", "INSERT INTO b VALUES ('1')");
    server.create("other");
    server.execute("other", tables);
    Path key = Files.writeString(folder.resolve("key"), "0123456789abcdef0123456789abcdef");
    Files.setPosixFilePermissions(key, PosixFilePermissions.fromString("rw-r--r--"));
    String rules =
        "service=s\n[public.a]\nkey=file:"
            + key
            + " x=partial(keep_last=1, with='-')\n"
            + "[public.b]\nkey=env:MASK_KEY x=hash\n[public.c]=keep\n";
    Run run = copyOf("family", "other", rules, "--fail-on-unchanged", "--report", "-");
    run.expect(ExitCode.FIELD_ERRORS);
    String open = "velk: warning: others than its owner may read the key file ";
    assertTrue(run.err().startsWith(open), run.err());
    String unchanged = "table public.a, column \"x\": 1 value came out as it went in\n";
    assertTrue(run.err().contains("velk: warning: " + unchanged), run.err());
    List<String> keys =
        run.out().lines().filter(line -> line.contains("key fingerprint: ")).toList();
    assertEquals(2, keys.size());
    assertTrue(keys.get(0).matches("table public.a, key fingerprint: [0-9a-z]{16}"), keys.get(0));
    assertTrue(keys.get(1).matches("table public.b, key fingerprint: [0-9a-z]{16}"), keys.get(1));
    assertNotEquals(keys.get(0).split(": ")[1], keys.get(1).split(": ")[1]);
  }

  @Test
  void whatAnExtensionOrTheServerHoldsIsToldOf() throws IOException {
    server.create("family");
    server.execute(
        "family", "CREATE TABLE a (x oid)", "INSERT INTO a SELECT lo_from_bytea(0, '\\x00')");
    server.create("other");
    server.execute("other", "CREATE TABLE a (x oid)");
    Run run = copyOf("family", "other", "[public.a] = keep").expect(ExitCode.DONE);
    assertTrue(run.err().contains("warning: large objects are not copied"), run.err());
  }

  @Test
  void aTableOfManyRowsIsCopiedInLittleMemory() throws Exception {
    server.create("large");
    server.create("other");
    for (String database : List.of("large", "other")) {
      server.execute(
          database, "CREATE TABLE t (id bigint PRIMARY KEY, name text, mail text, more text)");
    }
    server.execute(
        "large",
        "INSERT INTO t SELECT i, 'Name ' || i, 'u' || i || '@x.org', repeat('x', 150) FROM generate_series(1, 300000) i");
    Path rules =
        Files.writeString(
            folder.resolve("r"),
            HEAD + "[public.t]\nid=keep name=classes mail=email(domain=example.com) more=keep");
    Run run =
        Run.ofItsOwn(
            List.of("-Xmx64m"),
            "copy",
            "--from",
            server.url("large"),
            "--to",
            server.url("other"),
            "-r",
            rules.toString());
    run.expect(ExitCode.DONE);
    assertEquals(
        "300000|300000|45000150000",
        server.row("other", "SELECT count(*), count(DISTINCT id), sum(id) FROM t"));
  }

  /** The blocks of a page in a language. */
  private static List<String> blocks(String page, String language) {
    return Pattern.compile("(?ms)^```" + language + "\\n(.*?)^```$")
        .matcher(page)
        .results()
        .map(block -> block.group(1))
        .toList();
  }

  @Test
  void whatTheDocumentationShowsIsACopy() throws IOException {
    String page = Files.readString(Path.of(System.getProperty("velk.docs"), "databases.md"));
    for (String database : List.of("production", "testing")) {
      server.create(database);
      server.execute(database, blocks(page, "sql").toArray(String[]::new));
    }
    server.execute(
        "production",
        "INSERT INTO customers (account, name, email, born) SELECT lpad(i::text, 8, '0'), 'Zoë ' || i,"
            + " 'z' || i || '@x.org', date '1980-01-01' + i FROM generate_series(1, 100) i",
        "INSERT INTO orders SELECT account, 1, 10.50 FROM customers",
        "INSERT INTO countries VALUES ('DE', 'Germany')");
    server.execute("postgres", "DROP ROLE IF EXISTS reader", "DROP ROLE IF EXISTS owner");
    server.execute("production", blocks(page, "sql source").toArray(String[]::new));
    String grants = blocks(page, "sql target").get(0);
    server.execute("testing", grants.replace("DATABASE shop", "DATABASE testing"));
    Path rules = Files.writeString(folder.resolve("shop.rules"), blocks(page, "rules").get(0));
    List<String> commands =
        String.join("", blocks(page, "sh"))
            .lines()
            .filter(line -> line.startsWith("velk "))
            .toList();
    assertEquals(3, commands.size());
    for (String command : commands) {
      String made =
          command
              .replace("postgresql://reader@production/shop", server.url("reader", "production"))
              .replace("postgresql://owner@testing/shop", server.url("owner", "testing"))
              .replace("shop.rules", rules.toString());
      Run.velk(made.substring("velk ".length()).split(" ")).expect(ExitCode.DONE);
    }
    assertEquals(
        "100|0|1",
        server.row(
            "testing",
            "SELECT (SELECT count(*) FROM orders JOIN customers ON customer = account),"
                + " (SELECT count(*) FROM customers WHERE email NOT LIKE '%@example.com'),"
                + " (SELECT count(*) FROM countries WHERE name = 'Germany')"));
  }

  @Test
  void rulesToStartFromAreWrittenOfTheCatalogue() throws IOException {
    Run run = Run.velk("init", "--from", server.url("source")).expect(ExitCode.DONE);
    String scope = "ff1(alphabet=alphanumeric, scope='public.customers.account')";
    for (String line :
        List.of(
            "[public.customers]",
            "[\"Other \"\"one\"\"\".customers]",
            "\"User \\\"x\\\"\" = null  # text: \"User \\\"x\\\"\" = classes",
            "id = null  # bigint, not null, primary key: id = keep",
            "account = null  # character(12), not null, unique by \"customers_account_key\": account = "
                + scope,
            "customer = null  # character(12), not null, primary key, refers to public.customers.account: customer = "
                + scope,
            "born = null  # date: born = dateshift(days=30)",
            "score = null  # numeric(5,2): score = noise(percent=10)",
            "email = null  # text: email = email(domain=example.com)",
            "tags = null  # text[]: tags = keep")) {
      assertTrue(run.out().lines().toList().contains(line), line + "\n" + run.out());
    }
    assertFalse(run.out().contains("shout"), run.out());
    // As it is, everything that must not be null is refused, and nothing else.
    Run plan = copy(run.out(), "--plan").expect(ExitCode.USAGE);
    assertTrue(
        plan.err()
            .lines()
            .allMatch(line -> line.matches("velk: .*(must not be null|same result.*unique).*")),
        plan.err());
    String suggested =
        run.out()
            .replaceAll("(?m)^\\S.* = null  # .*: (.* = .*)$", "$1")
            .replaceAll("(?m)^\"User .*: ", "");
    copy(suggested).expect(ExitCode.DONE);
    assertSame("SELECT count(*) FROM orders JOIN customers ON customer = account");
  }

  @Test
  void aRulesFileThatExistsIsNotWrittenOver() throws IOException {
    Path rules = Files.writeString(folder.resolve("mine"), "mine");
    String from = server.url("source");
    Run.velk("init", "--from", from, rules.toString()).expect(ExitCode.INPUT_OUTPUT);
    assertEquals("mine", Files.readString(rules));
    Run.velk("init", "--force", "--from", from, rules.toString()).expect(ExitCode.DONE);
    assertTrue(Files.readString(rules).contains("[public.staff]"));
    Run.velk("init", "--from", from, "in.csv", rules.toString()).expect(ExitCode.USAGE);
    Run.velk("init", "--from", "nonsense").expect(ExitCode.USAGE);
  }
}
