package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.OnError;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.TableException;
import com.brel.sorn.velk.masking.Type;
import java.util.ArrayList;
import java.util.Collection;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.function.IntSupplier;
import java.util.regex.Pattern;
import java.util.stream.IntStream;

/** Holds rules against the catalogues of source and target, and finds all that does not fit. */
final class Planner {
  private static final Pattern GOES_BY_ANOTHER_COLUMN = Pattern.compile("(^|,)\\s*by\\s*=");

  private final Engine engine;
  private final RulesFile rules;
  private final Catalogue source;
  private final Catalogue target;

  private final Crossing crossing;

  private final Set<String> findings = new LinkedHashSet<>();
  private final Map<TableName, Step> steps = new LinkedHashMap<>();

  /** Where each column's rule stands, as a message says it. */
  private final Map<TableName, Map<String, String>> places = new HashMap<>();

  Planner(Engine engine, RulesFile rules, Catalogue source, Catalogue target, Crossing crossing) {
    this.engine = engine;
    this.rules = rules;
    this.source = source;
    this.target = target;
    this.crossing = crossing;
  }

  /**
   * Plans a copy.
   *
   * @param all the tables of the source, of which some may be left out
   * @param more what else was found that keeps the copy from being made
   */
  Plan plan(Collection<TableName> all, List<String> more) {
    findings.addAll(rules.findings());
    requireTables(all);
    source.tables().values().forEach(this::plan);
    List<ForeignKey> keys = foreignKeys();
    keys.forEach(this::check);
    List<List<Step>> levels = levels(keys);
    findings.addAll(more);
    if (!findings.isEmpty()) {
      throw CopyException.refused(List.copyOf(findings));
    }
    return new Plan(levels, keys, target, crossing.unordered(), warnings());
  }

  private void requireTables(Collection<TableName> all) {
    rules
        .sections()
        .forEach(
            (name, section) -> {
              if (!all.contains(name)) {
                findings.add("line " + section.line() + ": the source has no table " + name);
              }
            });
    for (TableName name : source.tables().keySet()) {
      if (!rules.sections().containsKey(name) && rules.findings().isEmpty()) {
        findings.add(
            "table " + name + " of the source has no section in the rules: [" + name + "]");
      }
    }
  }

  private void plan(Table table) {
    table.findings().forEach(finding -> find(table.name(), finding));
    if (table.hidden()) {
      find(table.name(), "row-level security of the source would hide rows");
    }
    table.parts().stream()
        .filter(Catalogue.Part::hidden)
        .map(
            part ->
                "row-level security of the source would hide rows of its partition " + part.name())
        .forEach(finding -> find(table.name(), finding));
    if (table.stored().isEmpty()) {
      find(table.name(), "it has no columns that could be copied");
    }
    compareWithTarget(table);
    RulesFile.Section section = rules.sections().get(table.name());
    if (section == null) {
      return;
    }
    if (section.keep()) {
      table.stored().forEach(column -> checkCrossing(table, column, null, () -> 0));
      steps.put(table.name(), new Step(table, true, List.of(), null, OnError.stop(), null));
      return;
    }
    try {
      read(table, section);
    } catch (TableException e) {
      e.findings()
          .forEach(finding -> find(table.name(), "line " + section.line() + ": " + finding));
    } catch (VELKException e) {
      if (e.kind() != VELKException.Kind.DESCRIPTION) {
        throw e;
      }
      RuleFaults.of(section.maskingString(), e.getMessage(), text -> fault(table, text))
          .forEach(fault -> find(table.name(), fault));
    } catch (IllegalArgumentException e) {
      find(table.name(), "line " + section.line() + ": " + e.getMessage());
    }
  }

  /** What the engine says of rules, null where it takes them or they do not fit the table. */
  private String fault(Table table, String text) {
    List<Column> columns = table.stored();
    try (ParsedService parsed = engine.parse(text, types(columns));
        ParsedService fitting = parsed.forTable(columns.stream().map(Column::name).toList())) {
      List<ColumnRule> said = fitting.columns();
      fitting.typed(
          IntStream.range(0, columns.size())
              .mapToObj(i -> type(columns.get(i), said.get(i)))
              .toList());
      fitting.tellErrors().open().close();
      return null;
    } catch (VELKException e) {
      return e.kind() == VELKException.Kind.DESCRIPTION ? e.getMessage() : null;
    } catch (TableException | IllegalArgumentException e) {
      return null;
    }
  }

  private static Map<String, Type> types(List<Column> columns) {
    Map<String, Type> types = new HashMap<>();
    columns.forEach(column -> types.put(column.name(), column.masked()));
    return types;
  }

