package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.OnError;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import org.apache.spark.sql.catalyst.expressions.Alias;
import org.apache.spark.sql.catalyst.expressions.And;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.ConditionalExpression;
import org.apache.spark.sql.catalyst.expressions.CreateNamedStruct;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.GetStructField;
import org.apache.spark.sql.catalyst.expressions.HigherOrderFunction;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.expressions.Or;

/**
 * The calls of {@code velk_mask} and {@code velk_try_mask} in the columns of a projection that are
 * made for each of its rows, whatever its values, so that a batch may make them beforehand.
 */
final class MaskCalls {
  private final Map<Expression, VelkMask> found = new LinkedHashMap<>();

  private MaskCalls() {}

  /** The calls that one batch can make, each of them once. */
  static List<VelkMask> of(List<NamedExpression> columns) {
    MaskCalls calls = new MaskCalls();
    for (NamedExpression column : columns) {
      Expression expression = (Expression) column;
      if (expression.deterministic()) {
        calls.find(expression, true);
      }
    }
    return List.copyOf(calls.found.values());
  }

  /** A call for rows that are put together for it, of which a batch can mask the columns. */
  static Optional<VelkMask> ofRows(List<NamedExpression> columns) {
    for (NamedExpression column : columns) {
      Expression inner = (Expression) column;
      while (inner instanceof Alias || inner instanceof GetStructField) {
        inner = inner.children().apply(0);
      }
      if (inner instanceof VelkMask call
          && call.value() instanceof CreateNamedStruct
          && call.deterministic()) {
        return Optional.of(call);
      }
    }
    return Optional.empty();
  }

  /**
   * Looks for calls.
   *
   * @param free whether nothing keeps what the call is given from being computed, which may fail
   */
  private void find(Expression expression, boolean free) {
    if (expression instanceof VelkMask call && canBeMade(call, free)) {
      found.putIfAbsent(call.canonicalized(), call);
      return;
    }
    boolean stays =
        free
            && (expression instanceof Alias
                || expression instanceof GetStructField
                || expression instanceof VelkMask);
    for (Expression child : alwaysEvaluated(expression)) {
      find(child, stays);
    }
  }

  private boolean canBeMade(VelkMask call, boolean free) {
    if (call.isOfRows()) {
      return false; // Its string is one of a whole table.
    }
    boolean sameKey = found.values().stream().allMatch(one -> one.key().equals(call.key()));
    return sameKey && (free || cannotFail(call.value()));
  }

  private static boolean cannotFail(Expression value) {
    return value instanceof Attribute || value instanceof VelkMask call && cannotFail(call.value());
  }

  private static List<Expression> alwaysEvaluated(Expression expression) {
    if (expression instanceof ConditionalExpression conditional) {
      return Plans.list(conditional.alwaysEvaluatedInputs());
    }
    if (expression instanceof And || expression instanceof Or) {
      return List.of(expression.children().apply(0));
    }
    return expression instanceof HigherOrderFunction
        ? List.of()
        : Plans.list(expression.children());
  }

  /** An expression with results in the place of calls; itself where there are none in it. */
  static Expression replace(Expression expression, Map<Expression, Expression> results) {
    if (expression instanceof VelkMask) {
      Expression result = results.get(expression.canonicalized());
      if (result != null) {
        return result;
      }
    }
    return expression.mapChildren(child -> replace(child, results));
  }

  /** How a batch makes calls of one key. */
  static TableMasking masking(List<VelkMask> calls) {
    List<TableColumn> columns = new ArrayList<>();
    for (VelkMask call : calls) {
      TableColumn.Way way = call.tries() ? TableColumn.Way.TRIED : TableColumn.Way.MASKED;
      String name = ValueRule.COLUMN + (columns.size() + 1);
      columns.add(new TableColumn(name, call.rule().toString(), call.form(), way, true));
    }
    List<ValueRule> rules = calls.stream().map(VelkMask::rule).toList();
    String maskingString = ValueRule.maskingString(columns, rules, calls.get(0).key());
    return new TableMasking(maskingString, columns, OnError.Way.ERROR, null);
  }
}
