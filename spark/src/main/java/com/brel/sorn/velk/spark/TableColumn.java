package com.brel.sorn.velk.spark;

import java.io.Serializable;

/**
 * A column on its way through a task.
 *
 * @param name the column's name
 * @param rule its rule as it is shown
 * @param form how its values are masked, null where the engine has no form for them
 * @param way what becomes of its values
 * @param shown whether the engine has to know of the column, be it with no value
 */
record TableColumn(String name, String rule, Form form, Way way, boolean shown)
    implements Serializable {
  /** What becomes of the values of a column. */
  enum Way {
    /** They go round the engine: it is not shown them, and they stay or are made null. */
    AROUND,
    /** They stay what they are, and the engine is shown them because of others. */
    KEPT,
    /** Texts stay what they are; the engine is shown rows in which one is no text. */
    CHECKED,
    /** They become what the engine makes of them. */
    MASKED,
    /** They become a struct of that and an error's code. */
    TRIED
  }

  /** Whether the engine may be shown its values, and there is a result. */
  boolean sent() {
    return way != Way.AROUND;
  }

  /** Whether its values are made null without the engine. */
  boolean isNull() {
    return !sent() && rule.equals("null");
  }

  @Override
  public String toString() {
    return name + "=" + rule;
  }
}
