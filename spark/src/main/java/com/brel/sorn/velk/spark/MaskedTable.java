package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.List;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.AttributeSet;
import org.apache.spark.sql.catalyst.plans.logical.LogicalPlan;
import org.apache.spark.sql.catalyst.plans.logical.UnaryNode;
import scala.collection.immutable.IndexedSeq;
import scala.collection.immutable.Seq;

/**
 * A table that is masked, in a plan that is not yet one of tasks: the columns of its child, and
 * behind them the results. All columns of the table are masked, though later steps read some of
 * them only: the count of errors is that of the table, whatever is asked of it.
 */
public final class MaskedTable extends LogicalPlan implements UnaryNode, PlanNode {
  private final TableMasking masking;
  private final Seq<Attribute> inputs;
  private final Seq<Attribute> results;
  private final LogicalPlan child;

  /**
   * Describes the table; Spark copies plans by this.
   *
   * @param masking how it is masked
   * @param inputs the columns that the engine is shown
   * @param results what becomes of each of these
   * @param child the table as it was
   */
  public MaskedTable(
      TableMasking masking, Seq<Attribute> inputs, Seq<Attribute> results, LogicalPlan child) {
    this.masking = masking;
    this.inputs = inputs;
    this.results = results;
    this.child = child;
  }

  TableMasking masking() {
    return masking;
  }

  Seq<Attribute> inputs() {
    return inputs;
  }

  Seq<Attribute> results() {
    return results;
  }

  @Override
  public LogicalPlan child() {
    return child;
  }

  @Override
  public Seq<LogicalPlan> children() {
    return Plans.seq(List.of(child));
  }

  @Override
  public Seq<Attribute> output() {
    List<Attribute> all = new ArrayList<>(Plans.list(child.output()));
    all.addAll(Plans.list(results));
    return Plans.seq(all);
  }

  @Override
  public AttributeSet producedAttributes() {
    return Plans.set(results);
  }

  @Override
  public LogicalPlan withNewChildInternal(LogicalPlan newChild) {
    return new MaskedTable(masking, inputs, results, newChild);
  }

  @Override
  public LogicalPlan withNewChildrenInternal(IndexedSeq<LogicalPlan> children) {
    return withNewChildInternal(children.apply(0));
  }

  @Override
  public String nodeName() {
    return "VelkMask";
  }

  @Override
  public List<Object> elements() {
    return List.of(masking, inputs, results, child);
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
