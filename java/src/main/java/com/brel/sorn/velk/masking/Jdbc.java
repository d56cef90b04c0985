package com.brel.sorn.velk.masking;

import java.util.Set;

/** The numbers of {@code java.sql.Types}, so that nobody needs its module for them. */
final class Jdbc {
  static final int CHAR = 1;
  static final int NUMERIC = 2;
  static final int DECIMAL = 3;
  static final int INTEGER = 4;
  static final int SMALLINT = 5;
  static final int VARCHAR = 12;
  static final int DATE = 91;
  static final int TIMESTAMP = 93;
  static final int TIMESTAMP_WITH_TIMEZONE = 2014;
  static final int BIGINT = -5;
  static final int TINYINT = -6;
  static final int NVARCHAR = -9;
  static final int NCHAR = -15;

  private static final int BINARY = -2;
  private static final int VARBINARY = -3;
  private static final int LONGVARBINARY = -4;
  private static final int JAVA_OBJECT = 2000;
  private static final int STRUCT = 2002;
  private static final int ARRAY = 2003;
  private static final int BLOB = 2004;
  private static final int REF = 2006;
  private static final int DATALINK = 70;
  private static final int REF_CURSOR = 2012;

  /** What is made of bytes or of parts. */
  static final Set<Integer> HAS_NO_TEXT =
      Set.of(
          BINARY,
          VARBINARY,
          LONGVARBINARY,
          JAVA_OBJECT,
          STRUCT,
          ARRAY,
          BLOB,
          REF,
          DATALINK,
          REF_CURSOR);

  private Jdbc() {}
}
