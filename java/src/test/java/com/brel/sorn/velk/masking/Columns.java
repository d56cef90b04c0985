package com.brel.sorn.velk.masking;

import java.util.Arrays;
import java.util.List;

/** Shorthands of the tests. */
final class Columns {
  static final String KEY = "env:MASK_KEY";

  private Columns() {}

  /** A column as a running service has it, of a rule whose longest result is known here. */
  static Column of(String name, Type type, Rule rule) {
    ColumnRule described = new ColumnRule(name, type, rule, false);
    return Column.of(described, rule.longestResult(), OnError.UNSAID);
  }

  /** A running service of one column. */
  static MaskingService column(Engine engine, Type type, Rule rule) {
    return engine.service("one").key(KEY).column("c", type, rule).open();
  }

  /** Masks one value and reads it. */
  static String mask(Engine engine, Type type, Rule rule, String value) {
    try (MaskingService service = column(engine, type, rule)) {
      return service.mask(rows(value)).value(0, 0);
    }
  }

  /** Rows of one column. */
  static List<List<String>> rows(String... values) {
    return Arrays.stream(values).map(value -> Arrays.asList(new String[] {value})).toList();
  }
}
