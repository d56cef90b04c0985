package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.List;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.plans.logical.LogicalPlan;
import org.apache.spark.sql.catalyst.plans.logical.Project;
import org.apache.spark.sql.classic.SparkSession;
import org.apache.spark.sql.execution.SparkPlan;
import org.apache.spark.sql.execution.SparkStrategy;
import scala.collection.immutable.Seq;

/** Plans the step that masks, together with what is computed from its results. */
final class MaskPlanning extends SparkStrategy {
  /** For a session that was made before this jar was there. */
  static synchronized void install(SparkSession session) {
    List<SparkStrategy> known = Plans.list(session.sessionState().planner().strategies());
    if (known.stream().noneMatch(MaskPlanning.class::isInstance)) {
      List<SparkStrategy> extra =
          new ArrayList<>(Plans.list(session.experimental().extraStrategies()));
      extra.add(new MaskPlanning());
      session.experimental().extraStrategies_$eq(Plans.seq(extra));
    }
  }

  @Override
  public Seq<SparkPlan> apply(LogicalPlan plan) {
    if (plan instanceof MaskedTable table) {
      return one(masked(table, named(Plans.list(table.output()))));
    }
    if (plan instanceof Project project && project.child() instanceof MaskedTable table) {
      List<NamedExpression> list = Plans.list(project.projectList());
      if (list.stream().allMatch(column -> ((Expression) column).deterministic())) {
        return one(masked(table, list));
      }
    }
    return Plans.seq(List.of());
  }

  private static Seq<SparkPlan> one(SparkPlan plan) {
    return Plans.seq(List.of(plan));
  }

  private static List<NamedExpression> named(List<Attribute> attributes) {
    return attributes.stream().map(one -> (NamedExpression) one).toList();
  }

  private SparkPlan masked(MaskedTable table, List<NamedExpression> list) {
    return new MaskExec(
        table.masking(),
        table.inputs(),
        table.results(),
        Plans.seq(list),
        planLater(table.child()));
  }
}
