package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * Copies between PostgreSQL, MariaDB and H2, in a virtual machine whose clock is changed at times.
 */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its servers are this machine's")
class CopyJdbcIT {
  private static final List<String> ELSEWHERE = List.of("-Duser.timezone=America/New_York");
  private static final int ROWS = 300;

  /**
   * What a database writes in its own way.
   *
   * @param schema what its tables are in
   * @param types of a counted key, a long text, an instant, a clock, bytes; and a quote of names
   */
  private record Make(
      String name, TestDatabases databases, String schema, List<String> types, String quote) {
    String quoted(String identifier) {
      return quote + identifier.replace(quote, quote + quote) + quote;
    }

    /** Instants as seconds, and bytes in hexadecimal. */
    String kept() {
      String instant = name.equals("mariadb") ? "UNIX_TIMESTAMP(seen)" : "EXTRACT(EPOCH FROM seen)";
      String bytes =
          switch (name) {
            case "mariadb" -> "LOWER(HEX(photo))";
            case "h2" -> "LOWER(RAWTOHEX(photo))";
            default -> "encode(photo, 'hex')";
          };
      return "SELECT id, CAST("
          + instant
          + " AS DECIMAL(20,6)), CAST(met AS CHAR(23)), size, weight, "
          + bytes
          + " FROM customers ORDER BY id";
    }

    @Override
    public String toString() {
      return name;
    }
  }

  private static final Map<String, Make> MAKES = new TreeMap<>();