  private void read(Table table, RulesFile.Section section) {
    List<Column> columns = table.stored();
    List<String> names = columns.stream().map(Column::name).toList();
    ParsedService fitting;
    OnError onError;
    try (ParsedService parsed = engine.parse(section.maskingString(), types(columns))) {
      fitting = parsed.forTable(names);
      onError = parsed.onError();
    }
    places.put(table.name(), places(names, fitting));
    boolean fits = checkLengths(table, fitting);
    List<ColumnRule> said = fitting.columns();
    for (int i = 0; i < columns.size(); i++) {
      int column = i;
      checkCrossing(table, columns.get(i), said.get(i), () -> fitting.longestResult(column));
    }
    fitting.typed(
        IntStream.range(0, names.size()).mapToObj(i -> type(columns.get(i), said.get(i))).toList());
    String key = fitting.key().orElse(null);
    List<ColumnRule> typed = fitting.columns();
    // The engine would say of the first what was found of all.
    MaskingService service = fits ? fitting.tellErrors().open() : null;
    Step step = new Step(table, false, typed, service, onError, key);
    steps.put(table.name(), step);
    checkNulls(step);
    checkUnique(step, said);
  }

  private static Map<String, String> places(List<String> names, ParsedService service) {
    Map<String, String> places = new HashMap<>();
    for (int i = 0; i < names.size(); i++) {
      String place = service.place(i).map(where -> " (" + where + ")").orElse("");
      places.put(names.get(i), "column " + TableName.quoted(names.get(i)) + place);
    }
    return places;
  }

  /** What is kept crosses unseen, whatever it is. */
  private static Type type(Column column, ColumnRule rule) {
    return rule.rule().function().equals("keep") ? Type.text() : column.masked();
  }

  private boolean checkLengths(Table table, ParsedService service) {
    boolean fits = true;
    for (int i = 0; i < table.stored().size(); i++) {
      Column column = table.stored().get(i);
      int longest = column.limit() > 0 ? service.longestResult(i) : 0;
      if (longest > column.limit()) {
        fits = false;
        find(
            table.name(),
            place(table.name(), column.name())
                + ": a result of "
                + longest
                + " characters is longer than the column, which holds "
                + column.limit());
      }
    }
    return fits;
  }

  private void checkCrossing(Table table, Column ours, ColumnRule rule, IntSupplier longest) {
    Table other = target.tables().get(table.name());
    Column theirs = other == null ? null : other.column(ours.name()).orElse(null);
    String obstacle = theirs == null ? null : crossing.obstacle(ours, theirs, rule, longest);
    if (obstacle != null) {
      find(table.name(), place(table.name(), ours.name()) + ": " + obstacle);
    }
  }

  private void checkNulls(Step step) {
    List<Column> columns = step.source().stored();
    boolean errorsAreNull =
        step.onError().way() == OnError.Way.REPLACEMENT && step.onError().replacement() == null;
    for (int i = 0; i < columns.size(); i++) {
      Column column = columns.get(i);
      if (!column.notNull() && !isNotNullInTarget(step.source(), column)) {
        continue;
      }
      String place = place(step.source().name(), column.name());
      if (step.rules().get(i).rule().function().equals("null")) {
        find(step.source().name(), place + ": the rule is null, and the column must not be null");
      } else if (errorsAreNull && step.isMasked(i)) {
        find(
            step.source().name(),
            place + ": on_error=null would make it null, and the column must not be null");
      }
    }
  }

  private boolean isNotNullInTarget(Table table, Column column) {
    Table other = target.tables().get(table.name());
    return other != null && other.column(column.name()).filter(Column::notNull).isPresent();
  }

  private void checkUnique(Step step, List<ColumnRule> said) {
    List<Unique> uniques = new ArrayList<>(step.source().uniques());
    Table other = target.tables().get(step.source().name());
    if (other != null) {
      uniques.addAll(other.uniques());
    }
    for (ColumnRule rule : said) {
      Set<String> names = new TreeSet<>();
      uniques.stream()
          .filter(unique -> unique.columns().contains(rule.name()))
          .forEach(unique -> names.add(TableName.quoted(unique.name())));
      if (rule.rule().isLossy() && (rule.unique() || !names.isEmpty())) {
        find(
            step.source().name(),
            place(step.source().name(), rule.name())
                + ": "
                + rule.rule().function()
                + " may give two values the same result, and the column is unique"
                + (names.isEmpty() ? "" : " by " + String.join(", ", names)));
      }
    }
  }

  private void compareWithTarget(Table table) {
    Table other = target.tables().get(table.name());
    if (other == null) {
      find(table.name(), "the target has no such table");
      return;
    }
    if (other.hidden()) {
      find(table.name(), "row-level security of the target forbids a copy into it");
    }
    other.findings().forEach(finding -> find(table.name(), "in the target, " + finding));
    for (Column ours : table.columns()) {
      Column theirs = other.column(ours.name()).orElse(null);
      String difference =
          theirs == null
              ? "is " + ours.type() + ", and is missing in the target"
              : crossing.difference(ours, theirs);
      if (difference != null) {
        find(table.name(), "column " + TableName.quoted(ours.name()) + " " + difference);
      }
    }
    for (Column theirs : other.columns()) {
      if (table.column(theirs.name()).isEmpty()) {
        String name = TableName.quoted(theirs.name());
        find(table.name(), "column " + name + " is in the target alone");
      }
    }
  }

