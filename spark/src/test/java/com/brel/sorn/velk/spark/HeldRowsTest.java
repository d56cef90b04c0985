package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.sql.catalyst.expressions.UnsafeProjection;
import org.apache.spark.sql.catalyst.expressions.UnsafeRow;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.unsafe.Platform;
import org.apache.spark.unsafe.types.UTF8String;
import org.junit.jupiter.api.Test;

class HeldRowsTest {
  private static final List<Attribute> COLUMNS =
      List.of(
          Plans.attribute("id", DataTypes.LongType), Plans.attribute("name", DataTypes.StringType));

  private static InternalRow row(long id, String name) {
    UTF8String text = name == null ? null : UTF8String.fromString(name);
    return new GenericInternalRow(new Object[] {id, text});
  }

  private static UnsafeRow unsafe(long id, String name) {
    return UnsafeProjection.create(Plans.seq(COLUMNS), Plans.seq(COLUMNS)).apply(row(id, name));
  }

  @Test
  void rowsOfAnyKindAreHeldAsTheyAre() {
    HeldRows rows = new HeldRows(COLUMNS);
    for (int again = 0; again < 3; again++) {
      UnsafeRow reused = unsafe(1, "Ada");
      rows.add(reused);
      reused.setLong(0, 9);
      rows.add(row(2, null));
      rows.add(row(3, "Zoë".repeat(again * 1000)));
      assertEquals(3, rows.count());
      assertEquals(unsafe(1, "Ada"), rows.at(0));
      assertEquals(unsafe(3, "Zoë".repeat(again * 1000)), rows.at(2));
      assertTrue(rows.at(1).isNullAt(1));
      assertEquals(2, rows.row().getLong(0));
      rows.clear();
      assertEquals(0, rows.size());
    }
  }

  /** As they come where memory is outside of Java's heap. */
  @Test
  void rowsAtAnAddressAreHeldAsTheyAre() {
    UnsafeRow inside = unsafe(7, "Björn");
    long address = Platform.allocateMemory(inside.getSizeInBytes());
    try {
      inside.writeToMemory(null, address);
      UnsafeRow outside = new UnsafeRow(2);
      outside.pointTo(null, address, inside.getSizeInBytes());
      HeldRows rows = new HeldRows(COLUMNS);
      rows.add(outside);
      assertEquals(inside, rows.at(0));
    } finally {
      Platform.freeMemory(address);
    }
  }

  @Test
  void aLargeRowLeavesNoLargeArrayBehind() {
    HeldRows rows = new HeldRows(COLUMNS);
    rows.add(row(1, "x".repeat(MaskedPart.MOST_BYTES)));
    assertTrue(rows.size() > MaskedPart.MOST_BYTES);
    rows.clear();
    assertEquals(0, rows.bytes().length);
  }
}
