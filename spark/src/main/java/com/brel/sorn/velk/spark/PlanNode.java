package com.brel.sorn.velk.spark;

import java.util.List;
import scala.Product;

/** What Spark wants to know of a node of a plan, which it compares and copies by its elements. */
interface PlanNode extends Product {
  /** What the node was made of, in the order of its constructor. */
  List<Object> elements();

  @Override
  default int productArity() {
    return elements().size();
  }

  @Override
  default Object productElement(int index) {
    return elements().get(index);
  }

  @Override
  default boolean canEqual(Object other) {
    return getClass().isInstance(other);
  }

  /** Whether another node is of the same class and made of the same. */
  default boolean isSame(Object other) {
    return other instanceof PlanNode node
        && getClass() == node.getClass()
        && elements().equals(node.elements());
  }
}
