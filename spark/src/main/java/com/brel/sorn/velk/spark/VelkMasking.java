package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.Type;
import com.brel.sorn.velk.spark.TableColumn.Way;
import java.time.ZoneId;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.Literal;
import org.apache.spark.sql.catalyst.expressions.NamedExpression;
import org.apache.spark.sql.catalyst.plans.logical.LogicalPlan;
import org.apache.spark.sql.catalyst.plans.logical.Project;
import org.apache.spark.sql.catalyst.util.DateTimeUtils;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructField;
import scala.Option;

/** Masks tables of Spark by a masking string, as the command masks files by it. */
public final class VelkMasking {
  private static final String SESSION_ZONE = "spark.sql.session.timeZone";

  private VelkMasking() {}

  /**
   * Masks a table. Nothing is read before an action on the result asks for it; string and columns
   * are checked here.
   *
   * <p>Texts, numbers, decimals, dates and timestamps are masked in the form in which a file has
   * them, timestamps in the session's time zone, and come back in their own type: a rule for a
   * column that is no text says its type ({@code born.type=date}). Other columns can be kept, or,
   * unless they hold other values, be made null. Columns, their types and metadata stay; each that
   * is not kept may hold null.
   *
   * <p>The key is read by the tasks, each on its own machine. Values that cannot be masked are null
   * unless the string says otherwise, and counted in an accumulator named {@code VELK errors}.
   *
   * @param rows the table
   * @param maskingString the masking string, with a rule for each column
   * @return the masked table
   * @throws com.brel.sorn.velk.VELKException if the string is wrong, with the place
   * @throws com.brel.sorn.velk.masking.TableException if a column has no rule or a rule no column
   * @throws IllegalArgumentException if a column's type cannot hold what its rule gives: with the
   *     places of all such rules
   */
  public static Dataset<Row> mask(Dataset<Row> rows, String maskingString) {
    return mask(rows, maskingString, MaskingErrors.in(rows.sparkSession(), "VELK errors"));
  }

  /**
   * As {@link #mask(Dataset, String)}, with a count of errors to look at afterwards.
   *
   * @param rows the table
   * @param maskingString the masking string, with a rule for each column
   * @param errors counts the values that cannot be masked
   * @return the masked table
   */
  public static Dataset<Row> mask(Dataset<Row> rows, String maskingString, MaskingErrors errors) {
    Objects.requireNonNull(errors, "errors");
    StructField[] fields = rows.schema().fields();
    ZoneId zone = DateTimeUtils.getZoneId(rows.sparkSession().conf().get(SESSION_ZONE));
    TableMasking masking;
    try (ParsedService table =
        ProcessEngine.table(maskingString, Arrays.stream(fields).map(StructField::name).toList())) {
      List<TableColumn> columns = columns(table, maskingString, fields, zone);
      masking = new TableMasking(maskingString, columns, table.onError().way(), errors);
    }
    return masked(rows, masking);
  }

  /**
   * Tells how each column of a table is masked.
   *
   * @throws IllegalArgumentException if a column's type cannot hold what its rule gives: with the
   *     places of all such rules
   */
  static List<TableColumn> columns(
      ParsedService table, String maskingString, StructField[] fields, ZoneId zone) {
    List<ColumnRule> rules = table.columns();
    List<String> findings = new ArrayList<>();
    // Whose values another rule goes by is not looked for: a few more that are sent do no harm.
    boolean oneGoesByAnother =
        rules.stream().anyMatch(rule -> rule.rule().arguments().contains("by"));
    // As little is whether the word stands in a quoted text.
    boolean allShown = oneGoesByAnother || maskingString.contains("on_null");
    List<TableColumn> columns = new ArrayList<>();
    for (int i = 0; i < fields.length; i++) {
      Optional<Form> form = Form.of(fields[i].dataType(), zone);
      flaw(fields[i], rules.get(i), form, table.place(i)).ifPresent(findings::add);
      boolean shown = allShown || !isKeptAsItIs(rules.get(i));
      Way way = way(rules.get(i), form, oneGoesByAnother, shown);
      String rule = rules.get(i).rule().toString();
      columns.add(new TableColumn(fields[i].name(), rule, form.orElse(null), way, shown));
    }
    if (!findings.isEmpty()) {
      throw new IllegalArgumentException(String.join("\n", findings));
    }
    return columns;
  }