  /** Those of target and source; all are to hold, whether the target knows them or not. */
  private List<ForeignKey> foreignKeys() {
    Map<List<Object>, ForeignKey> keys = new LinkedHashMap<>();
    for (Catalogue catalogue : List.of(target, source)) {
      for (ForeignKey key : catalogue.foreignKeys()) {
        if (source.tables().containsKey(key.child())) {
          keys.putIfAbsent(
              List.of(
                  key.child(),
                  key.columns(),
                  key.parent(),
                  key.parentColumns(),
                  key.childRelation(),
                  key.parentRelation()),
              key);
        }
      }
    }
    return List.copyOf(keys.values());
  }

  private void check(ForeignKey key) {
    if (!source.tables().containsKey(key.parent())) {
      find(
          key.child(),
          "foreign key "
              + TableName.quoted(key.name())
              + " refers to "
              + key.parent()
              + ", which is left out");
      return;
    }
    Step child = steps.get(key.child());
    Step parent = steps.get(key.parent());
    for (int i = 0; child != null && parent != null && i < key.columns().size(); i++) {
      String difference =
          difference(end(child, key.columns().get(i)), end(parent, key.parentColumns().get(i)));
      if (difference != null) {
        find(
            key.child(),
            "foreign key "
                + TableName.quoted(key.name())
                + ": "
                + place(key.child(), key.columns().get(i))
                + " and "
                + key.parent()
                + ", "
                + place(key.parent(), key.parentColumns().get(i))
                + " are not masked alike: "
                + difference);
      }
    }
  }

  private String place(TableName table, String column) {
    return places
        .getOrDefault(table, Map.of())
        .getOrDefault(column, "column " + TableName.quoted(column));
  }

  /** An end of a foreign key: its column, its rule and the key it is masked with. */
  private record End(Column column, String rule, String maskedAs, String key) {}

  private static End end(Step step, String name) {
    List<Column> columns = step.source().stored();
    for (int i = 0; i < columns.size(); i++) {
      if (columns.get(i).name().equals(name)) {
        boolean masked = step.isMasked(i);
        String rule = masked ? step.rules().get(i).rule().toString() : "keep";
        String type = masked ? step.rules().get(i).type().toString() : "";
        return new End(columns.get(i), rule, type, masked ? step.key() : null);
      }
    }
    Column generated = step.source().column(name).orElseThrow();
    return new End(generated, "(generated)", "", null);
  }

  private static String difference(End child, End parent) {
    if (!child.rule().equals(parent.rule())) {
      return child.rule() + " and " + parent.rule();
    }
    if (!Objects.equals(child.key(), parent.key())) {
      return "their keys differ";
    }
    if (child.rule().equals("keep")) {
      return null;
    }
    if (!child.column().type().equals(parent.column().type())
        || !child.maskedAs().equals(parent.maskedAs())) {
      return "their types differ, " + child.column().type() + " and " + parent.column().type();
    }
    if (!Objects.equals(child.column().collation(), parent.column().collation())) {
      return "their collations differ";
    }
    int open = child.rule().indexOf('(');
    boolean byAnother =
        open >= 0 && GOES_BY_ANOTHER_COLUMN.matcher(child.rule().substring(open + 1)).find();
    return byAnother ? "the rule goes by another column of the row" : null;
  }

  /** Parents before children; what refers to itself in a circle needs a session that allows it. */
  private List<List<Step>> levels(List<ForeignKey> keys) {
    List<List<Step>> levels = new ArrayList<>();
    Map<TableName, Step> left = new LinkedHashMap<>(steps);
    while (!left.isEmpty()) {
      List<Step> free =
          left.values().stream()
              .filter(step -> keys.stream().noneMatch(key -> waits(key, step, left)))
              .toList();
      if (free.isEmpty()) {
        free = List.copyOf(left.values());
        if (!crossing.unordered()) {
          findings.add(
              "foreign keys go in a circle among "
                  + String.join(", ", left.keySet().stream().map(TableName::toString).toList())
                  + ": "
                  + crossing.circleAdvice());
        }
      }
      levels.add(free);
      free.forEach(step -> left.remove(step.source().name()));
    }
    return levels;
  }

  private static boolean waits(ForeignKey key, Step step, Map<TableName, Step> left) {
    return key.child().equals(step.source().name())
        && !key.parent().equals(key.child())
        && left.containsKey(key.parent());
  }

  private List<String> warnings() {
    List<String> warnings = new ArrayList<>(source.warnings());
    for (Step step : steps.values()) {
      TableName name = step.source().name();
      Set<String> unjudged = new TreeSet<>(step.source().unjudged());
      unjudged.addAll(target.tables().get(name).unjudged());
      unjudged.forEach(
          what ->
              warnings.add(
                  "table " + name + ": nobody can judge what masked values mean to " + what));
    }
    return warnings;
  }

  private void find(TableName table, String finding) {
    findings.add("table " + table + ": " + finding);
  }
}
