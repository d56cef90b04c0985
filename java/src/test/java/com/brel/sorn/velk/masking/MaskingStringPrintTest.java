package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.time.LocalDate;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** A service that is described in Java is written as a masking string, and read again the same. */
class MaskingStringPrintTest {
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
    ServiceBuilder builder =
        engine
            .service("a-Z_09")
            .key("file:/a folder/it's, #1; (key)=\"x\"")
            .onError(OnError.nullValue())
            .column("keep", Type.text(), Rule.keep())
            .column("null", Type.decimal(9, 2), Rule.nullValue())
            .column("fixed", Type.text(), Rule.fixed("a, b; c = 'd' \"e\" # f\n\t\\ (g) 😀"))
            .column("partial", Type.character(9), Rule.partial(1, 2, "'"))
            .column("classes", Type.varchar(9), Rule.classes().scope("it's"))
            .uniqueColumn("hash", Type.varchar(64), Rule.hash(64))
            .uniqueColumn("card", Type.text(), Rule.card())
            .column("email", Type.text(), Rule.email("x.example"))
            .column("dict", Type.text(), Rule.dict("first_names"))
            .column("born", Type.date(), Rule.dateShift(9))
            .column(
                "seen",
                Type.timestamp(),
                Rule.dateShift(9, LocalDate.of(1900, 1, 1), LocalDate.of(2030, 12, 31)))
            .column("noise", Type.integer(), Rule.noise(9))
            .uniqueColumn("ff1", Type.text(), Rule.ff1("digits"));
    assertSame(builder);
  }

  @Test
  void aChoiceToStopIsReadAgain() {
    ServiceBuilder builder = engine.service("s").onError(OnError.stop()).maskNulls();
    assertSame(builder.column("c", Type.text(), Rule.keep()));
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
        "addr_*",
        "$3",
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
    assertSame(engine.service("s").uniqueColumn(name, Type.varchar(9), Rule.keep()));
  }

  /** The masking string of both, and what the engine makes of it. */
  private void assertSame(ServiceBuilder builder) {
    String text = builder.toString();
    try (ParsedService parsed = engine.parse(text)) {
      ServiceBuilder again = engine.service(parsed.id()).onError(parsed.onError());
      parsed.key().ifPresent(again::key);
      parsed.columns().forEach(again::column);
      if (text.contains("\non_null=mask\n")) {
        again.maskNulls();
      }
      assertEquals(text, again.toString());
      assertFalse(parsed.columns().isEmpty());
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
