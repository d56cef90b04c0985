package com.brel.sorn.velk.masking;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTimeout;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.CsvException.Fault;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.time.Duration;
import java.util.Arrays;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Which rule each column of a table gets: by name, by position, by pattern. */
class TableRulesTest {
  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private ParsedService table(String rules, String... names) {
    try (ParsedService parsed = engine.parse("service=s key=env:MASK_KEY\n" + rules)) {
      return parsed.forTable(Arrays.asList(names));
    }
  }

  private static List<String> columns(ParsedService service) {
    return service.columns().stream().map(ColumnRule::toString).toList();
  }

  private List<String> findings(String rules, String... names) {
    return assertThrows(TableException.class, () -> table(rules, names)).findings();
  }

  private String mask(ParsedService service, String csv) throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    try (MaskingService running = service.open()) {
      running.csv().mask(new ByteArrayInputStream(csv.getBytes(UTF_8)), out);
    }
    return out.toString(UTF_8);
  }

  @Test
  void theMoreExactRuleWins() {
    assertEquals(
        List.of("z=null", "addr_city=hash", "addr_zip=partial", "addr_zip_2=classes", "name=keep"),
        columns(
            table(
                "* = null addr_* = hash addr_zip* = classes $3 = partial name = keep",
                "z",
                "addr_city",
                "addr_zip",
                "addr_zip_2",
                "name")));
  }

  @Test
  void allThatIsSaidOfAnEntryGoesWithIt() {
    assertEquals(
        List.of(
            "b1=hash(length=12) b1.type=varchar(20) b1.unique=true",
            "$2=card $2.unique=true",
            "a=keep",
            "b2=hash(length=12) b2.type=varchar(20) b2.unique=true"),
        columns(
            table(
                "a=keep b*=hash(length=12) b*.type=varchar(20) b*.unique=true $2=card"
                    + " $2.unique=true",
                "b1",
                "",
                "a",
                "b2")));
  }

  @ParameterizedTest
  @CsvSource({
    "*, '', true",
    "*, abc, true",
    "a*, a, true",
    "a*, A, false",
    "*a, a, true",
    "a*a, a, false",
    "a*a, aa, true",
    "a*a, aba, true",
    "ab*ba, aba, false",
    "a*b*c, abc, true",
    "a*b*c, a-c-b-c, true",
    "a*b*c, acb, false",
    "a*bb*b, abb, false",
    "a*bb*b, abbb, true",
    "a**c, ac, true",
    "-_*, -_ä, true",
    "*x*, 'no', false",
    "*x*, 'axb', true"
  })
  void aStarStandsForAnyCharacters(String pattern, String name, boolean matches) {
    assertEquals(matches, ColumnPattern.of(0, pattern).matches(name));
  }

  @ParameterizedTest
  @CsvSource({
    "*, true, false",
    "a*, true, false",
    "a-_9*Z, true, false",
    "a *, false, false",
    "ä*, false, false",
    "abc, false, false",
    "$3, false, true",
    "$10, false, true",
    "$0, false, false",
    "$03, false, false",
    "$, false, false",
    "$3*, false, false",
    "3, false, false"
  })
  void aNameStandsForColumnsWhereTheEngineSaysSo(String name, boolean pattern, boolean position) {
    assertEquals(pattern, ColumnPattern.isPattern(name));
    assertEquals(position, ColumnPattern.isPosition(name));
    assertEquals(
        pattern || position,
        assertThrows(
                VELKException.class,
                () -> engine.parse("service=s \"" + name + "\"=keep other=nothing"))
            .getMessage()
            .startsWith("7241"));
  }

  @Test
  void blankAndRepeatedNamesAreKnownByTheirPositions() throws IOException {
    ParsedService service =
        table("$1=fixed('x') $3=keep $4=fixed('y') id=hash", "", "id", "a", "a");
    assertEquals(List.of("$1=fixed('x')", "id=hash", "$3=keep", "$4=fixed('y')"), columns(service));
    assertEquals(
        ",id,a,a\nx,#,3,y\n", mask(service, ",id,a,a\n1,2,3,4\n").replaceAll("[0-9a-f]{32}", "#"));
  }

  @Test
  void theyAreRefusedWithoutThem() {
    assertEquals(
        List.of(
            "column 1 has no name, and there is no rule for its position: say $1 = ...",
            "column 3 shares its name \"a\" with others, and there is no rule for its position: say"
                + " $3 = ...",
            "column 5 has the name $9, which stands for a position, and there is no rule for its"
                + " position: say $5 = ...",
            "column 6 has U+0000 or half a surrogate pair in its name, and there is no rule for its"
                + " position: say $6 = ..."),
        findings("*=null id=keep $4=keep", "", "id", "a", "a", "$9", "x\0"));
    assertEquals(
        List.of("there is a rule for column \"a\" (line 2, column 1), and several have that name"),
        findings("a=keep $1=keep $2=keep", "a", "a"));
  }

  @Test
  void allThatDoesNotFitIsToldAtOnceAndWhereItStands() {
    assertEquals(
        List.of(
            "there is a rule for column \"nobody\" (line 2, column 8), and no such column",
            "there is a rule for column \"the \\\"o\\\"\" (line 3, column 1), and no such column",
            "there is a rule for column $7 (line 5, column 4), and the table ends at $3",
            "there is a rule for columns addr_* (line 6, column 2), and no such one",
            "there is no rule for column \"b\"",
            "there is no rule for column \"c\""),
        findings(
            """
            a=keep nobody=classes # c=keep
            "the \\"o\\"" = fixed('b=keep, it''s') nobody.type=text\r
            # $4=keep\r\
             , $7=null
             addr_*=partial(keep_first=2, with=',')""",
            "a",
            "b",
            "c"));
  }

  @Test
  void theMessageHasTheFirstTen() {
    String[] names = IntStream.range(0, 12).mapToObj(i -> "c" + i).toArray(String[]::new);
    TableException thrown = assertThrows(TableException.class, () -> table("a=keep", names));
    assertEquals(13, thrown.findings().size());
    assertEquals(11, thrown.getMessage().lines().count());
    assertTrue(thrown.getMessage().endsWith("column \"c8\"\nand 3 more"), thrown.getMessage());
  }

  @Test
  void twoRulesThatAreEquallyExactAreRefused() {
    assertEquals(
        List.of(
            "there are two rules for column \"ab\" and none is more exact: a* (line 2, column 1)"
                + " and *b (line 2, column 9)"),
        findings("a*=keep *b=null *=keep", "ab", "b", "a"));
    assertEquals(
        List.of(
            "there are two rules for column \"ab\" and none is more exact: $1 (line 2, column 1)"
                + " and \"ab\" (line 2, column 9)"),
        findings("$1=keep ab=null", "ab"));
    // A more exact one settles it.
    assertEquals(List.of("ab=hash"), columns(table("a*=keep *b=null ab=hash", "ab")));
  }

  @Test
  void aTableIsMaskedByOrder() throws IOException {
    assertEquals(
        "b,a1,a2\n1,x,x\n",
        mask(table("a*=fixed('x') b=keep", "b", "a1", "a2"), "b,a1,a2\n1,2,3\n"));
  }

  @ParameterizedTest
  @CsvSource({
    "'a,c\n1,2\n', 'column 2 of the header is \"c\", and its rule was given to \"b\"'",
    "'b,a\n1,2\n', 'column 1 of the header is \"b\", and its rule was given to \"a\"'",
    "'a\n1\n', 'the header has 1 columns, and rules were given to 2'",
    "'a,b,c\n1,2,3\n', 'the header has 3 columns, and rules were given to 2'"
  })
  void anotherHeaderIsRefused(String csv, String message) {
    CsvException thrown =
        assertThrows(CsvException.class, () -> mask(table("a=keep *=null", "a", "b"), csv));
    assertEquals(Fault.COLUMNS, thrown.fault());
    assertEquals(message, thrown.getMessage());
  }

  @Test
  void aRuleGoesByAnotherColumnOfTheTableHoweverItIsNamed() throws IOException {
    String rules = " *_date=dateshift(days=300, by=%s) *_date.type=date $1=keep %s=keep *=null";
    String csv =
        "%s,%s,a_date,b_date\nno,zoe,2024-01-01,2024-02-01\nno,bob,2024-01-01,2024-02-01\n";
    String byName =
        mask(
            table(rules.formatted("who", "who"), "x", "who", "a_date", "b_date"),
            csv.formatted("x", "who"));
    String byPosition =
        mask(
            table(rules.formatted("$2", "$2"), "x", "x", "a_date", "b_date"),
            csv.formatted("x", "x"));
    String bare =
        mask(
            table(rules.formatted("'a*'", "$2"), "", "a*", "a_date", "b_date"),
            csv.formatted("", "a*"));
    String[] rows = rows(byName);
    assertEquals(rows[1], rows(byPosition)[1]);
    assertEquals(rows[2], rows(byPosition)[2]);
    assertEquals(rows[1], rows(bare)[1]);
    assertNotEquals(rows[1].substring(7), rows[2].substring(7), "two persons move by two spans");
    assertFalse(byName.contains("2024-01-01,2024-02-01"), byName);
  }

  private static String[] rows(String csv) {
    return csv.split("\n");
  }

  @Test
  void aRuleThatGoesByNoColumnOfTheTableIsRefused() {
    assertEquals(
        List.of(
            "the rule for column *_date (line 2, column 13) goes by $9, and there is no such column",
            "the rule for column \"d\" (line 2, column 70) goes by 'a', and several columns have"
                + " that name"),
        findings(
            "$1=keep     *_date=dateshift(days=3, by=$9) *_date.type=date $2=keep"
                + " d=dateshift(by='a', days=1) d.type=date",
            "a",
            "a",
            "b_date",
            "d"));
  }

  @Test
  void tellsItsOwnNamesInErrorsNeverTheEnginesOwn() throws IOException {
    ParsedService service = table("$1=keep $2=dateshift(days=3) $2.type=date *=hash", "", "", "c");
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    try (MaskingService running = service.open()) {
      VELKException thrown =
          assertThrows(
              VELKException.class,
              () ->
                  running
                      .csv()
                      .mask(new ByteArrayInputStream(",,c\n1,no,2\n".getBytes(UTF_8)), out));
      assertTrue(thrown.getMessage().startsWith("row 1, column \"$2\": 7503"), thrown.getMessage());
      CsvReport report =
          running
              .csv()
              .onError(OnError.nullValue())
              .mask(new ByteArrayInputStream(",,c\n1,no,2\n".getBytes(UTF_8)), out);
      assertEquals(
          List.of("$1", "$2", "c"),
          report.columns().stream().map(column -> column.rule().name()).toList());
      assertEquals(1, report.columns().get(1).errorCount());
    }
  }

  @Test
  void theEnginesNamesAreThoseOfNoOtherColumn() {
    assertEquals(
        List.of("((($1)))", "($1)", "(($1))", "a", "($5)"),
        new TableColumns(List.of("", "($1)", "(($1))", "a", "a*")).engineNames());
  }

  @Test
  void aTableWithoutAHeaderIsMaskedByItsOrder() throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    try (MaskingService running = table("$2=fixed('x') *=keep", "c1", "c2").open()) {
      running.csv().header(false).mask(new ByteArrayInputStream("1,2\n".getBytes(UTF_8)), out);
    }
    assertEquals("1,x\n", out.toString(UTF_8));
  }

  @Test
  void rowsAndChoicesForErrorsGoTheSameWay() {
    ParsedService service = table("on_error=fixed('0') $1=noise(percent=9) $1.type=integer", "");
    assertEquals(OnError.fixed("0"), service.onError());
    try (MaskingService running = service.tellErrors().open()) {
      MaskedRows rows = running.mask(List.of(List.of("no")));
      assertEquals("$1", rows.errors().get(0).columnName());
    }
    try (ParsedService parsed = engine.parse("service=s on_error=stop *=keep").tellErrors()) {
      assertEquals(OnError.UNSAID, parsed.forTable(List.of("a")).onError());
      assertEquals(
          OnError.UNSAID, parsed.forTable(List.of("a")).onError(), "as often as there are tables");
    }
  }

  @Test
  void onErrorStopStopsTheRows() {
    try (MaskingService running =
        table("on_error=stop *=noise(percent=9) *.type=integer", "a").open()) {
      assertThrows(VELKException.class, () -> running.mask(List.of(List.of("no"))));
    }
  }

  @Test
  void thePlaceOfAColumnsRuleIsTold() {
    try (ParsedService parsed = engine.parse("service=s key=env:MASK_KEY\nb = hash\n  a* = keep")) {
      assertEquals(Optional.of("line 3, column 3"), parsed.place(1));
      ParsedService table = parsed.forTable(List.of("a1", "b", "a2"));
      assertEquals(Optional.of("line 3, column 3"), table.place(0));
      assertEquals(Optional.of("line 2, column 1"), table.place(1));
      assertEquals(Optional.of("line 3, column 3"), table.place(2));
      assertThrows(IndexOutOfBoundsException.class, () -> table.place(3));
      table.close();
    }
  }

  @Test
  void misuseIsRefused() {
    ParsedService parsed = engine.parse("service=s *=keep");
    assertEquals(
        "a table has 1 to 65535 columns, not 0",
        assertThrows(IllegalArgumentException.class, () -> parsed.forTable(List.of()))
            .getMessage());
    List<String> many = Collections.nCopies(65_536, "a");
    assertThrows(IllegalArgumentException.class, () -> parsed.forTable(many));
    ParsedService table = parsed.forTable(List.of("a"));
    assertThrows(IllegalStateException.class, () -> table.forTable(List.of("a")));
    assertEquals(7241, assertThrows(VELKException.class, parsed::open).code());
    assertThrows(IllegalStateException.class, () -> parsed.forTable(List.of("a")));
    table.open().close();
    assertThrows(IllegalStateException.class, table::open);
  }

  @Test
  void thousandsOfColumnsTakeNoLongerThanTheyMust() throws IOException {
    int width = 10_000;
    String[] names = IntStream.range(0, width).mapToObj(i -> "c" + i).toArray(String[]::new);
    String rules = Arrays.stream(names).map(name -> name + "=keep\n").collect(Collectors.joining());
    String csv =
        String.join(",", names) + "\n" + String.join(",", Collections.nCopies(width, "v")) + "\n";
    assertTimeout(Duration.ofSeconds(60), () -> assertEquals(csv, mask(table(rules, names), csv)));
    String patterns =
        Arrays.stream(names)
            .map(name -> name + "*=keep\n" + (name.endsWith("9") ? "" : name + "*.unique=true\n"))
            .limit(width - 1)
            .collect(Collectors.joining());
    assertTimeout(
        Duration.ofSeconds(60),
        () -> assertEquals(width, table(patterns + "*=keep", names).columns().size()));
  }

  @Test
  void thousandsOfPatternsTakeNoLongerThanTheyMust() {
    int width = 9_999;
    String[] names = IntStream.range(0, width).mapToObj(i -> "c" + i + "_x").toArray(String[]::new);
    String starts =
        IntStream.range(0, width)
            .mapToObj(i -> "c" + i + "_*=keep\n")
            .collect(Collectors.joining());
    String ends =
        IntStream.range(0, width)
            .mapToObj(i -> "*" + i + "_x=keep\n")
            .sorted(Comparator.reverseOrder())
            .collect(Collectors.joining());
    assertTimeout(
        Duration.ofSeconds(60),
        () -> assertEquals(width, table(starts + "*=null", names).columns().size()));
    // Of *9_x, *99_x, *999_x and *9999_x that a name may end with, the longest is the most exact.
    assertTimeout(
        Duration.ofSeconds(60),
        () -> assertEquals(width, table(ends + "*=null", names).columns().size()));
  }

  @Test
  void aDatabaseSaysTheTypesOfATable() throws IOException {
    String rules = "service=s key=env:MASK_KEY *=keep born=dateshift(days=3)";
    ParsedService service;
    try (ParsedService parsed = engine.parse(rules, Map.of("born", Type.date()))) {
      service = parsed.forTable(List.of("id", "born"));
    }
    service.typed(List.of(Type.varchar(2), Type.timestamp()));
    // What stands in the string wins, and so does what was declared for a name.
    assertEquals(
        List.of("id=keep id.type=varchar(2)", "born=dateshift(days=3) born.type=date"),
        columns(service));
    String masked = mask(service.tellErrors(), "id,born\n12,2024-02-29\n");
    assertTrue(masked.matches("id,born\n12,2024-0[23]-\\d\\d\n"), masked);
    assertNotEquals("id,born\n12,2024-02-29\n", masked);
  }

  @Test
  void onlyColumnsThatAreNamedAndMaskedAndHaveNoTypeAreGivenOne() {
    String rules =
        "service=s key=env:MASK_KEY # a=hash\n"
            + "a=hash \"b \\\" c\"=dateshift(days=3), c=keep; d=hash d.type=text $5=classes"
            + " key2=noise(percent=5) \"key\"=classes *x=keep f='a.b'";
    Map<String, Type> types =
        Map.of(
            "a", Type.varchar(40),
            "b \" c", Type.date(),
            "c", Type.date(),
            "d", Type.date(),
            "key2", Type.integer(),
            "key", Type.varchar(9),
            "$5", Type.date());
    try (ParsedService parsed = engine.parse(rules.replace(" f='a.b'", ""), types)) {
      assertEquals(
          List.of("varchar(40)", "date", "text", "text", "text", "integer", "varchar(9)", "text"),
          parsed.columns().stream().map(rule -> rule.type().toString()).toList());
    }
    assertEquals(
        "{a=a, b \" c=\"b \\\" c\", key2=key2, key=\"key\", f=f}",
        MaskingStringReader.untyped(rules).toString());
  }

  @Test
  void aFunctionThatADatabasesTypeDoesNotAllowIsRefusedAtItsPlace() {
    VELKException failure =
        assertThrows(
            VELKException.class,
            () ->
                engine.parse(
                    "service=s\na=partial(keep_last=2)\nb=keep", Map.of("a", Type.date())));
    assertEquals(7314, failure.code());
    assertTrue(failure.getMessage().contains("line 2, column 3"), failure.getMessage());
  }

  @Test
  void aValueThatIsNotOfTheDatabasesTypeIsAnError() {
    ParsedService service = table("on_error=stop *=classes", "a");
    service.typed(List.of(Type.varchar(3)));
    assertThrows(VELKException.class, () -> mask(service, "a\nabcd\n"));
  }

  @Test
  void whatADatabaseKeepsUniqueIsNotCountedHere() throws IOException {
    ParsedService service = table("a=fixed('x') a.unique=true", "a").typed(List.of(Type.text()));
    assertEquals(List.of("a=fixed('x')"), columns(service));
    assertEquals("a\nx\nx\n", mask(service, "a\n1\n2\n"));
  }

  @Test
  void typesAreForTheColumnsOfATable() {
    ParsedService service = table("*=keep", "a", "b");
    assertThrows(IllegalArgumentException.class, () -> service.typed(List.of(Type.text())));
    try (ParsedService parsed = engine.parse("service=s a=keep")) {
      assertThrows(IllegalStateException.class, () -> parsed.typed(List.of(Type.text())));
    }
    service.close();
    assertThrows(
        IllegalStateException.class, () -> service.typed(List.of(Type.text(), Type.date())));
  }

  @Test
  void theLongestResultOfAColumnIsTold() {
    ParsedService service =
        table(
            "a=hash(length=20) b=fixed('four') c=keep d=hash d.type=varchar(99)",
            "a",
            "b",
            "c",
            "d");
    assertEquals(
        List.of(20, 4, 0, 32),
        IntStream.range(0, 4).mapToObj(service::longestResult).collect(Collectors.toList()));
  }

  @Test
  void thePlaceOfAPositionsRuleIsTold() {
    ParsedService service = table(" $2=keep\n a*=keep", "ab", "b");
    assertEquals("line 3, column 2", service.place(0).orElseThrow());
    assertEquals("line 2, column 2", service.place(1).orElseThrow());
  }
}
