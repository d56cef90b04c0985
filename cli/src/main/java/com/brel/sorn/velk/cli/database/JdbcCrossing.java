package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.masking.ColumnRule;
import java.util.Collection;
import java.util.HashMap;
import java.util.Map;
import java.util.function.IntSupplier;

/** From any database to any other by JDBC, which carries some types and others not. */
final class JdbcCrossing implements Crossing {
  private final Map<Column, JdbcColumn> ours = new HashMap<>();
  private final Map<Column, JdbcColumn> theirs = new HashMap<>();
  private final boolean sameProduct;
  private final boolean unordered;

  /**
   * A crossing.
   *
   * @param sameProduct whether both databases are of one make
   * @param unordered whether the target's session may write children before their parents
   */
  JdbcCrossing(
      Collection<JdbcTable> source,
      Collection<JdbcTable> target,
      boolean sameProduct,
      boolean unordered) {
    source.forEach(table -> table.columns().forEach(c -> ours.put(c.column(), c)));
    target.forEach(table -> table.columns().forEach(c -> theirs.put(c.column(), c)));
    this.sameProduct = sameProduct;
    this.unordered = unordered;
  }

  @Override
  public boolean unordered() {
    return unordered;
  }

  @Override
  public String circleAdvice() {
    return "the target has no way to write them that leaves keys to be checked at the end";
  }

  @Override
  public String difference(Column our, Column their) {
    if (our.generated() == their.generated()) {
      return null;
    }
    return our.generated()
        ? "is generated, and is not in the target"
        : "is not generated, and is in the target";
  }

  @Override
  public String obstacle(Column our, Column their, ColumnRule rule, IntSupplier longest) {
    JdbcColumn from = ours.get(our);
    JdbcColumn to = theirs.get(their);
    String function = rule == null ? "keep" : rule.rule().function();
    return switch (function) {
      case "null" -> null;
      case "keep" -> to.obstacle(from, sameProduct);
      default -> masked(from, to, function, longest);
    };
  }

  private String masked(JdbcColumn from, JdbcColumn to, String function, IntSupplier longest) {
    Form form = from.form();
    if (form.isText() && to.narrow() && !function.equals("fixed")) {
      return function + " gives no value of the type " + to.column().type();
    }
    if (form.isText()) {
      return to.form().isText() ? tooLong(from, to, longest) : to.obstacle(from, sameProduct);
    }
    boolean fits = form.isNumber() || form.isTime() || form.hasText() && function.equals("fixed");
    return fits
        ? to.obstacle(from, sameProduct)
        : function + " gives no value of the type " + from.column().type();
  }

  private static String tooLong(JdbcColumn from, JdbcColumn to, IntSupplier longest) {
    if (to.size() == 0) {
      return null;
    }
    int told = longest.getAsInt();
    int most = told > 0 ? told : from.size();
    return most > 0 && most <= to.size()
        ? null
        : "a result may be longer than the column of the target, which holds " + to.size();
  }
}
