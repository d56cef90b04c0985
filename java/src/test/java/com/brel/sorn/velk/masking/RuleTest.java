package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.time.LocalDate;
import java.util.List;
import org.junit.jupiter.api.Test;

class RuleTest {
  @Test
  void aRuleIsWrittenAsInAMaskingString() {
    assertEquals("keep", Rule.keep().toString());
    assertEquals("null", Rule.nullValue().toString());
    assertEquals("fixed('it''s gone')", Rule.fixed("it's gone").toString());
    assertEquals("partial(keep_first=2, keep_last=4)", Rule.partial(2, 4).toString());
    assertEquals(
        "partial(keep_first=0, keep_last=4, with='#')", Rule.partial(0, 4, "#").toString());
    assertEquals("classes", Rule.classes().toString());
    assertEquals("hash", Rule.hash().toString());
    assertEquals("hash(length=12, scope='people')", Rule.hash(12).scope("people").toString());
    assertEquals("card", Rule.card().toString());
    assertEquals("card(keep_first=6)", Rule.card(6).toString());
    assertEquals("email(domain='example.com')", Rule.email("example.com").toString());
    assertEquals("dict(list='cities')", Rule.dict("cities").toString());
    assertEquals("dict(file='l''île')", Rule.dict(Path.of("l'île")).toString());
    assertEquals("noise(percent=10)", Rule.noise(10).toString());
    assertEquals("ff1(alphabet='digits')", Rule.ff1("digits").toString());
    assertEquals("dateshift(days=30)", Rule.dateShift(30).toString());
    assertEquals(
        "dateshift(days=9, min=1900-01-01, max=2024-02-29, by='person')",
        Rule.dateShift(9, LocalDate.of(1900, 1, 1), LocalDate.of(2024, 2, 29))
            .by("person")
            .toString());
    assertEquals(
        "partial(keep_first=0, keep_last=4, hide_least=6)",
        Rule.partial(0, 4).hideLeast(6).toString());
    assertEquals("dateshift(days=30)", Rule.function("dateshift", "days=30").toString());
  }

  @Test
  void aRuleIsAValue() {
    assertEquals(Rule.hash(12), Rule.function("hash", "length=12"));
    assertEquals(Rule.hash(12).hashCode(), Rule.function("hash", "length=12").hashCode());
    assertNotEquals(Rule.hash(12), Rule.hash(13));
    assertNotEquals(Rule.hash(), Rule.classes());
    assertNotEquals(Rule.hash(), null);
    assertEquals(OnError.fixed("x"), OnError.fixed("x"));
    assertEquals(OnError.fixed("x").hashCode(), OnError.fixed("x").hashCode());
    assertNotEquals(OnError.fixed("x"), OnError.fixed("y"));
    assertNotEquals(OnError.nullValue(), OnError.stop());
    assertNotEquals(OnError.nullValue(), OnError.UNSAID);
  }

  @Test
  void ofAllFunctionsThreeAreKnownToTellValuesApart() {
    for (Rule rule : List.of(Rule.keep(), Rule.card(), Rule.card(6), Rule.ff1("digits"))) {
      assertFalse(rule.isLossy(), rule.toString());
    }
    for (Rule rule :
        List.of(
            Rule.nullValue(),
            Rule.fixed("x"),
            Rule.partial(1, 1),
            Rule.classes(),
            Rule.hash(),
            Rule.hash(64),
            Rule.email("example.com"),
            Rule.dict("cities"),
            Rule.dateShift(9),
            Rule.noise(9),
            Rule.function("unheard_of", ""))) {
      assertTrue(rule.isLossy(), rule.toString());
    }
  }

  @Test
  void theFunctionAndItsArgumentsAreToldApart() {
    Rule rule = Rule.partial(0, 4, "'");
    assertEquals("partial", rule.function());
    assertEquals("keep_first=0, keep_last=4, with=''''", rule.arguments());
    assertEquals("", Rule.classes().arguments());
  }

  @Test
  void theLongestResultCountsCodePoints() {
    assertEquals(0, Rule.classes().longestResult());
    assertEquals(3, Rule.fixed("a😀b").longestResult());
    assertEquals(32, Rule.hash().longestResult());
    assertEquals(12, Rule.hash(12).scope("s").longestResult());
    assertEquals(Rule.UNKNOWN, Rule.email("example.com").longestResult());
    assertEquals(Rule.UNKNOWN, Rule.function("hash", "").longestResult());
  }

  @Test
  void anArgumentOutOfRangeIsRefused() {
    assertThrows(IllegalArgumentException.class, () -> Rule.hash(0));
    assertThrows(IllegalArgumentException.class, () -> Rule.hash(65));
    assertThrows(IllegalArgumentException.class, () -> Rule.partial(-1, 0));
    assertThrows(IllegalArgumentException.class, () -> Rule.partial(0, -1));
    assertThrows(IllegalArgumentException.class, () -> Rule.hash().scope(""));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("no name", ""));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("type", ""));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("unique", ""));
    assertThrows(IllegalArgumentException.class, () -> Rule.card(-1));
    assertThrows(IllegalArgumentException.class, () -> Rule.dateShift(0));
    assertThrows(IllegalArgumentException.class, () -> Rule.noise(0));
    assertThrows(IllegalArgumentException.class, () -> Rule.partial(0, 0).hideLeast(-1));
    assertThrows(IllegalArgumentException.class, () -> Rule.email(""));
    assertThrows(IllegalArgumentException.class, () -> Rule.dict(""));
    assertThrows(IllegalArgumentException.class, () -> Rule.ff1(""));
  }

  @Test
  void aMarkIsOneCharacterUpToUFFFFAndNoControl() {
    for (String mark : List.of("", "##", "😀", "\uD83D", "\0", "\n", "\u007F")) {
      assertThrows(IllegalArgumentException.class, () -> Rule.partial(0, 0, mark));
    }
    for (String mark : List.of("#", " ", "'", "·", "\uFFFD")) {
      assertEquals("with=" + Text.quote(mark), Rule.partial(0, 0, mark).arguments().split(", ")[2]);
    }
  }

  @Test
  void aTextThatCannotBeSentIsRefused() {
    assertThrows(IllegalArgumentException.class, () -> Rule.fixed("a\0b"));
    assertThrows(IllegalArgumentException.class, () -> Rule.fixed("a\uD83D"));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("f", "\uDE00"));
    assertThrows(IllegalArgumentException.class, () -> OnError.fixed("\0"));
  }
}
