package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.masking.ColumnRule;
import java.util.function.IntSupplier;

/** What the columns of a source have to be for those of a target. */
interface Crossing {
  /** Whether the target's session may leave keys to be checked at the end. */
  boolean unordered();

  /** What would let a circle of foreign keys be copied. */
  String circleAdvice();

  /**
   * Tells what differs between two columns, whatever the rule.
   *
   * @return a clause that follows the column's name, null where nothing does
   */
  String difference(Column ours, Column theirs);

  /**
   * Tells why values cannot go over by a rule.
   *
   * @param rule the rule, null where the table goes over as it is
   * @param longest code points of the longest result where it may exceed its value, else 0
   * @return a clause that follows the column's place, null where they can
   */
  String obstacle(Column ours, Column theirs, ColumnRule rule, IntSupplier longest);
}
