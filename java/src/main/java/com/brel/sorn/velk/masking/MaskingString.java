package com.brel.sorn.velk.masking;

import java.util.Collection;
import java.util.Set;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/** A service written as a masking string, from which the engine reads the same service. */
final class MaskingString {
  private static final Pattern NAME = Pattern.compile("[A-Za-z][A-Za-z0-9_-]*");

  /** These speak of the service; as the name of a column they are quoted. */
  private static final Set<String> RESERVED = Set.of("service", "key", "on_error", "on_null");

  private MaskingString() {}

  /** The service, a line for each thing that is said; the key may be null. */
  static String of(
      String id,
      @Nullable String key,
      OnError onError,
      boolean masksNulls,
      Collection<ColumnRule> columns) {
    StringBuilder text = new StringBuilder("service=" + Text.value(id));
    if (key != null) {
      text.append("\nkey=").append(Text.value(key));
    }
    if (!onError.equals(OnError.UNSAID)) {
      text.append("\non_error=").append(onError);
    }
    if (masksNulls) {
      text.append("\non_null=mask");
    }
    columns.forEach(column -> text.append('\n').append(of(column)));
    return text.toString();
  }

  /** A column of a service; quoted, a pattern or a position is no more than a name. */
  private static String of(ColumnRule column) {
    return of(name(column.name()), column);
  }

  /** A column as a masking string has it, where it may be a pattern or a position. */
  static String entry(ColumnRule column) {
    String name = column.name();
    return of(ColumnPattern.standsForColumns(name) ? name : name(name), column);
  }

  private static String of(String name, ColumnRule column) {
    StringBuilder text = new StringBuilder(name + "=" + column.rule());
    if (!column.type().equals(Type.text())) {
      text.append(' ').append(name).append(".type=").append(column.type());
    }
    if (column.unique()) {
      text.append(' ').append(name).append(".unique=true");
    }
    return text.toString();
  }

  /** Whether a word that is not in quotes speaks of the service. */
  static boolean isReserved(String word) {
    return RESERVED.contains(word);
  }

  private static String name(String name) {
    boolean bare = NAME.matcher(name).matches() && !RESERVED.contains(name);
    return bare ? name : Text.escape(name);
  }
}
