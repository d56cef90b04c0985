package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.TableException;
import java.io.Serializable;
import java.util.List;
import java.util.Objects;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.analysis.TypeCheckResult;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.Unevaluable;
import org.apache.spark.sql.catalyst.expressions.codegen.Block;
import org.apache.spark.sql.catalyst.expressions.codegen.CodeBlock;
import org.apache.spark.sql.catalyst.expressions.codegen.CodeGenerator;
import org.apache.spark.sql.catalyst.expressions.codegen.CodegenContext;
import org.apache.spark.sql.catalyst.expressions.codegen.ExprCode;
import org.apache.spark.sql.catalyst.expressions.codegen.JavaCode;
import org.apache.spark.sql.catalyst.util.DateTimeUtils;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructType;
import scala.collection.immutable.IndexedSeq;
import scala.collection.immutable.Seq;
import scala.jdk.javaapi.CollectionConverters;

/**
 * {@code velk_mask(value, rule)} and {@code velk_try_mask(value, rule)} in a plan: the same value
 * always gives the same result. Where the value is a struct, the rule is a masking string and the
 * struct is masked as a row by it.
 *
 * <p>It is marked as one that cannot be evaluated, though tasks evaluate it, because that mark
 * keeps the optimizer from doing so: the driver need not have the key. A constant is masked by a
 * task, too.
 */
public final class VelkMask extends Expression implements Unevaluable, Serializable, PlanNode {
  private static final long serialVersionUID = 1L;

  @SuppressWarnings("serial") // All of Spark's can be.
  private final Expression value;

  private final String rule;
  private final String key;
  private final String zone;
  private final boolean tries;
  private transient InternalMasking masking;

  /**
   * Describes a call; Spark copies plans by this.
   *
   * @param value what is masked
   * @param rule the rule, or of a struct the masking string, as it was written
   * @param key where tasks find the key, empty for nowhere
   * @param zone the session's time zone
   * @param tries whether the result tells an error's code
   */
  public VelkMask(Expression value, String rule, String key, String zone, boolean tries) {
    this.value = value;
    this.rule = rule;
    this.key = key;
    this.zone = zone;
    this.tries = tries;
  }

  @Override
  public Seq<Expression> children() {
    return CollectionConverters.asScala(List.of(value)).toSeq();
  }

  @Override
  public Expression withNewChildrenInternal(IndexedSeq<Expression> children) {
    return new VelkMask(children.apply(0), rule, key, zone, tries);
  }

  @Override
  public DataType dataType() {
    if (value.dataType() instanceof StructType row) {
      return RowMasking.masked(row);
    }
    return tries
        ? new StructType().add("value", value.dataType()).add("error", DataTypes.IntegerType)
        : value.dataType();
  }

  @Override
  public boolean nullable() {
    return true;
  }

  @Override
  public boolean foldable() {
    return false;
  }

  /** Spark then does not do it twice where once is enough. */
  @Override
  public boolean expensive() {
    return true;
  }

  @Override
  public String prettyName() {
    return tries ? "velk_try_mask" : "velk_mask";
  }

  @Override
  public TypeCheckResult checkInputDataTypes() {
    try {
      masking();
      return TypeCheckResult.TypeCheckSuccess$.MODULE$;
    } catch (IllegalArgumentException | TableException | VELKException e) {
      return new TypeCheckResult.TypeCheckFailure(e.getMessage());
    }
  }

  private InternalMasking masking() {
    if (masking == null) {
      masking = value.dataType() instanceof StructType row ? rowMasking(row) : valueMasking();
    }
    return masking;
  }

  private RowMasking rowMasking(StructType row) {
    if (tries) {
      throw new IllegalArgumentException("rows are masked by velk_mask, single values by this");
    }
    return RowMasking.of(rule, key, row, DateTimeUtils.getZoneId(zone));
  }

  private ValueMasking valueMasking() {
    Form form = form();
    return new ValueMasking(ValueRule.maskingString(rule, key, form.declared()), form, tries);
  }

  /**
   * How single values are masked.
   *
   * @throws IllegalArgumentException if there is no way for their type
   */
  Form form() {
    DataType type = value.dataType();
    return Form.of(type, DateTimeUtils.getZoneId(zone))
        .orElseThrow(
            () ->
                new IllegalArgumentException(
                    "values of the type " + type.simpleString() + " cannot be masked"));
  }

  Expression value() {
    return value;
  }

  /** Whether a row is masked by a masking string. */
  boolean isOfRows() {
    return value.dataType() instanceof StructType;
  }

  /** How the columns of rows are masked. */
  TableMasking rows() {
    return ((RowMasking) masking()).masking();
  }

  ValueRule rule() {
    return ValueRule.of(rule);
  }

  String key() {
    return key;
  }

  boolean tries() {
    return tries;
  }

  @Override
  public Object eval(InternalRow row) {
    return masking().mask(value.eval(row));
  }

  @Override
  public ExprCode doGenCode(CodegenContext context, ExprCode code) {
    ExprCode given = value.genCode(context);
    String masking = context.addReferenceObj("masking", masking(), InternalMasking.class.getName());
    String result = context.freshName("masked");
    String boxed = CodeGenerator.boxedType(dataType());
    String java = CodeGenerator.javaType(dataType());
    String text =
        "Object "
            + result
            + " = "
            + masking
            + ".mask("
            + boxed(given)
            + ");\n"
            + "boolean "
            + code.isNull()
            + " = "
            + result
            + " == null;\n"
            + java
            + " "
            + code.value()
            + " = "
            + CodeGenerator.defaultValue(dataType(), false)
            + ";\n"
            + "if (!"
            + code.isNull()
            + ") {\n  "
            + code.value()
            + " = ("
            + boxed
            + ") "
            + result
            + ";\n}\n";
    return code.copy(given.code().$plus(block(text)), code.isNull(), code.value());
  }

  /** The given value as an object, null for null. */
  private String boxed(ExprCode given) {
    DataType type = value.dataType();
    String object =
        CodeGenerator.isPrimitiveType(type)
            ? CodeGenerator.boxedType(type) + ".valueOf(" + given.value() + ")"
            : given.value().toString();
    return "(" + given.isNull() + ") ? null : (Object) " + object;
  }

  private static Block block(String text) {
    return new CodeBlock(
        CollectionConverters.asScala(List.of(text)).toSeq(),
        CollectionConverters.asScala(List.<JavaCode>of()).toSeq());
  }

  @Override
  public List<Object> elements() {
    return List.of(value, rule, key, zone, tries);
  }

  @Override
  public boolean equals(Object other) {
    return isSame(other);
  }

  @Override
  public int hashCode() {
    return Objects.hash(value, rule, key, zone, tries);
  }
}
