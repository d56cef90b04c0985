package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.Type;
import java.time.ZoneId;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.stream.IntStream;
import org.apache.spark.sql.Column;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.catalyst.util.DateTimeUtils;
import org.apache.spark.sql.functions;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructField;
import org.apache.spark.sql.types.StructType;

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
      List<TableColumn> columns = columns(table, fields, zone);
      masking = new TableMasking(maskingString, columns, table.onError(), errors);
    }
    return masked(rows, fields, masking);
  }

  /**
   * Gives each column of a table the form of its values.
   *
   * @throws IllegalArgumentException if a column's type cannot hold what its rule gives: with the
   *     places of all such rules
   */
  static List<TableColumn> columns(ParsedService table, StructField[] fields, ZoneId zone) {
    List<ColumnRule> rules = table.columns();
    List<String> findings = new ArrayList<>();
    // Whose values another rule goes by is not looked for: a few more that are sent do no harm.
    boolean oneGoesByAnother =
        rules.stream().anyMatch(rule -> rule.rule().arguments().contains("by"));
    List<TableColumn> columns = new ArrayList<>();
    for (int i = 0; i < fields.length; i++) {
      Optional<Form> form = Form.of(fields[i].dataType(), zone);
      flaw(fields[i], rules.get(i), form, table.place(i)).ifPresent(findings::add);
      boolean kept = isKept(rules.get(i), form);
      boolean sent = form.isPresent() && (!kept || oneGoesByAnother);
      columns.add(new TableColumn(fields[i].name(), form.orElse(null), kept, sent));
    }
    if (!findings.isEmpty()) {
      throw new IllegalArgumentException(String.join("\n", findings));
    }
    return columns;
  }

  /** Texts are shown to the engine even so: what is no text is an error, as in a file. */
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

  /** Names of the columns' own making: a table may have a name twice, and dots in it. */
  private static Dataset<Row> masked(
      Dataset<Row> rows, StructField[] fields, TableMasking masking) {
    String[] names =
        IntStream.range(0, fields.length).mapToObj(i -> "c" + i).toArray(String[]::new);
    Column[] in = new Column[fields.length];
    Column[] out = new Column[fields.length];
    StructType inside = new StructType();
    for (int i = 0; i < fields.length; i++) {
      DataType type = fields[i].dataType();
      Column column = functions.col(names[i]);
      in[i] = TableColumn.in(type, column).as(names[i]);
      inside = inside.add(names[i], TableColumn.inside(type), true);
      out[i] = TableColumn.out(type, column).as(fields[i].name(), fields[i].metadata());
    }
    return rows.toDF(names).select(in).mapPartitions(masking, Encoders.row(inside)).select(out);
  }
}
