package com.brel.sorn.velk.examples;

import com.brel.sorn.velk.masking.*;
import java.util.List;

final class ReadmeExample {
  public static void main(String[] args) {
    try (Engine engine = Engine.open()) {
      ServiceBuilder people = engine.service("people").key("env:MASK_KEY");
      people.column("name", Type.varchar(20), Rule.classes());
      people.column("card", Type.varchar(19), Rule.partial(0, 4, "#"));
      people.column("email", Type.text(), Rule.email("example.com"));
      List<String> zoe = List.of("Zoë Martín", "4012 8888 8888 1881", "zoe@example.com");
      List<String> bad = List.of("a name that is too long", "4222 2222 2222 2", "x@example.com");
      try (MaskingService service = people.open()) { // closing it frees what it holds
        MaskedRows rows = service.mask(List.of(zoe, bad));
        System.out.println(rows.row(0));
        rows.errors().forEach(error -> System.out.println(error.summary()));
      }
    }
  }
}
