package com.brel.sorn.velk.cli;

import java.util.List;
import java.util.Locale;
import java.util.function.Predicate;
import java.util.regex.Pattern;

/**
 * Functions that suit a column, guessed by its name or by its values.
 *
 * @param rule the rule
 * @param type the declared type that the rule needs, null for none
 * @param name names of such columns
 * @param value the form of their values, null where names alone tell
 */
record Suggestion(String rule, String type, Pattern name, Pattern value) {
  /** The first that fits is taken; the forms of values are told apart more surely than names. */
  private static final List<Suggestion> KNOWN =
      List.of(
          of("email(domain=example.com)", null, "e?-?mail", "[^@\\s]+@[^@\\s]+"),
          of(
              "card(keep_first=6)",
              null,
              "card|pan|credit",
              "\\d{4}([ -]?)\\d{4}\\1\\d{4}\\1\\d{1,7}"),
          of("dateshift(days=30)", "timestamp", "_at$|time", "\\d{4}-\\d\\d-\\d\\d[ T]\\d\\d:.*"),
          of("dateshift(days=30)", "date", "born|birth|date|dob", "\\d{4}-\\d\\d-\\d\\d"),
          of("noise(percent=10)", "decimal(18,2)", "salary|amount|price", "-?\\d+\\.\\d{1,2}"),
          of("dict(list=first_names)", null, "first.?name|given", null),
          of("dict(list=last_names)", null, "last.?name|surname|family", null),
          of("dict(list=cities)", null, "city|town", null),
          of("dict(list=streets)", null, "street|address", null),
          of("classes", null, "name|phone|tel|mobile|zip|postal|iban|account|user", null),
          of(
              "hash(length=12)",
              null,
              "(^|_)(id|no|key|code|number)$",
              "[0-9A-Za-z_-]*\\d[0-9A-Za-z_-]*"));

  private static final Suggestion ANYTHING = new Suggestion("fixed('removed')", null, null, null);

  private static Suggestion of(String rule, String type, String name, String value) {
    Pattern names = Pattern.compile(name);
    return new Suggestion(rule, type, names, value == null ? null : Pattern.compile(value));
  }

  /** What suits a column with these values, null and empty ones left out. */
  static Suggestion of(String name, List<String> values) {
    Predicate<Suggestion> byValues =
        known ->
            known.value != null
                && !values.isEmpty()
                && values.stream().allMatch(value -> known.value.matcher(value).matches());
    String lower = name.toLowerCase(Locale.ROOT);
    // A name is believed only where the values do not speak against the type.
    Predicate<Suggestion> byName =
        known -> known.type == null && known.name.matcher(lower).find() || byValues.test(known);
    return KNOWN.stream().filter(byName).findFirst().orElse(ANYTHING);
  }

  /** The suggestion as a masking string writes it for a column. */
  String text(String column) {
    String typed = type == null ? "" : "  " + column + ".type = " + type;
    return column + " = " + rule + typed;
  }
}
