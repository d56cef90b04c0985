package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

/**
 * The tables of a target under the names that the source has for them: those of the schema that the
 * session is in, written alike, or the only ones that differ in case alone.
 *
 * @param catalogue the tables that were found, by the source's names
 * @param names what the target calls each
 * @param tables its tables, by the source's names
 * @param own the same with the target's names
 */
record JdbcTarget(
    Catalogue catalogue,
    Map<TableName, TableName> names,
    Map<TableName, JdbcTable> tables,
    Map<TableName, JdbcTable> own) {

  static JdbcTarget read(JdbcSession session, JdbcCatalogue source) throws SQLException {
    Map<TableName, TableName> names = new TreeMap<>();
    List<TableName> all = JdbcCatalogue.names(session);
    List<String> plain = all.stream().map(TableName::name).toList();
    for (TableName wanted : source.tables().keySet()) {
      String found = match(wanted.name(), plain);
      if (found != null) {
        names.put(wanted, new TableName(session.schema(), found));
      }
    }
    requireOneEach(names);
    JdbcCatalogue theirs = JdbcCatalogue.read(session, names.values());
    Map<TableName, JdbcTable> own = new TreeMap<>();
    Map<TableName, JdbcTable> tables = new TreeMap<>();
    names.forEach(
        (ours, name) -> {
          own.put(ours, theirs.tables().get(name));
          tables.put(ours, renamed(source.tables().get(ours), theirs.tables().get(name)));
        });
    Map<TableName, Table> described = new TreeMap<>();
    tables.forEach((name, table) -> described.put(name, table.table()));
    List<ForeignKey> keys = keys(theirs.foreignKeys(), names, own, tables);
    return new JdbcTarget(new Catalogue(described, keys, theirs.warnings()), names, tables, own);
  }

  /**
   * Of tables that have one name but for case only one may be in the target: none is taken for it.
   */
  private static void requireOneEach(Map<TableName, TableName> names) {
    List<TableName> taken = new ArrayList<>(names.values());
    names.values().removeIf(name -> Collections.frequency(taken, name) > 1);
  }

  private static String match(String wanted, Collection<String> names) {
    if (names.contains(wanted)) {
      return wanted;
    }
    List<String> alike = names.stream().filter(name -> name.equalsIgnoreCase(wanted)).toList();
    return alike.size() == 1 ? alike.get(0) : null;
  }

  private static JdbcTable renamed(JdbcTable source, JdbcTable target) {
    List<String> theirs = target.columns().stream().map(c -> c.column().name()).toList();
    Map<String, String> ours = new HashMap<>();
    for (JdbcColumn column : source.columns()) {
      String found = match(column.column().name(), theirs);
      if (found != null) {
        ours.put(found, column.column().name());
      }
    }
    List<JdbcColumn> columns = target.columns().stream().map(c -> renamed(c, ours)).toList();
    Table table = target.table();
    Table same =
        new Table(
            source.table().name(),
            columns.stream().map(JdbcColumn::column).toList(),
            table.uniques().stream()
                .map(u -> new Unique(u.name(), renamed(u.columns(), ours), u.primary()))
                .toList(),
            table.parts(),
            table.hidden(),
            table.findings(),
            table.unjudged(),
            table.sequences());
    return new JdbcTable(same, columns);
  }

  private static List<String> renamed(List<String> names, Map<String, String> ours) {
    return names.stream().map(name -> ours.getOrDefault(name, name)).toList();
  }

  private static JdbcColumn renamed(JdbcColumn their, Map<String, String> ours) {
    Column c = their.column();
    Column column =
        new Column(
            ours.getOrDefault(c.name(), c.name()),
            c.type(),
            c.masked(),
            c.limit(),
            c.padded(),
            c.notNull(),
            c.generated(),
            c.collation());
    return new JdbcColumn(
        column,
        their.form(),
        their.size(),
        their.scale(),
        their.unsigned(),
        their.counted(),
        their.narrow(),
        their.fillsNull());
  }

  private static List<ForeignKey> keys(
      List<ForeignKey> theirs,
      Map<TableName, TableName> names,
      Map<TableName, JdbcTable> own,
      Map<TableName, JdbcTable> tables) {
    Map<TableName, TableName> back = new HashMap<>();
    names.forEach((ours, name) -> back.put(name, ours));
    List<ForeignKey> keys = new ArrayList<>();
    for (ForeignKey key : theirs) {
      TableName child = back.get(key.child());
      TableName parent = back.getOrDefault(key.parent(), key.parent());
      keys.add(
          new ForeignKey(
              key.name(),
              child,
              columns(key.columns(), own.get(child), tables.get(child)),
              parent,
              columns(key.parentColumns(), own.get(parent), tables.get(parent)),
              key.childRelation(),
              key.parentRelation(),
              key.operators()));
    }
    return keys;
  }

  private static List<String> columns(List<String> names, JdbcTable own, JdbcTable table) {
    if (own == null) {
      return names;
    }
    List<String> theirs = own.columns().stream().map(c -> c.column().name()).toList();
    return names.stream()
        .map(name -> table.columns().get(theirs.indexOf(name)).column().name())
        .toList();
  }

  /** A table of the plan with its columns on both sides. */
  JdbcStep step(Step step, JdbcTable source) {
    TableName name = step.source().name();
    JdbcTable renamed = tables.get(name);
    List<JdbcColumn> to = new ArrayList<>();
    for (JdbcColumn column : source.stored()) {
      JdbcColumn found = renamed.column(column.column().name()).orElseThrow();
      to.add(own.get(name).columns().get(renamed.columns().indexOf(found)));
    }
    return new JdbcStep(step, source.stored(), to, names.get(name));
  }
}
