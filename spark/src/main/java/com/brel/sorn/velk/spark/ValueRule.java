package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.OnError;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.ServiceBuilder;
import com.brel.sorn.velk.masking.Type;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A rule that stands alone, such as {@code hash(length=12)}.
 *
 * @param function its function
 * @param arguments its arguments as they were written, empty for none
 */
record ValueRule(String function, String arguments) {
  static final String COLUMN = "value";

  /** The text is not told: whoever takes a rule for a masking string may have a key in it. */
  private static final String NO_RULE =
      "a rule is a function with its arguments and no more, such as hash(length=12)";

  private static final Pattern RULE =
      Pattern.compile("\\s*([A-Za-z][A-Za-z0-9_]*)(?:\\((.*)\\))?\\s*", Pattern.DOTALL);

  private static final Pattern BLANKS = Pattern.compile("\\s+");

  /**
   * Reads a rule.
   *
   * @throws IllegalArgumentException if the text is no rule
   */
  static ValueRule of(String text) {
    Matcher rule = RULE.matcher(text);
    if (!rule.matches()) {
      throw new IllegalArgumentException(NO_RULE);
    }
    return new ValueRule(rule.group(1), rule.group(2) == null ? "" : rule.group(2));
  }

  @Override
  public String toString() {
    return arguments.isEmpty() ? function : function + "(" + arguments + ")";
  }

  /** A masking string of columns, each with its rule; all were checked alone. */
  static String maskingString(List<TableColumn> columns, List<ValueRule> rules, String key) {
    ServiceBuilder service = service(key);
    for (int i = 0; i < rules.size(); i++) {
      Rule rule = Rule.function(rules.get(i).function, rules.get(i).arguments);
      service.column(columns.get(i).name(), columns.get(i).form().declared(), rule);
    }
    return service.toString();
  }

  private static ServiceBuilder service(String key) {
    ServiceBuilder service = ProcessEngine.get().service("velk_mask");
    return key.isEmpty() ? service : service.key(key);
  }

  /**
   * Makes the masking string of a single column, and has the engine check it.
   *
   * @param text the rule
   * @param key where the engine finds the key, such as {@code env:NAME}; empty for nowhere
   * @param type the declared type of the values
   * @return the masking string of a column named {@link #COLUMN}
   * @throws IllegalArgumentException if the text is no rule and no more
   * @throws com.brel.sorn.velk.VELKException if the engine refuses it, with the reason
   */
  static String maskingString(String text, String key, Type type) {
    ValueRule rule = of(text);
    ServiceBuilder service = service(key);
    service.column(COLUMN, type, Rule.function(rule.function, rule.arguments));
    requireOneRule(service.toString(), rule.arguments);
    return service.toString();
  }

  /** A text with a parenthesis too many could say more than a rule. */
  private static void requireOneRule(String maskingString, String arguments) {
    try (ParsedService table = ProcessEngine.table(maskingString, List.of(COLUMN))) {
      ColumnRule column = table.columns().get(0);
      boolean same = withoutBlanks(column.rule().arguments()).equals(withoutBlanks(arguments));
      if (!same || table.onError().way() != OnError.Way.ERROR) {
        throw new IllegalArgumentException(NO_RULE);
      }
    }
  }

  private static String withoutBlanks(String text) {
    return BLANKS.matcher(text).replaceAll("");
  }
}
