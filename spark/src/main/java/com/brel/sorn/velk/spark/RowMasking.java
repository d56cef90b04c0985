package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.OnError;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.spark.TableColumn.Way;
import java.time.ZoneId;
import java.util.Arrays;
import java.util.List;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.sql.types.StructField;
import org.apache.spark.sql.types.StructType;

/**
 * Masks rows by a masking string, each a struct whose fields are the columns: a whole table for who
 * can call functions alone.
 */
final class RowMasking extends InternalMasking {
  private static final long serialVersionUID = 1L;

  /** The engine's code of a string without a key that has a rule with need of one. */
  private static final int NO_KEY = 7226;

  private final TableMasking masking;
  private final StructType type;
  private final OnError.Way onError;

  private RowMasking(TableMasking masking, StructType type, OnError.Way onError) {
    super(masking.maskingString(), masking.names());
    this.masking = masking;
    this.type = type;
    this.onError = onError;
  }

  /**
   * Checks string and columns as those of a table.
   *
   * @param maskingString the masking string, with a rule for each field
   * @param key where tasks find the key if the string names none; empty for nowhere
   * @param type the rows
   * @param zone where timestamps are told
   * @throws VELKException if the string is wrong, with the place
   * @throws com.brel.sorn.velk.masking.TableException if a column has no rule or a rule no column
   * @throws IllegalArgumentException if a column's type cannot hold what its rule gives
   */
  static RowMasking of(String maskingString, String key, StructType type, ZoneId zone) {
    StructField[] fields = type.fields();
    List<String> names = Arrays.stream(fields).map(StructField::name).toList();
    String keyed = withKey(maskingString, key, names);
    try (ParsedService table = ProcessEngine.table(keyed, names)) {
      OnError.Way onError = table.onError().way();
      List<TableColumn> columns = VelkMasking.columns(table, keyed, fields, zone);
      return new RowMasking(new TableMasking(keyed, columns, onError, null), type, onError);
    }
  }

  /** The string, which names the key behind all else if it needs one and names none itself. */
  private static String withKey(String maskingString, String key, List<String> names) {
    try {
      ProcessEngine.table(maskingString, names).close();
      return maskingString;
    } catch (VELKException e) {
      if (e.code() != NO_KEY || key.isEmpty()) {
        throw e;
      }
      String service = ProcessEngine.get().service("key").key(key).toString();
      return maskingString + service.substring(service.indexOf('\n'));
    }
  }

  /** The type of rows that are masked: a value with an error is null. */
  static StructType masked(StructType type) {
    StructType masked = new StructType();
    for (StructField field : type.fields()) {
      masked = masked.add(field.name(), field.dataType(), true, field.metadata());
    }
    return masked;
  }

  /** The same for columns, which need not be rows before. */
  TableMasking masking() {
    return masking;
  }

  @Override
  Object none() {
    return null;
  }

  @Override
  void add(Batch batch, Object value) {
    InternalRow row = (InternalRow) value;
    for (int i = 0; i < masking.columns().size(); i++) {
      if (masking.columns().get(i).sent() && !row.isNullAt(i)) {
        add(batch, i, masking.columns().get(i).form(), given(row, i));
      } else {
        batch.addNull(i);
      }
    }
  }

  private Object given(InternalRow row, int column) {
    return row.isNullAt(column) ? null : row.get(column, type.fields()[column].dataType());
  }

  @Override
  Object result(Batch batch, Object value) {
    if (onError == OnError.Way.FAILURE) {
      batch.errors().stream().findFirst().ifPresent(this::stop);
    }
    Object[] values = new Object[masking.columns().size()];
    for (int i = 0; i < values.length; i++) {
      values[i] = result(batch, (InternalRow) value, i);
    }
    return new GenericInternalRow(values);
  }

  private Object result(Batch batch, InternalRow row, int index) {
    TableColumn column = masking.columns().get(index);
    if (column.way() == Way.AROUND) {
      return column.isNull() ? null : given(row, index);
    }
    boolean bad = batch.error(0, index).isPresent();
    if (column.way() == Way.KEPT) {
      return bad ? null : given(row, index);
    }
    boolean replaced = onError == OnError.Way.REPLACEMENT;
    if (bad && !replaced || batch.isNull(0, index)) {
      return null;
    }
    Object value = read(batch, index, column.form());
    if (value == null && onError == OnError.Way.FAILURE) {
      String reason = "the column's type cannot hold the masked value";
      stop(new FieldError(0, index, column.name(), MaskingErrors.OUT_OF_RANGE, reason));
    }
    return value;
  }

  /** Which row it was, a function does not know. */
  private void stop(FieldError error) {
    String name = masking.columns().get(error.column()).name();
    throw new VELKException("column \"" + name + "\": " + error.message(), error.code());
  }
}
