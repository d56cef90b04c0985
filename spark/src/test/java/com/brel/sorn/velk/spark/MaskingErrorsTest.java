package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.Map;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
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

  private static MaskingErrors of(int part, String... columns) {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "task");
    for (String column : columns) {
      errors.add(new MaskingErrors.Value(new MaskingErrors.Part(7, part), column, 7503));
    }
    return errors;
  }

  /** Tasks beside each other, of a stage that is repeated, and of an action that ends early. */
  @Test
  void aPartThatSeveralTasksMaskedCountsOnce() {
    MaskingErrors all = of(0);
    all.merge(of(1, "a", "b", "a"));
    all.merge(of(2, "b"));
    all.merge(of(1, "a", "b", "a"));
    all.merge(of(1, "a"));
    Map<String, Map<Integer, Long>> expected = Map.of("a", Map.of(7503, 2L), "b", Map.of(7503, 2L));
    assertEquals(expected, all.value());
    assertEquals(expected, all.copy().value());
    all.merge(of(2, "b", "c"));
    assertEquals(
        Map.of("a", Map.of(7503, 2L), "b", Map.of(7503, 2L), "c", Map.of(7503, 1L)), all.value());
    all.reset();
    assertEquals(Map.of(), all.value());
  }

  /** Spark looks at the rows to find where to divide them, then sorts them. */
  @Test
  void aSortThatLooksAtTheTableBeforehandCountsOnce() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "sorted");
    Dataset<Row> rows = LocalSpark.session().range(0, 300, 1, 3).selectExpr("id", "'no' as card");
    String rules = LocalSpark.START + "id=keep card=card(keep_first=6)";
    Dataset<Row> sorted = VelkMasking.mask(rows, rules, errors).orderBy("id");
    assertEquals(300, sorted.collectAsList().size());
    assertEquals(Map.of("card", Map.of(7509, 300L)), errors.value());
  }
}
