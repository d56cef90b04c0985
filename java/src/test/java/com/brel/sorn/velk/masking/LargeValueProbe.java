package com.brel.sorn.velk.masking;

import java.util.List;

/** Masks a value for which there is no buffer, in a heap that is large enough to hold it. */
final class LargeValueProbe {
  /** For the virtual machine: the value alone takes 1 GiB. */
  static final List<String> OPTIONS = List.of("-XX:+UseSerialGC", "-Xmx1800m");

  private LargeValueProbe() {}

  public static void main(String[] arguments) {
    String value = "x".repeat(Integer.MAX_VALUE / 2);
    try (Engine engine = Engine.open();
        MaskingService service = Columns.column(engine, Type.text(), Rule.keep())) {
      try {
        service.mask(Columns.rows("fits", value));
      } catch (IllegalArgumentException e) {
        System.out.println("refused: " + e.getMessage());
      }
      System.out.println("masked: " + service.mask(Columns.rows("fits")).value(0, 0));
    }
  }
}
