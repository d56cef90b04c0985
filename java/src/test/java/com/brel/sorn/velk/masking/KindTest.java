package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.VELKException.Kind;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Who can mend a failure. */
class KindTest {
  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  @ParameterizedTest
  @CsvSource({
    "7203, ENGINE",
    "7204, DESCRIPTION",
    "7218, DESCRIPTION",
    "7219, ENGINE",
    "7222, ENGINE",
    "7223, DESCRIPTION",
    "7225, DESCRIPTION",
    "7226, KEY",
    "7230, KEY",
    "7231, ENGINE",
    "7240, ENGINE",
    "7241, DESCRIPTION",
    "7242, DESCRIPTION",
    "7243, KEY",
    "7245, KEY",
    "7246, ENGINE",
    "7300, ENGINE",
    "7301, DESCRIPTION",
    "7399, DESCRIPTION",
    "7400, ENGINE",
    "7500, ENGINE",
    "7501, VALUE",
    "7590, VALUE",
    "7591, ENGINE",
    "-100, ENGINE",
    "-101, VALUE",
    "-105, VALUE",
    "-103, VALUE",
    "-104, ENGINE",
    "-1, ENGINE",
    "0, ENGINE",
    "7101, ENGINE",
    "99999, ENGINE"
  })
  void aCodeHasItsKind(int code, Kind kind) {
    assertEquals(kind, new VELKException("", code).kind());
  }

  @Test
  void theKindsOfRealFailures() {
    assertKind(Kind.DESCRIPTION, () -> engine.parse("service=s a=hsah"));
    assertKind(Kind.DESCRIPTION, () -> engine.parse("service=s a='"));
    assertKind(Kind.DESCRIPTION, open(Type.date(), Rule.hash()));
    assertKind(Kind.DESCRIPTION, open(Type.text(), Rule.function("dict", "list=nobody")));
    assertKind(Kind.KEY, () -> engine.parse("service=s a=hash"));
    assertKind(Kind.KEY, () -> engine.parse("service=s key=env:NO_SUCH_MASK_KEY a=hash").open());
    assertKind(Kind.KEY, engine.service("s").column("c", Type.text(), Rule.hash())::open);
    try (MaskingService service = Columns.column(engine, Type.varchar(1), Rule.keep())) {
      MaskedRows out = service.mask(List.of(List.of("long"), List.of("\0")));
      assertKind(Kind.VALUE, () -> out.value(0, 0));
      assertKind(Kind.VALUE, () -> out.value(1, 0));
    }
    assertKind(Kind.ENGINE, () -> Bridge.PROVIDER.terminateProvider0(-1));
  }

  private Executable open(Type type, Rule rule) {
    return () -> Columns.column(engine, type, rule);
  }

  private static void assertKind(Kind kind, Executable failing) {
    VELKException failure = assertThrows(VELKException.class, failing);
    assertEquals(kind, failure.kind(), failure.toString());
  }
}
