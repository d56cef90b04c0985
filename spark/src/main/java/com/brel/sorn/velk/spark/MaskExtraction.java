package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.spark.sql.catalyst.expressions.Alias;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.plans.logical.LogicalPlan;
import org.apache.spark.sql.catalyst.plans.logical.Project;
import org.apache.spark.sql.catalyst.rules.Rule;
import scala.Option;

/** Has the calls of a projection made in batches, by a step below it. */
final class MaskExtraction extends Rule<LogicalPlan> {
  @Override
  public LogicalPlan apply(LogicalPlan plan) {
    return extracted(plan.mapChildren(this::apply));
  }

  private static LogicalPlan extracted(LogicalPlan plan) {
    if (plan instanceof Project project) {
      List<NamedExpression> list = Plans.list(project.projectList());
      List<VelkMask> calls = MaskCalls.of(list);
      return calls.isEmpty() ? plan : extracted(calls, list, project.child());
    }
    return plan;
  }

  /**
   * Columns with calls are computed from their results, all others and what the calls are given
   * below of them, where Spark generates code for them, and calls within calls are found in turn.
   */
  private static LogicalPlan extracted(
      List<VelkMask> calls, List<NamedExpression> list, LogicalPlan child) {
    List<NamedExpression> below = new ArrayList<>();
    List<Attribute> inputs = new ArrayList<>();
    Map<Expression, Attribute> results = new LinkedHashMap<>();
    for (VelkMask call : calls) {
      inputs.add(below(call.value(), below));
      results.put(call.canonicalized(), Plans.attribute("masked", call.dataType()));
    }
    List<NamedExpression> above = new ArrayList<>();
    for (NamedExpression column : list) {
      Expression replaced = MaskCalls.replace((Expression) column, results);
      boolean untouched = replaced == column && !(column instanceof Attribute);
      above.add(untouched ? below(column, below) : (NamedExpression) replaced);
    }
    for (Attribute passed : Plans.references(Plans.expressions(above))) {
      if (Plans.indexOf(passed, List.copyOf(results.values())) < 0) {
        below(passed, below);
      }
    }
    LogicalPlan masked =
        new MaskedTable(
            MaskCalls.masking(calls),
            Plans.seq(inputs),
            Plans.seq(results.values()),
            extracted(new Project(Plans.seq(below), child)));
    return new Project(Plans.seq(above), masked);
  }

  /** Has an expression among the columns below, and tells which of these it is. */
  private static Attribute below(Object value, List<NamedExpression> below) {
    NamedExpression column =
        value instanceof Attribute || value instanceof Alias
            ? (NamedExpression) value
            : Plans.alias((Expression) value, "value", Option.empty());
    Attribute attribute = column.toAttribute();
    if (Plans.indexOf(attribute, below.stream().map(NamedExpression::toAttribute).toList()) < 0) {
      below.add(column);
    }
    return attribute;
  }
}
