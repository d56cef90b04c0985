package com.brel.sorn.velk.examples;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.List;
import org.junit.jupiter.api.Test;

class TableTest {
  @Test
  void wideCharactersTakeTwoCellsAndMarksNone() {
    assertEquals(3, Table.width("abc"));
    assertEquals(6, Table.width("王小明"));
    assertEquals(4, Table.width("김민"));
    assertEquals(2, Table.width("😀"));
    assertEquals(3, Table.width("Zoe\u0308"));
  }

  @Test
  void columnsLineUp() throws Throwable {
    Table table = new Table(10);
    table.add(List.of("name", "city"));
    table.add(List.of("王小明", "x"));
    String output = Example.outputOf(() -> table.print(System.out));
    assertEquals(List.of("name    city", "王小明  x"), output.lines().toList());
  }

  @Test
  void aLongTextIsClippedToItsWidth() throws Throwable {
    Table table = new Table(5);
    table.add(List.of("abcdef", "王小明"));
    assertEquals("abcd…  王小…\n", Example.outputOf(() -> table.print(System.out)));
  }
}
