package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.math.BigDecimal;
import java.math.BigInteger;
import java.time.Instant;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.LocalTime;
import java.time.OffsetDateTime;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.time.ZonedDateTime;
import java.util.Arrays;
import java.util.List;
import java.util.UUID;
import org.junit.jupiter.api.Test;

class ValuesTest {
  private static final LocalDateTime NOON = LocalDateTime.of(2024, 2, 29, 12, 0);

  @Test
  void textsAndTruthValuesAreWrittenAsTheyAre() {
    assertNull(Values.text(null));
    assertEquals("Zoë", Values.text("Zoë"));
    assertEquals("x", Values.text('x'));
    assertEquals("ab", Values.text(new StringBuilder("ab")));
    assertEquals("true", Values.text(true));
    String uuid = "123e4567-e89b-12d3-a456-426614174000";
    assertEquals(uuid, Values.text(UUID.fromString(uuid)));
  }

  @Test
  void numbersHaveNoExponentAndKeepTheirScale() {
    assertEquals("-42", Values.text(-42));
    assertEquals("-9223372036854775808", Values.text(Long.MIN_VALUE));
    assertEquals("7", Values.text((short) 7));
    assertEquals("-8", Values.text((byte) -8));
    assertEquals("1" + "0".repeat(30), Values.text(BigInteger.TEN.pow(30)));
    assertEquals("12.50", Values.text(new BigDecimal("12.50")));
    assertEquals("1000", Values.text(new BigDecimal("1E+3")));
    assertEquals("0.0000000001", Values.text(new BigDecimal("1E-10")));
    assertEquals("0.1", Values.text(0.1));
    assertEquals("0.1", Values.text(0.1f));
    assertEquals("123456789012345680000", Values.text(1.2345678901234568e20));
  }

  @Test
  void datesAndTimestampsAreWrittenAsTheEngineReadsThem() {
    assertEquals("2024-02-29", Values.text(NOON.toLocalDate()));
    assertEquals("2024-02-29 12:00:00", Values.text(NOON));
    assertEquals("2024-02-29 12:00:01.5", Values.text(NOON.plusNanos(1_500_000_000)));
    assertEquals("2024-02-29 12:00:00.000000001", Values.text(NOON.plusNanos(1)));
    assertEquals("2024-02-29 12:00:00Z", Values.text(NOON.toInstant(ZoneOffset.UTC)));
    assertEquals("1970-01-01 00:00:00.25Z", Values.text(Instant.ofEpochMilli(250)));
    OffsetDateTime offset = NOON.atOffset(ZoneOffset.ofHoursMinutes(-3, -30));
    assertEquals("2024-02-29 12:00:00-03:30", Values.text(offset));
    ZonedDateTime zoned = NOON.atZone(ZoneId.of("Europe/Berlin"));
    assertEquals("2024-02-29 12:00:00+01:00", Values.text(zoned));
  }

  @Test
  void datesAndTimestampsOfADatabaseAreTaken() throws Exception {
    // By their names: the API does not need the module that they are of.
    assertEquals("2024-02-29", Values.text(ofJavaSql("Date", "2024-02-29")));
    assertEquals(
        "2024-02-29 12:00:00.5", Values.text(ofJavaSql("Timestamp", "2024-02-29 12:00:00.5")));
  }

  private static Object ofJavaSql(String name, String text) throws Exception {
    return ModuleLayer.boot()
        .findModule("java.sql")
        .map(module -> Class.forName(module, "java.sql." + name))
        .orElseThrow()
        .getMethod("valueOf", String.class)
        .invoke(null, text);
  }

  @Test
  void whatHasNoTextIsRefused() {
    for (Object value :
        List.of(new byte[1], new Object(), LocalTime.NOON, Double.NaN, Float.NEGATIVE_INFINITY)) {
      assertThrows(IllegalArgumentException.class, () -> Values.text(value));
    }
    String refusal =
        assertThrows(IllegalArgumentException.class, () -> Values.text(new java.util.Date()))
            .getMessage();
    assertEquals("a java.util.Date has no text that the engine takes", refusal);
  }

  @Test
  void aRowOfValuesIsMaskedInColumnsOfTheirTypes() {
    try (Engine engine = Engine.open();
        MaskingService service =
            engine
                .service("typed")
                .column("id", Type.integer(), Rule.keep())
                .column("price", Type.decimal(9, 2), Rule.keep())
                .column("born", Type.date(), Rule.keep())
                .column("seen", Type.timestamp(), Rule.keep())
                .column("note", Type.text(), Rule.keep())
                .open()) {
      List<String> row =
          Values.row(7L, new BigDecimal("1.5E+1"), LocalDate.of(2024, 2, 29), NOON, null);
      MaskedRow out = service.maskRow(row);
      assertEquals(List.of(), out.errors());
      assertEquals(
          Arrays.asList("7", "15", "2024-02-29", "2024-02-29 12:00:00", null), out.values());
      assertThrows(UnsupportedOperationException.class, () -> row.set(0, "8"));
    }
  }

  @Test
  void aValueThatIsNotOfItsTypeIsToldTheFormThatIsExpected() {
    try (Engine engine = Engine.open();
        MaskingService service =
            engine
                .service("typed")
                .column("id", Type.integer(), Rule.keep())
                .column("price", Type.decimal(9, 2), Rule.keep())
                .column("born", Type.date(), Rule.keep())
                .column("seen", Type.timestamp(), Rule.keep())
                .column("name", Type.varchar(2), Rule.keep())
                .open()) {
      MaskedRow out = service.maskRow(List.of("7.5", "1e3", "29.02.2024", "noon", "Zoë"));
      List<String> expected =
          List.of("such as -42.", "within decimal(9,2).", "is YYYY-MM-DD.", "YYYY-MM-DD hh:mm:ss");
      for (int column = 0; column < expected.size(); column++) {
        FieldError error = out.error(column).orElseThrow();
        assertEquals(FieldError.NOT_OF_TYPE, error.code());
        assertTrue(error.message().contains("\nExpected is "), error.message());
        assertTrue(error.message().contains(expected.get(column)), error.message());
      }
      FieldError tooLong = out.error(4).orElseThrow();
      assertTrue(!tooLong.message().contains("Expected"), tooLong.message());
      assertEquals(
          "row 1, column \"name\": 7502 the value is longer than its column", tooLong.summary());
    }
  }
}
