package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import org.apache.spark.sql.catalyst.expressions.Alias;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.CreateNamedStruct;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.Literal;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.plans.logical.LogicalPlan;
import org.apache.spark.sql.catalyst.plans.logical.Project;
import org.apache.spark.sql.catalyst.rules.Rule;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
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
      Optional<VelkMask> rows = MaskCalls.ofRows(list);
      if (rows.isPresent()) {
        return extracted(rows.get(), list, project.child());
      }
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
    Map<Expression, Expression> results = new LinkedHashMap<>();
    for (VelkMask call : calls) {
      inputs.add(below(call.value(), below));
      results.put(call.canonicalized(), Plans.attribute("masked", call.dataType()));
    }
    List<Attribute> made = results.values().stream().map(Attribute.class::cast).toList();
    List<NamedExpression> above = above(list, results, made, below);
    return masked(MaskCalls.masking(calls), inputs, made, above, below, child);
  }

  /** Rows that are put together for a call are put together from what a batch made of columns. */
  private static LogicalPlan extracted(
      VelkMask call, List<NamedExpression> list, LogicalPlan child) {
    TableMasking masking = call.rows();
    List<Expression> given = Plans.list(((CreateNamedStruct) call.value()).valExprs());
    List<NamedExpression> below = new ArrayList<>();
    List<Attribute> inputs = new ArrayList<>();
    List<Attribute> results = new ArrayList<>();
    List<Expression> row = new ArrayList<>();
    for (int i = 0; i < given.size(); i++) {
      TableColumn column = masking.columns().get(i);
      DataType type = given.get(i).dataType();
      row.add(Literal.create(column.name(), DataTypes.StringType));
      if (column.sent()) {
        inputs.add(below(given.get(i), below));
        results.add(Plans.attribute("masked", type));
        row.add(results.get(results.size() - 1));
      } else {
        row.add(column.isNull() ? Literal.create(null, type) : below(given.get(i), below));
      }
    }
    Expression struct = new CreateNamedStruct(Plans.seq(row));
    List<NamedExpression> above = above(list, Map.of(call.canonicalized(), struct), results, below);
    return masked(masking, inputs, results, above, below, child);
  }

  /** The columns with what calls give in their place; all else that they need comes from below. */
  private static List<NamedExpression> above(
      List<NamedExpression> list,
      Map<Expression, Expression> calls,
      List<Attribute> results,
      List<NamedExpression> below) {
    List<NamedExpression> above = new ArrayList<>();
    for (NamedExpression column : list) {
      Expression replaced = MaskCalls.replace((Expression) column, calls);
      boolean untouched = replaced == column && !(column instanceof Attribute);
      above.add(untouched ? below(column, below) : (NamedExpression) replaced);
    }
    for (Attribute passed : Plans.references(Plans.expressions(above))) {
      if (Plans.indexOf(passed, results) < 0) {
        below(passed, below);
      }
    }
    return above;
  }

  private static LogicalPlan masked(
      TableMasking masking,
      List<Attribute> inputs,
      List<Attribute> results,
      List<NamedExpression> above,
      List<NamedExpression> below,
      LogicalPlan child) {
    LogicalPlan given = extracted(new Project(Plans.seq(below), child));
    return new Project(
        Plans.seq(above), new MaskedTable(masking, Plans.seq(inputs), Plans.seq(results), given));
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
