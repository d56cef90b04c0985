package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.time.LocalDate;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;

/** Services of random columns, and awkward values for them. */
final class RandomTable {
  private static final String[] PIECES = {
    "",
    "a",
    "Anna",
    "Müller",
    "4111111111111111",
    "12345678",
    "2024-02-29",
    "-12.50",
    "x@y.example",
    "\uD83D\uDE00",
    "e\u0301",
    "1",
    " ",
    "a,b",
    "\"q\"",
    "two\nlines",
    "\r\n",
    "'",
    "\uFEFF",
    "ß"
  };

  private final Random random;

  RandomTable(long seed) {
    random = new Random(seed);
  }

  int upTo(int bound) {
    return 1 + random.nextInt(bound);
  }

  MaskingService service(Engine engine, OnError onError) {
    ServiceBuilder builder = engine.service("random").key(Columns.KEY).onError(onError);
    if (random.nextInt(8) == 0) {
      builder.maskNulls();
    }
    int width = upTo(6);
    for (int column = 0; column < width; column++) {
      builder.column(column(engine, "c" + column, onError));
    }
    return builder.open();
  }

  /** A column that the engine takes, of any that there are. */
  private ColumnRule column(Engine engine, String name, OnError onError) {
    for (; ; ) {
      ColumnRule column = new ColumnRule(name, type(), rule(), false);
      ServiceBuilder tried = engine.service("tried").key(Columns.KEY).onError(onError);
      try (MaskingService service = tried.column(column).open()) {
        return service.columns().get(0);
      } catch (VELKException e) {
        if (e.kind() != VELKException.Kind.DESCRIPTION) {
          throw e;
        }
      }
    }
  }

  private Type type() {
    return switch (random.nextInt(9)) {
      case 0 -> Type.varchar(300);
      case 1 -> Type.varchar(5);
      case 2 -> Type.character(12);
      case 3 -> Type.date();
      case 4 -> Type.decimal(9, 2);
      case 5 -> Type.integer();
      default -> Type.text();
    };
  }

  private Rule rule() {
    return switch (random.nextInt(12)) {
      case 0 -> Rule.nullValue();
      case 1 -> Rule.fixed("gone");
      case 2 -> Rule.partial(1, 1);
      case 3 -> Rule.classes();
      case 4 -> Rule.hash(9);
      case 5 -> Rule.card();
      case 6 -> Rule.email("m.example");
      case 7 -> Rule.dateShift(9, LocalDate.of(1900, 1, 1), LocalDate.of(2100, 1, 1));
      case 8 -> Rule.noise(10);
      case 9 -> Rule.ff1("digits");
      default -> Rule.keep();
    };
  }

  /** Rows of texts that UTF-8 can hold, null among them. */
  List<List<String>> rows(int count, int width) {
    List<List<String>> rows = new ArrayList<>();
    for (int row = 0; row < count; row++) {
      List<String> values = new ArrayList<>();
      for (int column = 0; column < width; column++) {
        values.add(value());
      }
      rows.add(values);
    }
    return rows;
  }

  private String value() {
    int kind = random.nextInt(40);
    if (kind < 4) {
      return null;
    }
    if (kind == 4) {
      return "x".repeat(random.nextInt(2000));
    }
    if (kind == 5) {
      return "zero\0";
    }
    StringBuilder text = new StringBuilder();
    for (int i = random.nextInt(3); i >= 0; i--) {
      text.append(PIECES[random.nextInt(PIECES.length)]);
    }
    return text.toString();
  }
}
