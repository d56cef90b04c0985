package com.brel.sorn.velk.masking;

import java.util.Set;

/**
 * A column of a masking string.
 *
 * @param name the column's name
 * @param type its declared type, such as {@code varchar(20)}
 * @param function the function that masks it
 * @param arguments the function's arguments as written, empty for none
 * @param unique whether its values were declared to stay different from each other
 */
public record ColumnRule(
    String name, String type, String function, String arguments, boolean unique) {
  /** Any other function may give two values the same result. */
  private static final Set<String> ONE_TO_ONE = Set.of("card", "ff1", "keep");

  /**
   * Tells whether different values may become the same.
   *
   * @return false only for a function that is known to tell them apart
   */
  public boolean isLossy() {
    return !ONE_TO_ONE.contains(function);
  }

  /**
   * Writes the rule as a masking string does.
   *
   * @return the rule, such as {@code hash(length=12)}
   */
  public String rule() {
    return arguments.isEmpty() ? function : function + "(" + arguments + ")";
  }
}
