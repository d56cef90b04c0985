package com.brel.sorn.velk.spark;

import static org.apache.spark.sql.functions.date_from_unix_date;
import static org.apache.spark.sql.functions.timestamp_micros;
import static org.apache.spark.sql.functions.unix_date;
import static org.apache.spark.sql.functions.unix_micros;

import java.io.Serializable;
import java.time.LocalDateTime;
import java.time.ZoneOffset;
import org.apache.spark.sql.Column;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;

/**
 * A column on its way through a task. Texts are bytes there, dates are days and timestamps
 * microseconds: Java's own classes for them know another calendar, and cost more.
 *
 * @param name the column's name
 * @param form how its values are masked, null where the engine has no form for them
 * @param kept whether its values stay what they are
 * @param sent whether the engine is shown its values
 */
record TableColumn(String name, Form form, boolean kept, boolean sent) implements Serializable {
  private static final int MICROS = 1_000_000;

  /** The column as a task takes it. */
  static Column in(DataType type, Column column) {
    if (Form.isText(type)) {
      return column.cast(DataTypes.StringType).cast(DataTypes.BinaryType);
    }
    if (type.equals(DataTypes.DateType)) {
      return unix_date(column);
    }
    return type.equals(DataTypes.TimestampType) ? unix_micros(column) : column;
  }

  /** The type of {@link #in} and {@link #out}. */
  static DataType inside(DataType type) {
    if (Form.isText(type)) {
      return DataTypes.BinaryType;
    }
    if (type.equals(DataTypes.DateType)) {
      return DataTypes.IntegerType;
    }
    return type.equals(DataTypes.TimestampType) ? DataTypes.LongType : type;
  }

  /** The column as a task gives it, in its own type again. */
  static Column out(DataType type, Column column) {
    if (Form.isText(type)) {
      return column.cast(DataTypes.StringType).cast(type);
    }
    if (type.equals(DataTypes.DateType)) {
      return date_from_unix_date(column);
    }
    return type.equals(DataTypes.TimestampType) ? timestamp_micros(column) : column;
  }

  /** A value that is not null and no text as the engine is shown it. */
  String text(Object value) {
    return form.text(value instanceof LocalDateTime time ? micros(time) : value);
  }

  private static long micros(LocalDateTime time) {
    return Math.addExact(
        Math.multiplyExact(time.toEpochSecond(ZoneOffset.UTC), (long) MICROS),
        time.getNano() / 1000);
  }

  /** A result that is no text; null where the column's type cannot hold it. */
  Object value(String text) {
    Object value = form.value(text);
    return value != null && form.type().equals(DataTypes.TimestampNTZType)
        ? local((Long) value)
        : value;
  }

  private static LocalDateTime local(long micros) {
    return LocalDateTime.ofEpochSecond(
        Math.floorDiv(micros, MICROS), Math.floorMod(micros, MICROS) * 1000, ZoneOffset.UTC);
  }
}
