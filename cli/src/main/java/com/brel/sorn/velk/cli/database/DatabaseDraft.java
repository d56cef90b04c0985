package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import com.brel.sorn.velk.masking.Type;
import java.nio.file.Path;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;

/** What a catalogue tells somebody who writes rules for its tables. */
public final class DatabaseDraft {
  /**
   * A table.
   *
   * @param name as a section of the rules is headed
   */
  public record TableDraft(String name, List<ColumnDraft> columns) {}

  /**
   * A column.
   *
   * @param description its type, whether it may be null, and the keys that it is part of
   * @param suggestion a rule that suits it, null where only its name can tell
   */
  public record ColumnDraft(String name, String description, String suggestion) {}

  /** Also domains of such a type; an array of texts is none. */
  private static final Pattern TEXT =
      Pattern.compile(
          "(.* \\()?((tiny|medium|long)?text|(national )?character[^\\[]*|n?(var)?char\\(.*|n?clob|.*\\.citext)\\)?");

  private final Catalogue catalogue;

  /** For each end of a foreign key the column that its rows are known by in the end. */
  private final Map<String, String> parents = new HashMap<>();

  private DatabaseDraft(Catalogue catalogue) {
    this.catalogue = catalogue;
    for (ForeignKey key : catalogue.foreignKeys()) {
      for (int i = 0; i < key.columns().size(); i++) {
        join(end(key.child(), key.columns().get(i)), end(key.parent(), key.parentColumns().get(i)));
      }
    }
  }

  /**
   * Reads the catalogue of a database, and no row.
   *
   * @param url the database
   * @param drivers jars of drivers
   * @return its tables, in the order of their names
   * @throws CopyException if the database fails
   */
  public static List<TableDraft> of(DatabaseUrl url, List<Path> drivers) {
    if (!url.isPostgres()) {
      return ofAny(url, drivers);
    }
    try (Postgres session = Postgres.open(url, true)) {
      Catalogue catalogue = CatalogueReader.read(session, CatalogueReader.names(session));
      return new DatabaseDraft(catalogue).tables();
    } catch (SQLException e) {
      throw CopyException.failed(url + ": " + Postgres.told(e));
    }
  }

  private static List<TableDraft> ofAny(DatabaseUrl url, List<Path> drivers) {
    try (JdbcSession session = JdbcSession.open(new Drivers(drivers), url, true)) {
      JdbcCatalogue catalogue = JdbcCatalogue.read(session, JdbcCatalogue.names(session));
      return new DatabaseDraft(catalogue.plain()).tables();
    } catch (SQLException e) {
      throw CopyException.failed(url + ": " + url.stripped(e.getMessage()));
    }
  }

  private static String end(TableName table, String column) {
    return table + "." + column;
  }

  private void join(String child, String parent) {
    String one = root(child);
    String other = root(parent);
    parents.putIfAbsent(other, other);
    parents.put(one, other);
  }

  private String root(String end) {
    String parent = parents.getOrDefault(end, end);
    return parent.equals(end) ? end : root(parent);
  }

  private List<TableDraft> tables() {
    List<TableDraft> tables = new ArrayList<>();
    for (Table table : catalogue.tables().values()) {
      List<ColumnDraft> columns =
          table.stored().stream().map(column -> draft(table, column)).toList();
      tables.add(new TableDraft(table.name().toString(), columns));
    }
    return tables;
  }

  private ColumnDraft draft(Table table, Column column) {
    List<String> said = new ArrayList<>(List.of(column.type()));
    if (column.notNull()) {
      said.add("not null");
    }
    boolean unique = false;
    for (Unique index : table.uniques()) {
      if (index.columns().contains(column.name())) {
        unique = true;
        said.add(index.primary() ? "primary key" : "unique by " + TableName.quoted(index.name()));
      }
    }
    for (ForeignKey key : catalogue.foreignKeys()) {
      int i = key.child().equals(table.name()) ? key.columns().indexOf(column.name()) : -1;
      if (i >= 0) {
        said.add("refers to " + end(key.parent(), key.parentColumns().get(i)));
      }
    }
    String end = end(table.name(), column.name());
    String suggestion = suggestion(column, unique || parents.containsKey(end), end);
    return new ColumnDraft(column.name(), String.join(", ", said), suggestion);
  }

  /** Keys are to stay different, and alike at both ends. */
  private String suggestion(Column column, boolean isKey, String end) {
    Type type = column.masked();
    boolean isText =
        TEXT.matcher(column.type()).matches() && (column.limit() == 0 || column.limit() >= 4);
    if (isKey) {
      String scope = parents.containsKey(end) ? ", scope=" + TableName.literal(root(end)) : "";
      // Two keys that differ may have results that citext takes for the same.
      boolean isExact = isText && !column.type().contains("citext");
      return isExact ? "ff1(alphabet=alphanumeric" + scope + ")" : "keep";
    }
    if (type.equals(Type.date()) || type.equals(Type.timestamp())) {
      return "dateshift(days=30)";
    }
    if (type.toString().startsWith("decimal")) {
      return "noise(percent=10)";
    }
    return isText ? null : "keep";
  }
}
