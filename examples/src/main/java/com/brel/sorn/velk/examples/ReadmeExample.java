package com.brel.sorn.velk.examples;

import com.brel.sorn.velk.masking.*;
import java.util.List;

final class ReadmeExample {
  public static void main(String[] args) {
    try (Engine engine = Engine.open();
        MaskingService people = describe(engine).open()) {
      MaskedRows rows =
          people.mask(
              List.of(
                  List.of("Zoë Martín", "4012 8888 8888 1881", "zoe@example.com"),
                  List.of("a name that is too long for it", "4222 2222 2222 2", "x@example.com")));
      System.out.println(rows.value(0, 0) + " | " + rows.value(0, 1) + " | " + rows.value(0, 2));
      rows.errors().forEach(System.out::println);
    }
  }

  private static ServiceBuilder describe(Engine engine) {
    return engine
        .service("people")
        .key("env:MASK_KEY") // where the engine finds the key; at least 16 bytes
        .column("name", Type.varchar(20), Rule.classes())
        .column("card", Type.varchar(19), Rule.partial(0, 4, "#"))
        .column("email", Type.text(), Rule.hash(12));
  }
}
