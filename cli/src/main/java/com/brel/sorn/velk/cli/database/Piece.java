package com.brel.sorn.velk.cli.database;

/**
 * Pages of a relation that are committed together.
 *
 * @param part the relation
 * @param from the first page
 * @param to the page behind the last one, {@link #OPEN} for all that there are
 */
record Piece(TableName part, long from, long to) {
  static final long OPEN = Long.MAX_VALUE;

  boolean isOpen() {
    return to == OPEN;
  }

  /** What the rows of the piece are known by. */
  String condition() {
    return between("(" + from + ",0)", isOpen() ? null : "(" + to + ",0)");
  }

  /** The rows from a place on and before another, or to the end. */
  static String between(String from, String to) {
    String lower = "ctid >= '" + from + "'::tid";
    return to == null ? lower : lower + " AND ctid < '" + to + "'::tid";
  }
}
