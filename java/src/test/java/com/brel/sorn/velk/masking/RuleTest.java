package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

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
    assertEquals("dateshift(days=30)", Rule.function("dateshift", "days=30", 0).toString());
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
    assertEquals(7, Rule.function("f", "", 7).longestResult());
  }

  @Test
  void anArgumentOutOfRangeIsRefused() {
    assertThrows(IllegalArgumentException.class, () -> Rule.hash(0));
    assertThrows(IllegalArgumentException.class, () -> Rule.hash(65));
    assertThrows(IllegalArgumentException.class, () -> Rule.partial(-1, 0));
    assertThrows(IllegalArgumentException.class, () -> Rule.partial(0, -1));
    assertThrows(IllegalArgumentException.class, () -> Rule.hash().scope(""));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("no name", "", 0));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("type", "", 0));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("unique", "", 0));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("f", "", -1));
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
  void missingArgumentsAreNamed() {
    String message =
        assertThrows(NullPointerException.class, () -> Rule.function("keep", null, 0)).getMessage();
    assertEquals("arguments", message);
  }

  @Test
  void aTextThatCannotBeSentIsRefused() {
    assertThrows(IllegalArgumentException.class, () -> Rule.fixed("a\0b"));
    assertThrows(IllegalArgumentException.class, () -> Rule.fixed("a\uD83D"));
    assertThrows(IllegalArgumentException.class, () -> Rule.function("f", "\uDE00", 0));
    assertThrows(IllegalArgumentException.class, () -> OnError.fixed("\0"));
  }
}
