package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.time.LocalDate;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** A service that is described in Java is written as a masking string, and read again the same. */
class MaskingStringPrintTest {
  private static final LocalDate FIRST = LocalDate.of(1900, 1, 1);
  private static final LocalDate LAST = LocalDate.of(2030, 12, 31);

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  @Test
  void aServiceIsWrittenLineByLine() {
    ServiceBuilder builder =
        engine
            .service("people")
            .key("env:MASK_KEY")
            .onError(OnError.fixed("it's wrong"))
            .maskNulls()
            .column("name", Type.varchar(20), Rule.classes())
            .column("order no", Type.text(), Rule.fixed("it's gone"))
            .uniqueColumn("card", Type.character(19), Rule.card(6));
    assertEquals(
        """
        service=people
        key=env:MASK_KEY
        on_error=fixed('it''s wrong')
        on_null=mask
        name=classes name.type=varchar(20)
        "order no"=fixed('it''s gone')
        card=card(keep_first=6) card.type=char(19) card.unique=true""",
        builder.toString());
  }

  @Test
  void whatIsWrittenIsReadAgainAsTheSameService() {
    List<ColumnRule> columns =
        List.of(
            of("keep", Type.text(), Rule.keep()),
            of("null", Type.decimal(9, 2), Rule.nullValue()),
            of("fixed", Type.text(), Rule.fixed("a, b; c = 'd' \"e\" # f\n\t\\ (g) 😀")),
            of("partial", Type.character(9), Rule.partial(1, 2, "'")),
            of("classes", Type.varchar(9), Rule.classes().scope("it's")),
            new ColumnRule("hash", Type.varchar(64), Rule.hash(64), true),
            new ColumnRule("card", Type.text(), Rule.card(), true),
            of("email", Type.text(), Rule.email("x.example")),
            of("dict", Type.text(), Rule.dict("first_names")),
            of("born", Type.date(), Rule.dateShift(9)),
            of("seen", Type.timestamp(), Rule.dateShift(9, FIRST, LAST)),
            of("noise", Type.integer(), Rule.noise(9)),
            of("ff1", Type.text(), Rule.ff1("digits")));
    ServiceBuilder builder = engine.service("a-Z_09").onError(OnError.nullValue());
    assertSame(builder.key("file:/a folder/it's, #1; (key)=\"x\""), columns);
  }

  @Test
  void aChoiceToStopIsReadAgain() {
    ServiceBuilder builder = engine.service("s").onError(OnError.stop()).maskNulls();
    assertSame(builder, List.of(of("c", Type.text(), Rule.keep())));
  }

  private static ColumnRule of(String name, Type type, Rule rule) {
    return new ColumnRule(name, type, rule, false);
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "service",
        "key",
        "on_error",
        "on_null",
        "order no",
        "a.type",
        "7up",
        "größe",
        "名前",
        "\"quoted\"",
        "it's",
        "back\\slash\\n",
        "a\nb\rc\td\u0001e\u007Ff",
        "#=,;()",
        " ",
        "😀"
      })
  void aColumnMayHaveAnyName(String name) {
    ColumnRule column = new ColumnRule(name, Type.varchar(9), Rule.keep(), true);
    assertSame(engine.service("s"), List.of(column));
  }

  /** They stand for columns of a file: which they are, only who knows the file can tell. */
  @ParameterizedTest
  @ValueSource(strings = {"addr_*", "*", "$3"})
  void aPatternOrAPositionIsNoColumn(String name) {
    ServiceBuilder builder = engine.service("s").column(name, Type.varchar(9), Rule.keep());
    VELKException opening = assertThrows(VELKException.class, builder::open);
    VELKException parsing =
        assertThrows(VELKException.class, () -> engine.parse(builder.toString()));
    for (VELKException refusal : List.of(opening, parsing)) {
      assertEquals(7241, refusal.code());
      assertEquals(VELKException.Kind.DESCRIPTION, refusal.kind());
      assertTrue(refusal.getMessage().contains(name), refusal.getMessage());
    }
  }

  /** The engine reads the columns that were written, and writing them again gives the same text. */
  private void assertSame(ServiceBuilder builder, List<ColumnRule> columns) {
    columns.forEach(builder::column);
    String text = builder.toString();
    try (ParsedService parsed = engine.parse(text)) {
      assertEquals(columns, parsed.columns());
      ServiceBuilder again = engine.service(parsed.id()).onError(parsed.onError());
      parsed.key().ifPresent(again::key);
      parsed.columns().forEach(again::column);
      if (text.contains("\non_null=mask\n")) {
        again.maskNulls();
      }
      assertEquals(text, again.toString());
    }
  }

  @Test
  void theSameServiceMasksAlike() {
    ServiceBuilder builder =
        engine
            .service("s")
            .key("env:MASK_KEY")
            .column("it's \"a\"\n", Type.varchar(300), Rule.classes().scope("it's"))
            .column("b", Type.text(), Rule.email("x.example"));
    List<List<String>> rows = List.of(List.of("Zoë", "zoe@example.com"));
    try (MaskingService built = builder.open();
        MaskingService parsed = engine.parse(builder.toString()).open()) {
      assertEquals(built.columns(), parsed.columns());
      assertEquals(built.mask(rows).row(0), parsed.mask(rows).row(0));
    }
  }
}