  private static Way way(
      ColumnRule rule, Optional<Form> form, boolean oneGoesByAnother, boolean shown) {
    if (form.isEmpty()) {
      return Way.AROUND;
    }
    if (isKept(rule, form)) {
      return oneGoesByAnother ? Way.KEPT : Way.AROUND;
    }
    return shown ? Way.MASKED : Way.CHECKED;
  }

  private static boolean isKeptAsItIs(ColumnRule rule) {
    return rule.rule().equals(Rule.keep()) && rule.type().equals(Type.text()) && !rule.unique();
  }

  /** Texts are not among them: one that is none is an error, as in a file. */
  private static boolean isKept(ColumnRule rule, Optional<Form> form) {
    return rule.rule().function().equals("keep")
        && rule.type().equals(Type.text())
        && !form.map(Form::isText).orElse(false);
  }

  /** Why the values of a column cannot be masked by its rule, with the rule's place. */
  private static Optional<String> flaw(
      StructField field, ColumnRule rule, Optional<Form> form, Optional<String> place) {
    String function = rule.rule().function();
    DataType type = field.dataType();
    if (isKept(rule, form) || form.isPresent() && function.equals("null")) {
      return Optional.empty();
    }
    String start =
        "column \""
            + field.name()
            + "\" is "
            + type.simpleString()
            + ", and its rule "
            + function
            + place.map(at -> " (" + at + ")").orElse("");
    if (form.isEmpty()) {
      boolean emptied =
          function.equals("null")
              && (type.equals(DataTypes.BooleanType) || type.equals(DataTypes.BinaryType));
      return emptied ? Optional.empty() : Optional.of(start + " is not keep");
    }
    if (form.get().takes(rule.type())) {
      return Optional.empty();
    }
    String said = " gives " + rule.type() + "; say the column's type, such as ";
    return Optional.of(start + said + form.get().suggestion());
  }

  /**
   * The table with each column in its place, named anew even where it is kept: a table that is
   * joined with itself has two of each.
   */
  private static Dataset<Row> masked(Dataset<Row> rows, TableMasking masking) {
    org.apache.spark.sql.classic.Dataset<Row> table = classic(rows);
    LogicalPlan plan = table.logicalPlan();
    List<Attribute> given = Plans.list(plan.output());
    List<Attribute> inputs = new ArrayList<>();
    List<Attribute> results = new ArrayList<>();
    List<NamedExpression> list = new ArrayList<>();
    for (int i = 0; i < given.size(); i++) {
      Attribute attribute = given.get(i);
      TableColumn column = masking.columns().get(i);
      Expression out = attribute;
      if (column.sent()) {
        inputs.add(attribute);
        results.add(Plans.attribute(column.name(), attribute.dataType()));
        out = results.get(results.size() - 1);
      } else if (column.isNull()) {
        out = Literal.create(null, attribute.dataType());
      }
      list.add(Plans.alias(out, attribute.name(), Option.apply(attribute.metadata())));
    }
    LogicalPlan masked =
        new Project(
            Plans.seq(list), new MaskedTable(masking, Plans.seq(inputs), Plans.seq(results), plan));
    MaskPlanning.install(table.sparkSession());
    return org.apache.spark.sql.classic.Dataset.ofRows(table.sparkSession(), masked);
  }

  private static org.apache.spark.sql.classic.Dataset<Row> classic(Dataset<Row> rows) {
    if (rows instanceof org.apache.spark.sql.classic.Dataset<Row> table) {
      return table;
    }
    throw new IllegalArgumentException(
        "a table of Spark Connect is masked on the server, by velk_mask");
  }
}