  /** What a row became, wherever it was copied to. */
  private static final Map<String, String> MASKED = new TreeMap<>();

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    make(
        "postgres",
        new TestServer(),
        "public",
        "\"",
        "bigint GENERATED ALWAYS AS IDENTITY",
        "text",
        "timestamptz(6)",
        "timestamp(3)",
        "bytea",
        "double precision");
    make(
        "mariadb",
        new MariaDbServer(),
        "source",
        "`",
        "bigint AUTO_INCREMENT",
        "text",
        "timestamp(6) NULL",
        "datetime(3)",
        "blob",
        "double");
    make(
        "h2",
        new H2Files(),
        "PUBLIC",
        "\"",
        "bigint GENERATED ALWAYS AS IDENTITY",
        "clob",
        "timestamp(6) with time zone",
        "timestamp(3)",
        "blob",
        "double precision");
    for (Make make : MAKES.values()) {
      make.databases.create("source");
      make.databases.execute("source", schema(make));
      make.databases.execute("source", rows(make));
    }
  }

  private static void make(
      String name, TestDatabases databases, String schema, String quote, String... types) {
    MAKES.put(name, new Make(name, databases, schema, List.of(types), quote));
  }

  @AfterAll
  static void stop() throws Exception {
    for (Make make : MAKES.values()) {
      make.databases.close();
    }
    MAKES.clear();
    MASKED.clear();
  }

  private static String[] schema(Make make) {
    List<String> types = make.types;
    String orders = make.quoted("Order \"s` %_");
    return new String[] {
      "CREATE TABLE customers (id "
          + types.get(0)
          + " PRIMARY KEY, account char(12) NOT NULL UNIQUE,"
          + " name varchar(40) NOT NULL, email "
          + types.get(1)
          + ", born date, seen "
          + types.get(2)
          + ", met "
          + types.get(3)
          + ", score decimal(5,2), size smallint, weight "
          + types.get(5)
          + ", photo "
          + types.get(4)
          + ", shout varchar(40) GENERATED ALWAYS AS (upper(name))"
          + (make.name.equals("h2") ? ")" : " STORED)"),
      "CREATE TABLE "
          + orders
          + " (customer char(12) NOT NULL, no int NOT NULL, "
          + make.quoted("no\"te`")
          + " varchar(80), PRIMARY KEY (customer, no),"
          + " FOREIGN KEY (customer) REFERENCES customers(account))",
      "CREATE TABLE order_lines (customer char(12), no int, line int, PRIMARY KEY (customer, no, line),"
          + " CONSTRAINT ofOrder FOREIGN KEY (customer, no) REFERENCES "
          + orders
          + " (customer, no))",
      "CREATE TABLE staff (id int PRIMARY KEY, boss int, name varchar(20), FOREIGN KEY (boss) REFERENCES staff(id))",
      "CREATE TABLE nothing (id int PRIMARY KEY, word varchar(9))",
      "CREATE TABLE words (word varchar(20))"
    };
  }

  private static String[] rows(Make make) {
    String orders = make.quoted("Order \"s` %_");
    List<String> all = new ArrayList<>();
    for (int i = 1; i <= ROWS; i++) {
      String at = String.format("%02d:%02d:30", 6 + i / 60, i % 60);
      String zone = make.name.equals("mariadb") ? "" : "+00";
      String account = String.format("%010d", i);
      all.add(
          "INSERT INTO customers (account, name, email, born, seen, met, score, size, weight, photo)"
              + " VALUES ('"
              + account
              + "', 'Näme "
              + i
              + "', "
              + (i % 3 == 0 ? "NULL" : i % 3 == 1 ? "''" : "'u" + i + "@x.org'")
              + ", '1980-02-28', '2024-03-10 "
              + at
              + ".123456"
              + zone
              + "', '2024-03-10 02:30:00.123', "
              + (i % 2 == 0 ? "-" : "")
              + "999.99, -32768, 0.1, "
              + (make.name.equals("postgres") ? "'\\x00ff27'" : "X'00ff27'")
              + ")");
      all.add(
          "INSERT INTO "
              + orders
              + " VALUES ('"
              + account
              + "', 1, 'x'), ('"
              + account
              + "', 2, NULL)");
      all.add(
          "INSERT INTO order_lines VALUES ('" + account + "', 2, 1), ('" + account + "', 2, 7)");
    }
    for (int i = 1; i <= 50; i++) {
      all.add(
          "INSERT INTO staff VALUES (" + i + ", " + (i == 1 ? "NULL" : i / 2) + ", 'S" + i + "')");
    }
    all.add(
        "INSERT INTO words VALUES (NULL), (''), ('x'), ('x'), ('\\'), ('\uD83D\uDE00')"
            .replace("'\\'", make.name.equals("mariadb") ? "'\\\\'" : "'\\'"));
    if (make.name.equals("mariadb")) {
      all.add(0, "SET time_zone = '+00:00'");
    }
    return all.toArray(String[]::new);
  }

  private static String rules(Make make, boolean keep) {
    String schema = "[" + make.schema + ".";
    boolean upper = make.name.equals("h2");
    if (keep) {
      return Stream.of(
              "customers", "order_lines", "staff", "nothing", "words", "\"Order \"\"s` %_\"")
          .map(
              name ->
                  schema
                      + (upper && !name.startsWith("\"") ? name.toUpperCase() : name)
                      + "] = keep\n")
          .reduce("", String::concat);
    }
    String text =
        """
        service = shop key = env:MASK_KEY on_error = stop
        [S.customers]
        account = ff1(alphabet=digits, scope=account)
        name = classes
        email = email(domain=example.com)
        born = dateshift(days=30)
        score = noise(percent=5)
        * = keep
        [S."Order ""s` %_"]
        customer = ff1(alphabet=digits, scope=account)   no = keep
        "no\\"te`" = fixed('gone')
        [S.order_lines]
        customer = ff1(alphabet=digits, scope=account)   no = keep   line = keep
        [S.staff]
        name = null   * = keep
        [S.nothing] = keep
        [S.words]
        word = keep
        """;
    return upper ? upper(text) : text.replace("[S.", schema);
  }

  /** Names that are not quoted are in capitals in H2, but for those in quotes. */
  private static String upper(String rules) {
    StringBuilder text = new StringBuilder();
    for (String line : rules.replace("[S.", "[PUBLIC.").split("\n")) {
      String changed = line;
      for (String name :
          List.of("account", "name", "email", "born", "score", "customer", "no", "line", "word")) {
        changed = changed.replaceAll("(^|(?<=   ))" + name + " =", name.toUpperCase() + " =");
      }
      for (String name : List.of("customers", "order_lines", "staff", "nothing", "words")) {
        changed = changed.replace("." + name + "]", "." + name.toUpperCase() + "]");
      }
      text.append(changed).append('\n');
    }
    return text.toString();
  }

  static Stream<String> pairs() {
    return Stream.of(
        "postgres mariadb",
        "postgres h2",
        "mariadb postgres",
        "mariadb mariadb",
        "mariadb h2",
        "h2 postgres",
        "h2 mariadb",
        "h2 h2");
  }

  private Run copy(Make from, Make to, String rules) throws Exception {
    String source = from.databases.url("source");
    return copy(ELSEWHERE, source, to.databases.url("target"), rules, "--piece-rows", "70");
  }

  private Run copy(List<String> options, String from, String to, String rules, String... more)
      throws Exception {
    Path file = Files.writeString(folder.resolve("shop.rules"), rules);
    List<String> arguments = new ArrayList<>(List.of("copy", "-q", "--from", from, "--to", to));
    arguments.addAll(List.of("-r", file.toString()));
    arguments.addAll(List.of(more));
    return Run.ofItsOwn(options, arguments.toArray(String[]::new));
  }

  private static void emptyTarget(Make make) {
    make.databases.create("target");
    make.databases.execute("target", schema(make));
  }

  @ParameterizedTest
  @MethodSource("pairs")
  void aShopIsMaskedAlikeWhereverItGoes(String pair) throws Exception {
    Make from = MAKES.get(pair.split(" ")[0]);
    Make to = MAKES.get(pair.split(" ")[1]);
    emptyTarget(to);
    copy(from, to, rules(from, false)).expect(ExitCode.DONE);
    TestDatabases source = from.databases;
    TestDatabases target = to.databases;
    assertEquals(source.rows("source", from.kept()), target.rows("target", to.kept()));
    String orders = to.quoted("Order \"s` %_");
    assertEquals(
        ROWS + "|" + ROWS,
        target.row(
            "target",
            "SELECT count(*), count(DISTINCT c.account) FROM customers c JOIN "
                + orders
                + " o ON o.customer = c.account WHERE no = 2"));
    assertEquals(
        "" + 2 * ROWS,
        target.row(
            "target",
            "SELECT count(*) FROM order_lines l JOIN "
                + orders
                + " o ON o.customer = l.customer AND o.no = l.no"));
    assertEquals(
        "50|0|1225", target.row("target", "SELECT count(*), count(name), sum(id) - 50 FROM staff"));
    assertEquals(
        source.rows("source", "SELECT boss FROM staff ORDER BY id"),
        target.rows("target", "SELECT boss FROM staff ORDER BY id"));
    assertEquals(
        "6|5|1",
        target.row(
            "target",
            "SELECT count(*), count(word), count(CASE WHEN word = '' THEN 1 END) FROM words"));
    assertEquals(
        "0", target.row("target", "SELECT count(*) FROM customers WHERE shout <> upper(name)"));
    String masked =
        "SELECT account, name, email, born, score FROM customers WHERE id IN (5, 6, 7) ORDER BY id";
    List<String> found = new ArrayList<>();
    target.rows("target", masked).forEach(row -> found.add(row.replace("  |", "|")));
    String known = MASKED.putIfAbsent("rows", found.toString());
    assertEquals(known == null ? found.toString() : known, found.toString());
    assertNotEquals(source.rows("source", masked), target.rows("target", masked));
    target.execute("target", "INSERT INTO customers (account, name) VALUES ('new', 'new')");
    assertEquals(
        "" + (ROWS + 1), target.row("target", "SELECT id FROM customers WHERE name = 'new'"));
  }

  @ParameterizedTest
  @MethodSource("pairs")
  void whatIsKeptIsTheSame(String pair) throws Exception {
    Make from = MAKES.get(pair.split(" ")[0]);
    Make to = MAKES.get(pair.split(" ")[1]);
    emptyTarget(to);
    copy(from, to, rules(from, true)).expect(ExitCode.DONE);
    for (String sql :
        List.of(
            "SELECT id, TRIM(account), name, email, born, score FROM customers ORDER BY id",
            "SELECT TRIM(customer), no, line FROM order_lines ORDER BY 1, 2, 3",
            "SELECT id, boss, name FROM staff ORDER BY id")) {
      assertEquals(from.databases.rows("source", sql), to.databases.rows("target", sql), sql);
    }
    List<String> words = new ArrayList<>(from.databases.rows("source", "SELECT word FROM words"));
    List<String> copied = new ArrayList<>(to.databases.rows("target", "SELECT word FROM words"));
    words.sort(null);
    copied.sort(null);
    assertEquals(words, copied);
  }

  @Test
  void mariaDbHasValuesThatNoCalendarHas() throws Exception {
    Make make = MAKES.get("mariadb");
    String schema =
        "CREATE TABLE odd (id bigint unsigned PRIMARY KEY, d date, t time(2), y year, at datetime(6),"
            + " ts timestamp NULL, b8 bit(8), b1 bit(1), tiny tinyint(1), e enum('a', ''), s set('x','y'),"
            + " u uuid, ip inet6, f float, big decimal(65,30), c char(5), vb varbinary(9), j json,"
            + " g int AS (1 + 1) VIRTUAL, m mediumint unsigned)";
    make.databases.create("odd");
    make.databases.create("target");
    make.databases.execute(
        "odd",
        schema,
        "SET sql_mode = 'ALLOW_INVALID_DATES,NO_AUTO_VALUE_ON_ZERO', time_zone = '+00:00'",
        "INSERT INTO odd VALUES (0, '0000-00-00', '-838:59:59.00', 0, '0000-00-00 00:00:00',"
            + " '2038-01-19 03:14:07', b'10000001', b'1', 127, '', 'x,y',"
            + " '00000000-0000-0000-0000-000000000001', '::1', 3.4e38, 1e-30, 'a ', X'00', '{}', DEFAULT, 0)",
        "INSERT INTO odd VALUES (18446744073709551615, '2024-02-31', '838:59:59', 2155, '2024-00-10 00:00:00',"
            + " '2024-03-31 01:30:00', b'0', NULL, -128, NULL, NULL, NULL, NULL, 0.1,"
            + " 99999999999999999999999999999999999.999999999999999999999999999999, NULL, '', NULL,"
            + " DEFAULT, 16777215)");
    make.databases.execute("target", schema);
    copy(ELSEWHERE, make.databases.url("odd"), make.databases.url("target"), "[odd.odd] = keep")
        .expect(ExitCode.DONE);
    String sql =
        "SELECT concat_ws('|', id, cast(d as char), cast(t as char), y, cast(at as char), UNIX_TIMESTAMP(ts),"
            + " hex(b8), hex(b1), tiny, concat('<', e, '>'), s, u, ip, cast(f as double), big, hex(c), hex(vb), j, g, m)"
            + " FROM odd ORDER BY id";
    assertEquals(make.databases.rows("odd", sql), make.databases.rows("target", sql));
    String first = make.databases.row("target", sql);
    assertTrue(first.startsWith("0|0000-00-00|-838:59:59.00|0000|0000-00-00"), first);
  }

  @Test
  void aDateThatIsNoneEndsACopyIntoAnotherDatabase() throws Exception {
    Make from = MAKES.get("mariadb");
    Make to = MAKES.get("postgres");
    for (Make make : List.of(from, to)) {
      make.databases.create("odd");
      make.databases.execute("odd", "CREATE TABLE odd (id int PRIMARY KEY, d date)");
    }
    from.databases.execute(
        "odd", "SET sql_mode = ''", "INSERT INTO odd VALUES (1, '2024-01-01'), (2, '0000-00-00')");
    Run run =
        copy(ELSEWHERE, from.databases.url("odd"), to.databases.url("odd"), "[odd.odd] = keep")
            .expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err().contains("the target refuses the row that has, masked, \"id\" = 2: "), run.err());
    assertEquals("0", to.databases.row("odd", "SELECT count(*) FROM odd"));
  }

  @Test
  void h2KeepsWhatOnlyItHas() throws Exception {
    Make make = MAKES.get("h2");
    String schema =
        "CREATE TABLE odd (id uuid PRIMARY KEY, at timestamp(9) with time zone, e enum('a', 'b c'),"
            + " i interval day to second, n numeric(38, 10), b boolean, t time(9), r real, vi varchar_ignorecase(9), bin binary(3))";
    make.databases.create("odd");
    make.databases.execute(
        "odd",
        schema,
        "INSERT INTO odd VALUES ('00000000-0000-0000-0000-000000000001', '2024-03-10 02:30:00.123456789-05:00',"
            + " 'b c', INTERVAL '3 04:05:06.789' DAY TO SECOND, 1234567890123456789012345678.0123456789,"
            + " TRUE, '23:59:59.999999999', 0.1, 'aB', X'000102')",
        "INSERT INTO odd (id) VALUES ('ffffffff-ffff-ffff-ffff-ffffffffffff')");
    make.databases.create("target");
    make.databases.execute("target", schema);
    copy(ELSEWHERE, make.databases.url("odd"), make.databases.url("target"), "[PUBLIC.ODD] = keep")
        .expect(ExitCode.DONE);
    String sql = "SELECT * FROM odd ORDER BY id";
    assertEquals(make.databases.rows("odd", sql), make.databases.rows("target", sql));
  }

  @ParameterizedTest
  @ValueSource(strings = {"postgres mariadb", "mariadb h2", "h2 postgres"})
  void longRowsAndManyAreCopiedInLittleMemory(String pair) throws Exception {
    Make from = MAKES.get(pair.split(" ")[0]);
    Make to = MAKES.get(pair.split(" ")[1]);
    for (Make make : List.of(from, to)) {
      String bytes = make.name.equals("mariadb") ? "longblob" : make.types.get(4);
      make.databases.create("large");
      make.databases.execute(
          "large",
          "CREATE TABLE photos (id int PRIMARY KEY, photo " + bytes + ")",
          "CREATE TABLE loose (a int, name varchar(60))");
    }
    fill(from);
    String upper =
        from.name.equals("h2")
            ? "[PUBLIC.PHOTOS] = keep\n[PUBLIC.LOOSE]\nA = keep\nNAME = classes"
            : "[S.photos] = keep\n[S.loose]\na = keep\nname = classes";
    String schema = from.name.equals("mariadb") ? "large" : from.schema;
    String rules = "service=s key=env:MASK_KEY\n" + upper.replace("[S.", "[" + schema + ".");
    copy(
            List.of("-Xmx64m", "-XX:TieredStopAtLevel=1"),
            from.databases.url("large"),
            to.databases.url("large"),
            rules)
        .expect(ExitCode.DONE);
    String length = to.name.equals("postgres") ? "sum(octet_length(photo))" : "sum(length(photo))";
    assertEquals(
        "30|60000000", to.databases.row("large", "SELECT count(*), " + length + " FROM photos"));
    assertEquals(
        "30000|450015000", to.databases.row("large", "SELECT count(*), sum(a) FROM loose"));
  }

  private static void fill(Make make) {
    String series =
        switch (make.name) {
          case "mariadb" -> "seq AS x FROM seq_1_to_";
          case "h2" -> "x FROM system_range(1, ";
          default -> "x FROM generate_series(1, ";
        };
    String end = make.name.equals("mariadb") ? "" : ") AS t(x)";
    String photo =
        switch (make.name) {
          case "mariadb" -> "repeat('x', 2000000)";
          case "h2" -> "CAST(repeat('x', 2000000) AS binary large object)";
          default -> "convert_to(repeat('x', 2000000), 'UTF8')";
        };
    make.databases.execute(
        "large",
        "INSERT INTO photos SELECT x, " + photo + " FROM (SELECT " + series + 30 + end + ") AS s",
        "INSERT INTO loose SELECT x, concat('Some name of a person, ', x) FROM (SELECT "
            + series
            + 30000
            + end
            + ") AS s");
  }

  @ParameterizedTest
  @ValueSource(strings = {"postgres mariadb", "mariadb mariadb"})
  void noChildIsWithoutItsParentWhileAnotherClientWrites(String pair) throws Exception {
    Make from = MAKES.get(pair.split(" ")[0]);
    Make to = MAKES.get(pair.split(" ")[1]);
    String[] family = {
      "CREATE TABLE a (id int PRIMARY KEY)",
      "CREATE TABLE b (id int PRIMARY KEY, a int NOT NULL, FOREIGN KEY (a) REFERENCES a(id))"
    };
    from.databases.create("busy");
    from.databases.execute("busy", family);
    to.databases.create("copied");
    to.databases.execute("copied", family);
    String head = "[" + (from.name.equals("mariadb") ? "busy" : "public") + ".";
    String rules = head + "a] = keep\n" + head + "b] = keep";
    AtomicBoolean ended = new AtomicBoolean();
    Thread writer =
        new Thread(
            () -> {
              for (int i = 1; !ended.get(); i++) {
                from.databases.execute(
                    "busy",
                    "INSERT INTO a VALUES (" + i + ")",
                    "INSERT INTO b VALUES (" + i + ", " + i + ")");
              }
            });
    writer.start();
    try {
      while (writer.isAlive() && from.databases.row("busy", "SELECT count(*) FROM b").equals("0")) {
        Thread.sleep(20);
      }
      String target = to.databases.url("copied");
      copy(ELSEWHERE, from.databases.url("busy"), target, rules, "--piece-rows", "3")
          .expect(ExitCode.DONE);
    } finally {
      ended.set(true);
      writer.join();
    }
    assertTrue(Integer.parseInt(to.databases.row("copied", "SELECT count(*) FROM b")) > 0);
  }

  @Test
  void aDatabaseOfWhichNothingIsKnownIsCopiedByItsDriver() throws Exception {
    String from = "jdbc:hsqldb:file:" + folder.resolve("from") + ";shutdown=true;user=SA";
    String to = "jdbc:hsqldb:file:" + folder.resolve("to") + ";shutdown=true;user=SA";
    String[] schema = {
      "CREATE TABLE who (id bigint GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY, name varchar(40)"
          + " UNIQUE, met timestamp(6), seen timestamp(6) with time zone, n numeric(5,2),"
          + " b varbinary(9), note clob, f double, ok boolean, day date)",
      "CREATE TABLE \"of \"\"it\" (id int PRIMARY KEY, who bigint, FOREIGN KEY (who) REFERENCES who(id))"
    };
    for (String url : List.of(from, to)) {
      hsqldb(url, schema);
    }
    hsqldb(
        from,
        "INSERT INTO who VALUES (7, '123456789', TIMESTAMP '2024-03-10 02:30:00.123456', TIMESTAMP"
            + " '2024-03-10 06:59:00+0:00', -999.99, X'00ff', 'long', 1e-300, TRUE, DATE '2024-02-29')",
        "INSERT INTO who (id) VALUES (8)",
        "INSERT INTO \"of \"\"it\" VALUES (1, 7), (2, NULL)");
    String rules =
        """
        service=s key=env:MASK_KEY
        [PUBLIC.WHO]
        NAME=ff1(alphabet=digits) *=keep
        [PUBLIC."of ""it"] = keep
        """;
    Run run = copy(ELSEWHERE, from, to, rules).expect(ExitCode.DONE);
    assertTrue(run.err().contains("triggers and checks, which are not looked for"), run.err());
    String sql = "SELECT id, met, seen, n, b, note, f, ok, day FROM who ORDER BY id";
    assertEquals(hsqldb(from, sql), hsqldb(to, sql));
    assertEquals(2, hsqldb(to, sql).size());
    String join =
        "SELECT o.id, name FROM \"of \"\"it\" o LEFT JOIN who w ON o.who = w.id ORDER BY 1";
    Run file = Run.mask("service=s key=env:MASK_KEY a=ff1(alphabet=digits)", "a\n123456789\n");
    assertEquals(List.of("1|" + file.out().split("\n")[1], "2|null"), hsqldb(to, join));
    Run again = copy(ELSEWHERE, from, to, rules).expect(ExitCode.USAGE);
    assertTrue(again.err().contains("--resume goes on with it"), again.err());
    Run same = copy(ELSEWHERE, to, to, rules, "--resume").expect(ExitCode.USAGE);
    assertTrue(same.err().contains("the target is the source"), same.err());
  }

  /** Its driver counts the offset among the characters of an instant. */
  @Test
  void anInstantOfAnotherDatabaseHasAsManyDigitsOfASecondAsItIsDeclaredWith() throws Exception {
    String table =
        "CREATE TABLE \"a\" (\"id\" int PRIMARY KEY, \"seen\" timestamp(%d) with time zone)";
    String from = "jdbc:hsqldb:file:" + folder.resolve("from") + ";shutdown=true;user=SA";
    hsqldb(
        from,
        table.formatted(6),
        "INSERT INTO \"a\" VALUES (1, TIMESTAMP '2024-03-10 06:59:00.123456+0:00')");
    TestDatabases h2 = MAKES.get("h2").databases;
    String rules = "service=s key=env:MASK_KEY\n[PUBLIC.a] = keep";
    h2.create("instants");
    h2.execute("instants", table.formatted(6));
    copy(ELSEWHERE, from, h2.url("instants"), rules).expect(ExitCode.DONE);
    String utc = "SELECT cast(\"seen\" AT TIME ZONE 'UTC' AS timestamp(6)) FROM \"a\"";
    assertEquals("2024-03-10 06:59:00.123456", h2.row("instants", utc));
    h2.create("instants");
    h2.execute("instants", table.formatted(5));
    copy(ELSEWHERE, from, h2.url("instants"), rules).expect(ExitCode.USAGE);
  }

  /** The rows of the last statement. */
  private static List<String> hsqldb(String url, String... statements) throws SQLException {
    try (Connection connection = DriverManager.getConnection(url);
        Statement statement = connection.createStatement()) {
      List<String> rows = List.of();
      for (String sql : statements) {
        rows = statement.execute(sql) ? TestDatabases.texts(statement.getResultSet()) : List.of();
      }
      return rows;
    }
  }

  @Test
  void rulesToStartFromAreWrittenOfAnyCatalogue() throws IOException {
    for (Make make : MAKES.values()) {
      if (make.name.equals("postgres")) {
        continue;
      }
      String url = make.databases.url("source");
      String rules = Run.velk("init", "--from", url).expect(ExitCode.DONE).out();
      String schema = make.schema;
      boolean upper = make.name.equals("h2");
      String customers = "[" + schema + "." + (upper ? "CUSTOMERS" : "customers") + "]";
      assertTrue(rules.contains(customers), rules);
      String scope =
          "scope='" + schema + "." + (upper ? "CUSTOMERS.ACCOUNT" : "customers.account") + "'";
      assertEquals(
          3,
          rules.split(java.util.regex.Pattern.quote("ff1(alphabet=alphanumeric, " + scope)).length
              - 1,
          rules);
      assertTrue(rules.contains((upper ? "BORN" : "born") + " = null  # date: "), rules);
      assertTrue(!rules.toLowerCase().contains("shout"), rules);
    }
  }
}
