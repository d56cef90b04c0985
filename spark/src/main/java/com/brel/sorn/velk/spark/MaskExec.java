package com.brel.sorn.velk.spark;

import java.util.List;
import org.apache.spark.rdd.RDD;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.AttributeSet;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.expressions.SortOrder;
import org.apache.spark.sql.catalyst.plans.physical.Partitioning;
import org.apache.spark.sql.catalyst.plans.physical.SinglePartition$;
import org.apache.spark.sql.catalyst.plans.physical.UnknownPartitioning;
import org.apache.spark.sql.execution.SparkPlan;
import org.apache.spark.sql.execution.UnaryExecNode;
import org.apache.spark.sql.execution.metric.SQLMetric;
import org.apache.spark.sql.execution.metric.SQLMetrics;
import scala.collection.immutable.IndexedSeq;
import scala.collection.immutable.Map;
import scala.collection.immutable.Seq;
import scala.reflect.ClassTag$;

/**
 * Masks columns of its child, batch by batch, and computes its output from the child's columns and
 * the results.
 */
public final class MaskExec extends SparkPlan implements UnaryExecNode, PlanNode {
  private static final long serialVersionUID = 1L;
  private static final String ROWS = "numOutputRows";
  private static final String ERRORS = "velkErrors";

  private final TableMasking masking;

  @SuppressWarnings("serial") // All of Spark's can be, here and below.
  private final Seq<Attribute> inputs;

  @SuppressWarnings("serial")
  private final Seq<Attribute> results;

  @SuppressWarnings("serial")
  private final Seq<NamedExpression> list;

  private final SparkPlan child;
  private transient Map<String, SQLMetric> metrics;

  /**
   * Describes the step; Spark copies plans by this.
   *
   * @param masking how the columns are masked
   * @param inputs those columns, of the child
   * @param results what becomes of each of these
   * @param list what comes out, by the child's columns and the results
   * @param child where the rows come from
   */
  public MaskExec(
      TableMasking masking,
      Seq<Attribute> inputs,
      Seq<Attribute> results,
      Seq<NamedExpression> list,
      SparkPlan child) {
    this.masking = masking;
    this.inputs = inputs;
    this.results = results;
    this.list = list;
    this.child = child;
  }

  @Override
  public SparkPlan child() {
    return child;
  }

  @Override
  public Seq<SparkPlan> children() {
    return Plans.seq(List.of(child));
  }

  @Override
  public Seq<Attribute> output() {
    return Plans.seq(Plans.list(list).stream().map(NamedExpression::toAttribute).toList());
  }

  @Override
  public AttributeSet producedAttributes() {
    return Plans.set(results);
  }

  /** As the child's rows are divided, where all columns by which they are still come out. */
  @Override
  public Partitioning outputPartitioning() {
    Partitioning partitioning = child.outputPartitioning();
    boolean stays =
        partitioning.equals(SinglePartition$.MODULE$)
            || partitioning instanceof Expression by && by.references().subsetOf(outputSet());
    return stays ? partitioning : new UnknownPartitioning(partitioning.numPartitions());
  }

  @Override
  public Seq<SortOrder> outputOrdering() {
    return Plans.seq(
        Plans.list(child.outputOrdering()).stream()
            .takeWhile(order -> order.references().subsetOf(outputSet()))
            .toList());
  }

  @Override
  public synchronized Map<String, SQLMetric> metrics() {
    if (metrics == null) {
      metrics =
          new Map.Map2<>(
              ROWS,
              SQLMetrics.createMetric(sparkContext(), "number of output rows"),
              ERRORS,
              SQLMetrics.createMetric(sparkContext(), "values that could not be masked"));
    }
    return metrics;
  }

  @Override
  public RDD<InternalRow> doExecute() {
    MaskedPart.Step step =
        new MaskedPart.Step(
            masking,
            Plans.list(inputs),
            Plans.list(results),
            Plans.expressions(Plans.list(list)),
            Plans.list(child.output()),
            MaskingErrors.newRun(),
            longMetric(ROWS),
            longMetric(ERRORS));
    return child
        .execute()
        .mapPartitionsWithEvaluator(step, ClassTag$.MODULE$.apply(InternalRow.class));
  }

  @Override
  public SparkPlan withNewChildInternal(SparkPlan newChild) {
    return new MaskExec(masking, inputs, results, list, newChild);
  }

  @Override
  public SparkPlan withNewChildrenInternal(IndexedSeq<SparkPlan> children) {
    return withNewChildInternal(children.apply(0));
  }

  @Override
  public String nodeName() {
    return "VelkMask";
  }

  @Override
  public List<Object> elements() {
    return List.of(masking, inputs, results, list, child);
  }

  @Override
  public boolean equals(Object other) {
    return isSame(other);
  }

  @Override
  public int hashCode() {
    return super.hashCode();
  }
}
