package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.List;
import org.junit.jupiter.api.Test;

class TableTest {
  @Test
  void columnsLineUpWhateverTheScript() {
    assertEquals(
        """
        name    city
        王小明  x
        김민    x
        😀      x
        Zoe\u0308     x
        """,
        Table.of(
            List.of(
                List.of("name", "city"),
                List.of("王小明", "x"),
                List.of("김민", "x"),
                List.of("😀", "x"),
                List.of("Zoe\u0308", "x"))));
  }

  @Test
  void aLineHasNoBlanksAtItsEnd() {
    assertEquals("a  long\nb\n", Table.of(List.of(List.of("a", "long"), List.of("b", ""))));
  }
}
