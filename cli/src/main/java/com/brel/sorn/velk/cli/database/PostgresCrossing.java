package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.masking.ColumnRule;
import java.util.function.IntSupplier;

/**
 * From PostgreSQL to PostgreSQL, where columns are the same and every value has a text.
 *
 * @param unordered whether the target's user may set session_replication_role
 */
record PostgresCrossing(boolean unordered) implements Crossing {
  @Override
  public String circleAdvice() {
    return "the target's user must be allowed to set session_replication_role";
  }

  @Override
  public String difference(Column ours, Column theirs) {
    String is = described(ours);
    String found = described(theirs);
    return is.equals(found) ? null : "is " + is + ", and is " + found + " in the target";
  }

  private static String described(Column column) {
    return column.type() + (column.generated() ? " generated" : "");
  }

  @Override
  public String obstacle(Column ours, Column theirs, ColumnRule rule, IntSupplier longest) {
    return null;
  }
}
