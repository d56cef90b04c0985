package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.Values;
import java.math.BigDecimal;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.LocalTime;
import java.time.OffsetDateTime;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.time.format.DateTimeFormatterBuilder;
import java.time.temporal.ChronoField;
import java.time.temporal.Temporal;
import java.time.temporal.TemporalAccessor;
import java.util.UUID;

/** What the values of a column are on their way, whatever database they come from. */
enum Form {
  /** {@link Long}; {@link BigDecimal} where it has 64 bits and no sign. */
  INTEGER,
  /** {@link BigDecimal}. */
  DECIMAL,
  /** {@link Double}. */
  DOUBLE,
  /** {@link Float}. */
  REAL,
  /** {@link Boolean}. */
  BOOLEAN,
  /** {@link String}. */
  TEXT,
  /** Bytes. */
  BINARY,
  /** {@link LocalDate}. */
  DATE,
  /** {@link LocalTime}. */
  TIME,
  /** {@link LocalDateTime}: what a clock shows, wherever it is. */
  CLOCK,
  /** {@link OffsetDateTime}: an instant. */
  INSTANT,
  /** {@link UUID}. */
  UNIQUE_ID,
  /** A {@link String} that only the same type of the same database reads again. */
  OWN_TEXT,
  /** Bytes that only the same type of the same database reads again. */
  OWN_BYTES,
  /** What JDBC does not carry. */
  NONE;

  private static final DateTimeFormatter TIMESTAMP =
      new DateTimeFormatterBuilder()
          .append(DateTimeFormatter.ISO_LOCAL_DATE)
          .appendPattern("[' ']['T']")
          .appendPattern("HH:mm[:ss]")
          .appendFraction(ChronoField.NANO_OF_SECOND, 0, 9, true)
          .appendPattern("[XXX][X]")
          .toFormatter();

  /** Whether results of a function that makes text are values of this form. */
  boolean isText() {
    return this == TEXT;
  }

  boolean isNumber() {
    return this == INTEGER || this == DECIMAL || this == DOUBLE || this == REAL;
  }

  boolean isTime() {
    return this == DATE || this == CLOCK || this == INSTANT;
  }

  /** Whether values have a text that is read again. */
  boolean hasText() {
    return this != BINARY && this != OWN_BYTES && this != NONE;
  }

  /** A value as the engine wants it, null where it has no text. */
  String text(Object value) {
    if (value == null || !hasText()) {
      return null;
    }
    if (value instanceof LocalTime || value instanceof Double || value instanceof Float) {
      return value instanceof Number number && Double.isFinite(number.doubleValue())
          ? Values.text(value)
          : value.toString();
    }
    return Values.text(value);
  }

  /**
   * Reads a result of the engine.
   *
   * @throws RuntimeException if it is no value of this form; the message may quote it
   */
  Object value(String text) {
    return switch (this) {
      case INTEGER, DECIMAL -> new BigDecimal(text);
      case DOUBLE -> Double.valueOf(text);
      case REAL -> Float.valueOf(text);
      case BOOLEAN -> truth(text);
      case DATE -> LocalDate.parse(text);
      case TIME -> LocalTime.parse(text);
      case CLOCK -> clock(text);
      case INSTANT -> instant(text);
      case UNIQUE_ID -> UUID.fromString(text);
      case TEXT, OWN_TEXT -> text;
      default -> throw new IllegalArgumentException("a value of bytes has no text");
    };
  }

  private static Boolean truth(String text) {
    if (!text.matches("true|false")) {
      throw new IllegalArgumentException("no truth value");
    }
    return Boolean.valueOf(text);
  }

  /** What a database without offsets shows; one that is there stands for UTC, as it was read. */
  static LocalDateTime clock(String text) {
    TemporalAccessor time = TIMESTAMP.parseBest(text, OffsetDateTime::from, LocalDateTime::from);
    return time instanceof OffsetDateTime offset
        ? offset.withOffsetSameInstant(ZoneOffset.UTC).toLocalDateTime()
        : (LocalDateTime) time;
  }

  static OffsetDateTime instant(String text) {
    TemporalAccessor time = TIMESTAMP.parseBest(text, OffsetDateTime::from, LocalDateTime::from);
    return time instanceof OffsetDateTime offset
        ? offset
        : ((LocalDateTime) time).atOffset(ZoneOffset.UTC);
  }

  /** Whether a driver stands for an infinite time with it, which other databases do not know. */
  static boolean isInfinite(Object value) {
    return value instanceof Temporal time
        && (time.equals(LocalDate.MAX)
            || time.equals(LocalDate.MIN)
            || time.equals(LocalDateTime.MAX)
            || time.equals(LocalDateTime.MIN)
            || time.equals(OffsetDateTime.MAX)
            || time.equals(OffsetDateTime.MIN));
  }
}
