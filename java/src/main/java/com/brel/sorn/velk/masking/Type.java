package com.brel.sorn.velk.masking;

import org.jspecify.annotations.Nullable;

/** The declared type of a column, a value: two types are equal if they are declared alike. */
public final class Type {
  private static final int GREATEST_LIMIT = 1_000_000;
  private static final int GREATEST_PRECISION = 1000;
  private static final int LONGEST_INTEGER = "-9223372036854775808".length();
  private static final int LONGEST_DATE = "YYYY-MM-DD".length();
  private static final int LONGEST_TIMESTAMP = "YYYY-MM-DD hh:mm:ss.123456789+hh:mm".length();

  private final String declaration;
  private final int limit;
  private final int precision;
  private final int scale;

  private Type(String declaration, int limit, int precision, int scale) {
    this.declaration = declaration;
    this.limit = limit;
    this.precision = precision;
    this.scale = scale;
  }

  /**
   * Text without a limit.
   *
   * @return the type {@code text}
   */
  public static Type text() {
    return new Type("text", 0, 0, 0);
  }

  /**
   * Text of at most so many code points.
   *
   * @param limit the limit, at least 1
   * @return the type {@code varchar(limit)}
   * @throws IllegalArgumentException if the limit is out of range
   */
  public static Type varchar(int limit) {
    return limited("varchar", limit);
  }

  /**
   * Text of at most so many code points, in a column of fixed width.
   *
   * @param limit the limit, at least 1
   * @return the type {@code char(limit)}
   * @throws IllegalArgumentException if the limit is out of range
   */
  public static Type character(int limit) {
    return limited("char", limit);
  }

  /**
   * A plain decimal number.
   *
   * @param precision number of digits, at least 1
   * @param scale number of those digits behind the point
   * @return the type {@code decimal(precision,scale)}
   * @throws IllegalArgumentException if the precision or the scale is out of range
   */
  public static Type decimal(int precision, int scale) {
    if (precision < 1 || precision > GREATEST_PRECISION || scale < 0 || scale > precision) {
      throw new IllegalArgumentException(
          "decimal(" + precision + "," + scale + "): 1 to 1000 digits, 0 to all behind the point");
    }
    int sign = 1;
    int point = scale > 0 ? 1 : 0;
    int leadingZero = scale == precision ? 1 : 0;
    String declaration = "decimal(" + precision + "," + scale + ")";
    return new Type(declaration, sign + precision + point + leadingZero, precision, scale);
  }

  /**
   * A signed integer of 64 bits.
   *
   * @return the type {@code integer}
   */
  public static Type integer() {
    return new Type("integer", LONGEST_INTEGER, 0, 0);
  }

  /**
   * A date such as {@code 2024-02-29}.
   *
   * @return the type {@code date}
   */
  public static Type date() {
    return new Type("date", LONGEST_DATE, 0, 0);
  }

  /**
   * A date and time, with or without a zone, such as {@code 2024-02-29 12:30:00.5+02:00}.
   *
   * @return the type {@code timestamp}
   */
  public static Type timestamp() {
    return new Type("timestamp", LONGEST_TIMESTAMP, 0, 0);
  }

  /**
   * The type of a column of a database, by what its metadata say. Where there is no such type, as
   * for numbers with a binary point, and where no limit is told, it is {@code text}.
   *
   * @param jdbcType the column's type, one of the numbers of {@code java.sql.Types}
   * @param precision its precision: characters of a text, digits of a number
   * @param scale digits behind the point; a negative one stands for zeros before it
   * @return the type of the column's values, written as {@link Values} writes them
   * @throws IllegalArgumentException if the values are no text, such as those of {@code BLOB}
   */
  public static Type ofJdbc(int jdbcType, int precision, int scale) {
    return switch (jdbcType) {
      case Jdbc.CHAR, Jdbc.NCHAR -> isLimit(precision) ? character(precision) : text();
      case Jdbc.VARCHAR, Jdbc.NVARCHAR -> isLimit(precision) ? varchar(precision) : text();
      case Jdbc.TINYINT, Jdbc.SMALLINT, Jdbc.INTEGER, Jdbc.BIGINT -> integer();
      case Jdbc.NUMERIC, Jdbc.DECIMAL -> number(precision, scale);
      case Jdbc.DATE -> date();
      case Jdbc.TIMESTAMP, Jdbc.TIMESTAMP_WITH_TIMEZONE -> timestamp();
      default -> {
        if (Jdbc.HAS_NO_TEXT.contains(jdbcType)) {
          throw new IllegalArgumentException(
              "a column of the JDBC type " + jdbcType + " holds no text");
        }
        yield text();
      }
    };
  }

  private static Type number(int precision, int scale) {
    // Zeros before the point are digits, too, and so are those between the point and the others.
    int digits = scale < 0 ? precision - scale : Math.max(precision, scale);
    return precision > 0 && digits <= GREATEST_PRECISION
        ? decimal(digits, Math.max(scale, 0))
        : text();
  }

  /** A type as the engine read it from a masking string, with the limit that it worked out. */
  static Type declared(String declaration, int limit, int precision, int scale) {
    return new Type(declaration, limit, precision, scale);
  }

  private static Type limited(String name, int limit) {
    if (!isLimit(limit)) {
      throw new IllegalArgumentException(
          name + "(" + limit + "): the limit is 1 to " + GREATEST_LIMIT + " code points");
    }
    return new Type(name + "(" + limit + ")", limit, 0, 0);
  }

  private static boolean isLimit(int limit) {
    return limit >= 1 && limit <= GREATEST_LIMIT;
  }

  /** The longest text of the type in code points, 0 for no limit. */
  int limit() {
    return limit;
  }

  int precision() {
    return precision;
  }

  int scale() {
    return scale;
  }

  /** Whether any text that is short enough is of the type. */
  boolean takesAnyText() {
    return limit == 0 || declaration.contains("char(");
  }

  /** How values of the type are written, empty where any text is one. */
  String form() {
    return switch (declaration) {
      case "integer" -> "a whole number of 64 bits, such as -42";
      case "date" -> "YYYY-MM-DD";
      case "timestamp" -> "YYYY-MM-DD hh:mm:ss with up to 9 digits of a second behind a point";
      default ->
          declaration.startsWith("decimal")
              ? "digits with a point, such as -12.50, within " + declaration
              : "";
    };
  }

  @Override
  public boolean equals(@Nullable Object other) {
    return other instanceof Type type && declaration.equals(type.declaration);
  }

  @Override
  public int hashCode() {
    return declaration.hashCode();
  }

  /** The type as it is declared, such as {@code varchar(20)}. */
  @Override
  public String toString() {
    return declaration;
  }
}
