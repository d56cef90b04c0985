package com.brel.sorn.velk;

import java.util.Arrays;
import java.util.Locale;

// What VELK.init0 looks up in this package, with the natives that are measured.

class VELK {
  boolean debug;

  native void init0();
}

class NativeProvider {}

class VELKException extends Exception {
  VELKException(String message, int code) {
    super(message + code);
  }
}

class RowSet {
  long pointer;
  Row[] rows;
  boolean rowSetHasInfo;
}

class Row {
  long pointer;
  boolean hasError;
  Field[] fields;
}

class Field {
  long pointer;
  int id = 6;
  int sourceSize;
  Object source;
  int destinationSize;
  Object destination;
  int errorCode;
  String errorMessage;

  native int toC();

  native int toJava();

  native void free();

  native int floorToC();

  native int floorToJava();

  native void floorFree();
}

/**
 * The way of a value into the engine's record and back, in a real virtual machine: the bridge's
 * natives as a ratio to ones that make the same calls of JNI and of the heap and do nothing else.
 * Arguments: the library, then the lengths of values.
 */
class Floor {
  static final int FIELDS = 64;
  static final int ROUNDS = 400;
  static final long ROUND_NANOS = 400_000;

  interface Work {
    void run(Field[] fields);
  }

  static final Work REUSED =
      fields -> {
        for (Field field : fields) {
          field.toC();
          field.toJava();
        }
      };
  static final Work REUSED_FLOOR =
      fields -> {
        for (Field field : fields) {
          field.floorToC();
          field.floorToJava();
        }
      };
  static final Work MADE =
      fields -> {
        for (Field field : fields) {
          field.toC();
          field.toJava();
          field.free();
        }
      };
  static final Work MADE_FLOOR =
      fields -> {
        for (Field field : fields) {
          field.floorToC();
          field.floorToJava();
          field.floorFree();
        }
      };

  static native void setText(String text);

  static Field[] fields(String text) {
    Field[] fields = new Field[FIELDS];
    for (int i = 0; i < FIELDS; i++) {
      fields[i] = new Field();
      fields[i].sourceSize = 4 * text.length() + 4;
      fields[i].source = new String(text);
    }
    return fields;
  }

  static double nanos(Work work, Field[] fields, int runs) {
    long start = System.nanoTime();
    for (int i = 0; i < runs; i++) work.run(fields);
    return (double) (System.nanoTime() - start) / runs;
  }

  static int runsOfARound(Work work, Field[] fields) {
    nanos(work, fields, 500);
    return (int) Math.max(1, ROUND_NANOS / nanos(work, fields, 100));
  }

  /** The median of the ratios of rounds in turn: what else the machine does meets both alike. */
  static double ratio(Work work, Work floor, String text) {
    Field[] fields = fields(text);
    Field[] floors = fields(text);
    int runs = runsOfARound(floor, floors);
    runsOfARound(work, fields);
    double[] ratios = new double[ROUNDS];
    for (int i = 0; i < ROUNDS; i++) {
      boolean first = i % 2 == 0;
      double before = first ? nanos(work, fields, runs) : 0;
      double base = nanos(floor, floors, runs);
      ratios[i] = (first ? before : nanos(work, fields, runs)) / base;
    }
    for (Field field : fields) {
      if (!text.equals(field.source)) throw new AssertionError("a value came back as another");
      field.free();
    }
    Arrays.sort(ratios);
    return ratios[ROUNDS / 2];
  }

  static void print(String records, String text, double ratio) {
    System.out.println(
        String.format(
            Locale.ROOT,
            "%-20s %5d units  %.2f of the time of its calls alone",
            records,
            text.length(),
            ratio));
  }

  public static void main(String[] arguments) {
    System.load(arguments[0]);
    new VELK().init0();
    for (int i = 1; i < arguments.length; i++) {
      String text = "x".repeat(Integer.parseInt(arguments[i]));
      setText(text);
      print("Field, record reused", text, ratio(REUSED, REUSED_FLOOR, text));
      print("Field, record new", text, ratio(MADE, MADE_FLOOR, text));
    }
  }
}
