package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;

/**
 * A column of a database that is spoken to by JDBC.
 *
 * @param column what any database says of it
 * @param form what its values are on their way
 * @param size digits of a decimal, bits of an integer, characters of a text or bytes; 0 for no
 *     limit
 * @param scale digits behind the point of a decimal, or of a second
 * @param unsigned whether it has no negative numbers
 * @param counted whether the database gives it numbers
 * @param narrow whether it changes values of other types
 * @param fillsNull whether it has another value in place of null
 */
record JdbcColumn(
    Column column,
    Form form,
    int size,
    int scale,
    boolean unsigned,
    boolean counted,
    boolean narrow,
    boolean fillsNull) {
  private static final int[] DIGITS_BY_BYTES = {0, 3, 5, 8, 10, 13, 15, 18, 20};

  /** Why values of another column cannot go into this one, null where they can. */
  String obstacle(JdbcColumn from, boolean sameProduct) {
    boolean known = form != Form.NONE && from.form != Form.NONE;
    boolean own = narrow || form == Form.OWN_TEXT || form == Form.OWN_BYTES;
    boolean alike = own ? sameProduct && column.type().equals(from.column.type()) : true;
    if (!known || !alike || !takes(from.form)) {
      return from.column.type() + " does not go over to " + column.type() + " by JDBC";
    }
    return holds(from)
        ? null
        : column.type() + " of the target is narrower than " + from.column.type();
  }

  private boolean takes(Form other) {
    return form == other
        || form == Form.DECIMAL && other == Form.INTEGER
        || form == Form.INTEGER && other == Form.DECIMAL
        || form == Form.DOUBLE && other == Form.REAL;
  }

  private boolean holds(JdbcColumn from) {
    return switch (form) {
      case INTEGER -> from.form == Form.INTEGER ? holdsBits(from) : holdsDigits(from);
      case DECIMAL -> holdsDigits(from);
      case TEXT -> holdsLength(from);
      case BINARY -> isFilledUp() ? column.type().equals(from.column.type()) : holdsLength(from);
      case TIME, CLOCK, INSTANT -> from.scale <= scale;
      default -> true;
    };
  }

  private boolean holdsLength(JdbcColumn from) {
    return size == 0 || from.size > 0 && from.size <= size;
  }

  /** Bytes of 0 behind a value cannot be told from its own. */
  private boolean isFilledUp() {
    return column.type().startsWith("binary(");
  }

  private boolean holdsBits(JdbcColumn from) {
    if (unsigned) {
      return from.unsigned && from.size <= size;
    }
    return from.unsigned ? from.size < size : from.size <= size;
  }

  private boolean holdsDigits(JdbcColumn from) {
    if (form == Form.INTEGER) {
      // Not every number of as many digits as its greatest has.
      return !unsigned && from.size > 0 && from.scale == 0 && from.size < digits(this);
    }
    int ours = from.form == Form.INTEGER ? digits(from) : from.size - from.scale;
    boolean unlimited = from.form == Form.DECIMAL && from.size == 0;
    return size == 0 || !unlimited && ours <= size - scale && from.scale <= scale;
  }

  private static int digits(JdbcColumn integer) {
    boolean signed = integer.size == Long.SIZE && !integer.unsigned;
    return DIGITS_BY_BYTES[integer.size / Byte.SIZE] - (signed ? 1 : 0);
  }
}
