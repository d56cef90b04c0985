package com.brel.sorn.velk.masking;

import java.util.Objects;

/**
 * A column of a service: what it is called, what it holds and how it is masked.
 *
 * @param name the column's name; of a masking string it may be a pattern or a position
 * @param type its declared type
 * @param rule how it is masked
 * @param unique whether its values were declared to stay different from each other
 */
public record ColumnRule(String name, Type type, Rule rule, boolean unique) {
  /**
   * Describes a column.
   *
   * @param name the column's name
   * @param type its declared type
   * @param rule how it is masked
   * @param unique whether its values are declared to stay different from each other
   * @throws IllegalArgumentException if the name is empty or not well-formed
   */
  public ColumnRule {
    Objects.requireNonNull(name, "name");
    Text.require("column name", name);
    Objects.requireNonNull(type, "type");
    Objects.requireNonNull(rule, "rule");
  }

  /** The same rule for a column of another name. */
  ColumnRule named(String other) {
    return new ColumnRule(other, type, rule, unique);
  }

  /** The column as a masking string writes it. */
  @Override
  public String toString() {
    return MaskingString.entry(this);
  }
}
