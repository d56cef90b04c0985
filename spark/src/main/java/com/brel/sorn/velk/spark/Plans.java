package com.brel.sorn.velk.spark;

import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.spark.sql.catalyst.expressions.Alias;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.AttributeReference;
import org.apache.spark.sql.catalyst.expressions.AttributeSet;
import org.apache.spark.sql.catalyst.expressions.ExprId;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.Metadata;
import scala.Option;
import scala.collection.immutable.Seq;
import scala.jdk.javaapi.CollectionConverters;

/** What plans of Spark are made of, for Java. */
final class Plans {
  private Plans() {}

  static <T> Seq<T> seq(Collection<? extends T> all) {
    return CollectionConverters.<T>asScala(List.<T>copyOf(all)).toSeq();
  }

  static <T> List<T> list(scala.collection.Iterable<T> all) {
    return List.copyOf(CollectionConverters.asJava(all.toSeq()));
  }

  static List<Expression> expressions(List<NamedExpression> columns) {
    return columns.stream().map(column -> (Expression) column).toList();
  }

  /** A new attribute, which may be null. */
  static AttributeReference attribute(String name, DataType type) {
    return new AttributeReference(
        name, type, true, Metadata.empty(), NamedExpression.newExprId(), seq(List.of()));
  }

  static Alias alias(Expression value, String name, Option<Metadata> metadata) {
    return new Alias(
        value, name, NamedExpression.newExprId(), seq(List.of()), metadata, seq(List.of()));
  }

  /** The attributes that expressions read, each once. */
  static List<Attribute> references(List<? extends Expression> expressions) {
    Map<ExprId, Attribute> all = new LinkedHashMap<>();
    for (Expression expression : expressions) {
      list(expression.references().toSeq()).forEach(one -> all.putIfAbsent(one.exprId(), one));
    }
    return List.copyOf(all.values());
  }

  /** Where an attribute is among others, -1 where it is not: two of one id are the same. */
  static int indexOf(Attribute wanted, List<? extends Attribute> all) {
    for (int i = 0; i < all.size(); i++) {
      if (all.get(i).exprId().equals(wanted.exprId())) {
        return i;
      }
    }
    return -1;
  }

  static AttributeSet set(Seq<Attribute> attributes) {
    return AttributeSet.fromAttributeSets(
        seq(list(attributes).stream().map(AttributeSet::apply).toList()));
  }
}
