package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;

import org.junit.jupiter.api.Test;

class TriedTest {
  @Test
  void eachCallerHasAnExceptionOfItsOwnWithTheFirstReasonAsItsCause() {
    Tried tried = new Tried();
    UnsatisfiedLinkError first = new UnsatisfiedLinkError("first");
    tried.failed("nowhere", null);
    tried.failed("here", first);
    tried.failed("there", new UnsatisfiedLinkError("second"));
    EngineLoadException one = tried.failure();
    EngineLoadException other = tried.failure();
    assertNotSame(one, other);
    assertEquals(one.getMessage(), other.getMessage());
    assertSame(first, one.getCause());
    assertSame(first, other.getCause());
  }

  @Test
  void whatIsMissingHasNoCause() {
    Tried tried = new Tried();
    tried.missing("here: not there");
    assertNull(tried.failure().getCause());
  }
}
