package com.brel.sorn.velk.masking;

import java.math.BigDecimal;
import java.math.BigInteger;
import java.time.Instant;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.OffsetDateTime;
import java.time.ZoneOffset;
import java.time.ZonedDateTime;
import java.time.format.DateTimeFormatter;
import java.time.format.DateTimeFormatterBuilder;
import java.time.temporal.ChronoField;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.UUID;
import org.jspecify.annotations.Nullable;

/** Values of Java as the text that the engine wants of a column of their type. */
public final class Values {
  private static final DateTimeFormatter TIMESTAMP =
      new DateTimeFormatterBuilder()
          .append(DateTimeFormatter.ISO_LOCAL_DATE)
          .appendPattern(" HH:mm:ss")
          .appendFraction(ChronoField.NANO_OF_SECOND, 0, 9, true)
          .toFormatter();

  private static final DateTimeFormatter WITH_OFFSET =
      new DateTimeFormatterBuilder().append(TIMESTAMP).appendOffsetId().toFormatter();

  private Values() {}

  /**
   * Writes a value as text.
   *
   * <p>Dates are written {@code 2024-02-29} and timestamps {@code 2024-02-29 12:30:00.5}, with
   * their offset where they have one ({@code Z}, {@code +02:00}; the zone's name is left out, an
   * instant is written in UTC). Numbers are written without an exponent and keep their scale. Dates
   * and timestamps of {@code java.sql} are taken, too.
   *
   * @param value a text, a number, a truth value, a date or a timestamp, or null
   * @return its text, null for null
   * @throws IllegalArgumentException if the value is of another class, or a number that is none
   */
  public static @Nullable String text(@Nullable Object value) {
    if (value == null) {
      return null;
    }
    if (isPlain(value)) {
      return value.toString();
    }
    if (value instanceof BigDecimal number) {
      return number.toPlainString();
    }
    if (value instanceof Double || value instanceof Float) {
      return plain((Number) value);
    }
    if (value instanceof LocalDateTime time) {
      return TIMESTAMP.format(time);
    }
    return WITH_OFFSET.format(withOffset(value));
  }

  /**
   * Writes the values of a row as text.
   *
   * @param values the values, each as {@link #text} takes it
   * @return their texts in the same order; the list cannot be changed
   * @throws IllegalArgumentException if a value has no text
   */
  public static List<@Nullable String> row(@Nullable Object... values) {
    return Collections.unmodifiableList(Arrays.asList(texts(values)));
  }

  private static @Nullable String[] texts(@Nullable Object[] values) {
    return Arrays.stream(values).map(Values::text).toArray(String[]::new);
  }

  /** What writes itself as the engine wants it. */
  private static boolean isPlain(Object value) {
    return value instanceof CharSequence
        || value instanceof Character
        || value instanceof Boolean
        || value instanceof Long
        || value instanceof Integer
        || value instanceof Short
        || value instanceof Byte
        || value instanceof BigInteger
        || value instanceof LocalDate
        || value instanceof UUID
        || isOfJavaSql(value);
  }

  /** By the name, so that nobody needs the module of the class. */
  private static boolean isOfJavaSql(Object value) {
    return value instanceof java.util.Date && value.getClass().getName().startsWith("java.sql.");
  }

  private static String plain(Number number) {
    if (!Double.isFinite(number.doubleValue())) {
      throw new IllegalArgumentException(number + " is no number that can be masked");
    }
    return new BigDecimal(number.toString()).toPlainString();
  }

  private static OffsetDateTime withOffset(Object value) {
    if (value instanceof OffsetDateTime time) {
      return time;
    }
    if (value instanceof ZonedDateTime time) {
      return time.toOffsetDateTime();
    }
    if (value instanceof Instant instant) {
      return instant.atOffset(ZoneOffset.UTC);
    }
    throw new IllegalArgumentException(
        "a " + value.getClass().getName() + " has no text that the engine takes");
  }
}
