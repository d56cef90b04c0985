package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.Map;
import org.junit.jupiter.api.Test;

class MaskingErrorsTest {
  static long sum(Map<Integer, Long> codes) {
    return codes.values().stream().mapToLong(Long::longValue).sum();
  }

  @Test
  void itStartsWithNothing() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "none");
    assertEquals(true, errors.isZero());
    assertEquals(Map.of(), errors.value());
  }
}
