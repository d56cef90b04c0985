package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Type;
import com.brel.sorn.velk.masking.Values;
import java.io.Serializable;
import java.math.BigDecimal;
import java.time.Instant;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.time.ZonedDateTime;
import java.time.format.DateTimeFormatter;
import java.time.format.DateTimeFormatterBuilder;
import java.time.temporal.TemporalAccessor;
import java.util.Optional;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.Decimal;
import org.apache.spark.sql.types.DecimalType;
import org.apache.spark.sql.types.StringType;

/**
 * How the values of a type of Spark are written for the engine, and read again. They are given as
 * rows of Spark hold them: dates as days and timestamps as microseconds from 1970 on; texts go over
 * as they are.
 *
 * @param type the type
 * @param zone where timestamps are told, which is the session's: Spark writes them so, too
 */
record Form(DataType type, ZoneId zone) implements Serializable {
  private static final DateTimeFormatter TIMESTAMP =
      new DateTimeFormatterBuilder()
          .append(DateTimeFormatter.ISO_LOCAL_DATE)
          .appendPattern("[' ']['T']")
          .append(DateTimeFormatter.ISO_LOCAL_TIME)
          .appendPattern("[XXX][X]")
          .toFormatter();

  private static final int MICROS = 1_000_000;

  /** The digits that a number with a binary point has at most, before and behind it. */
  private static final Type WIDEST = Type.decimal(1000, 400);

  /** The form of a type, empty where the engine has none for its values. */
  static Optional<Form> of(DataType type, ZoneId session) {
    boolean known =
        isText(type)
            || isInteger(type)
            || type instanceof DecimalType
            || hasBinaryPoint(type)
            || type.equals(DataTypes.DateType)
            || isTimestamp(type);
    boolean local = type.equals(DataTypes.TimestampNTZType);
    return known ? Optional.of(new Form(type, local ? ZoneOffset.UTC : session)) : Optional.empty();
  }

  static boolean isText(DataType type) {
    return type instanceof StringType;
  }

  private static boolean isInteger(DataType type) {
    return type.equals(DataTypes.LongType)
        || type.equals(DataTypes.IntegerType)
        || type.equals(DataTypes.ShortType)
        || type.equals(DataTypes.ByteType);
  }

  private static boolean hasBinaryPoint(DataType type) {
    return type.equals(DataTypes.DoubleType) || type.equals(DataTypes.FloatType);
  }

  static boolean isTimestamp(DataType type) {
    return type.equals(DataTypes.TimestampType) || type.equals(DataTypes.TimestampNTZType);
  }

  boolean isText() {
    return isText(type);
  }

  /** The type by which a masking string declares such values. */
  Type declared() {
    if (isInteger(type)) {
      return Type.integer();
    }
    if (type instanceof DecimalType decimal) {
      return Type.decimal(decimal.precision(), decimal.scale());
    }
    if (hasBinaryPoint(type)) {
      return WIDEST;
    }
    if (isTimestamp(type)) {
      return Type.timestamp();
    }
    return isText() ? Type.text() : Type.date();
  }

  /** Whether results of a declared type are values of this one, but for numbers out of range. */
  boolean takes(Type declaration) {
    String name = declaration.toString().replaceAll("\\(.*", "");
    boolean decimal = type instanceof DecimalType || hasBinaryPoint(type);
    return isText()
        || name.equals(declared().toString().replaceAll("\\(.*", ""))
        || decimal && name.equals("integer");
  }

  /** The declared type to be said of a column, as a masking string has it. */
  String suggestion() {
    return hasBinaryPoint(type) ? "decimal(18,6)" : declared().toString();
  }

  /** A value as text; what is no number has a text that the engine refuses. */
  String text(Object value) {
    if (type.equals(DataTypes.DateType)) {
      return LocalDate.ofEpochDay((Integer) value).toString();
    }
    if (isTimestamp(type)) {
      return Values.text(LocalDateTime.ofInstant(instant((Long) value), zone));
    }
    if (value instanceof Decimal number) {
      return Values.text(number.toJavaBigDecimal());
    }
    boolean isNumber = !hasBinaryPoint(type) || Double.isFinite(((Number) value).doubleValue());
    return isNumber ? Values.text(value) : value.toString();
  }

  private static Instant instant(long micros) {
    return Instant.ofEpochSecond(
        Math.floorDiv(micros, MICROS), Math.floorMod(micros, MICROS) * 1000L);
  }

  /**
   * Reads a result.
   *
   * @return the value, null where the type cannot hold it
   */
  Object value(String text) {
    try {
      return read(text);
    } catch (RuntimeException e) {
      return null; // The text is of the declared type, so that it is out of this one's range.
    }
  }

  private Object read(String text) {
    if (type.equals(DataTypes.DateType)) {
      return Math.toIntExact(LocalDate.parse(text).toEpochDay());
    }
    if (isTimestamp(type)) {
      return micros(text);
    }
    if (type instanceof DecimalType decimal) {
      BigDecimal number = new BigDecimal(text).setScale(decimal.scale());
      return number.precision() <= decimal.precision()
          ? Decimal.apply(number, decimal.precision(), decimal.scale())
          : null;
    }
    return hasBinaryPoint(type) ? binaryPoint(text) : integer(Long.parseLong(text));
  }

  private Object binaryPoint(String text) {
    Number number =
        type.equals(DataTypes.DoubleType)
            ? (Number) Double.parseDouble(text)
            : (Number) Float.parseFloat(text);
    return Double.isFinite(number.doubleValue()) ? number : null;
  }

  private Object integer(long number) {
    if (type.equals(DataTypes.LongType)) {
      return number;
    }
    int narrow = Math.toIntExact(number);
    if (type.equals(DataTypes.IntegerType)) {
      return narrow;
    }
    if (type.equals(DataTypes.ShortType)) {
      return (short) narrow == narrow ? (Object) (short) narrow : null;
    }
    return (byte) narrow == narrow ? (Object) (byte) narrow : null;
  }

  private long micros(String text) {
    TemporalAccessor time = TIMESTAMP.parseBest(text, ZonedDateTime::from, LocalDateTime::from);
    Instant instant =
        time instanceof ZonedDateTime zoned
            ? zoned.toInstant()
            : ((LocalDateTime) time).atZone(zone).toInstant();
    long seconds = Math.multiplyExact(instant.getEpochSecond(), (long) MICROS);
    return Math.addExact(seconds, instant.getNano() / 1000);
  }
}
