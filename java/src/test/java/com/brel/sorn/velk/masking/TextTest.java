package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;

import org.junit.jupiter.api.Test;

class TextTest {
  @Test
  void wellFormedTextHasNoFlaw() {
    assertEquals(0, Text.flaw(""));
    assertEquals(0, Text.flaw("Zoë 王小明 \uFFFD"));
    assertEquals(0, Text.flaw("😀😀"));
  }

  @Test
  void aZeroCharacterIsAFlawWhereverItStands() {
    assertEquals(FieldError.ZERO_CHARACTER, Text.flaw("\0"));
    assertEquals(FieldError.ZERO_CHARACTER, Text.flaw("a\0"));
    assertEquals(FieldError.ZERO_CHARACTER, Text.flaw("😀\0😀"));
  }

  @Test
  void halfASurrogatePairIsAFlawWhereverItStands() {
    assertEquals(FieldError.LONE_SURROGATE, Text.flaw("\uD83D"));
    assertEquals(FieldError.LONE_SURROGATE, Text.flaw("\uDE00"));
    assertEquals(FieldError.LONE_SURROGATE, Text.flaw("a\uD83Db"));
    assertEquals(FieldError.LONE_SURROGATE, Text.flaw("\uDE00\uD83D"));
    assertEquals(FieldError.LONE_SURROGATE, Text.flaw("😀\uD83D\uD83D\uDE00"));
  }
}
