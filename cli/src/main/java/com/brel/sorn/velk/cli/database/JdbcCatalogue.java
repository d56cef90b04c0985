package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Part;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import com.brel.sorn.velk.masking.Type;
import java.sql.DatabaseMetaData;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Types;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;

/**
 * What the driver of a database says of the schema that a session is in.
 *
 * @param tables by their names
 * @param foreignKeys those of the tables
 * @param warnings what cannot be judged, or is not copied
 */
record JdbcCatalogue(
    Map<TableName, JdbcTable> tables, List<ForeignKey> foreignKeys, List<String> warnings) {
  /** Digits before and behind the point that a number without a limit has at most. */
  private static final Type WIDEST = Type.decimal(1000, 400);

  private static final int GREATEST_PRECISION = 1000;

  /** Of a timestamp and of a time, what stands in front of a second's digits. */
  private static final int BEFORE_FRACTION = 20;

  private static final int TIME_BEFORE_FRACTION = 11;

  private static final int OFFSET = "+00:00".length();

  /** The tables that there are. */
  static List<TableName> names(JdbcSession session) throws SQLException {
    return List.copyOf(new Reader(session).relations().keySet());
  }

  /**
   * Reads the catalogue.
   *
   * @param wanted the tables to be described
   */
  static JdbcCatalogue read(JdbcSession session, Collection<TableName> wanted) throws SQLException {
    return new Reader(session).read(wanted);
  }

  /** Whether the session's schema has a table of exactly this name. */
  static boolean hasTable(JdbcSession session, String name) throws SQLException {
    DatabaseMetaData metadata = session.connection().getMetaData();
    boolean bySchema = session.connection().getSchema() != null;
    try (ResultSet rows = metadata.getTables(session.connection().getCatalog(), null, name, null)) {
      while (rows.next()) {
        String schema = rows.getString(bySchema ? "TABLE_SCHEM" : "TABLE_CAT");
        if (session.schema().equals(schema) && name.equals(rows.getString("TABLE_NAME"))) {
          return true;
        }
      }
    }
    return false;
  }

  /** As a plan wants it. */
  Catalogue plain() {
    Map<TableName, Table> plain = new TreeMap<>();
    tables.forEach((name, table) -> plain.put(name, table.table()));
    return new Catalogue(plain, foreignKeys, warnings);
  }

  private static final class Reader {
    private final JdbcSession session;
    private final Dialect dialect;
    private final DatabaseMetaData metadata;
    private final String catalog;
    private final String schema;
    private final TreeMap<String, List<JdbcColumn>> columns = new TreeMap<>();
    private final List<String> warnings = new ArrayList<>();
    private Set<String> hidden = Set.of();
    private Map<String, String> unfit = Map.of();
    private Map<List<String>, String> narrow = Map.of();
    private Set<List<String>> fillingNull = Set.of();

    Reader(JdbcSession session) throws SQLException {
      this.session = session;
      dialect = session.dialect();
      metadata = session.connection().getMetaData();
      catalog = session.connection().getCatalog();
      schema = session.connection().getSchema();
    }

    private boolean isOurs(ResultSet row) throws SQLException {
      String found = schema == null ? row.getString("TABLE_CAT") : row.getString("TABLE_SCHEM");
      return session.schema().equals(found);
    }

    /** Tables and their kinds. */
    Map<TableName, String> relations() throws SQLException {
      Map<TableName, String> found = new TreeMap<>();
      Set<String> parts = dialect.parts(session);
      try (ResultSet rows = metadata.getTables(catalog, null, "%", null)) {
        while (rows.next()) {
          String name = rows.getString("TABLE_NAME");
          String kind = String.valueOf(rows.getString("TABLE_TYPE"));
          boolean mark = JdbcMarks.TABLES.contains(name);
          if (isOurs(rows)
              && !parts.contains(name)
              && !mark
              && kind.matches(
                  "TABLE|BASE TABLE|PARTITIONED TABLE|TABLE LINK|FOREIGN TABLE|MATERIALIZED VIEW")) {
            found.put(new TableName(session.schema(), name), kind);
          }
        }
      }
      found.entrySet().removeIf(entry -> isLeftOut(entry.getKey(), entry.getValue()));
      return found;
    }

    private boolean isLeftOut(TableName name, String kind) {
      if (kind.equals("FOREIGN TABLE") || kind.equals("MATERIALIZED VIEW")) {
        warnings.add(kind.toLowerCase(Locale.ROOT) + " " + name + " is not copied");
        return true;
      }
      return false;
    }

    JdbcCatalogue read(Collection<TableName> wanted) throws SQLException {
      narrow = dialect.narrowTypes(session);
      fillingNull = dialect.fillingNull(session);
      readColumns();
      hidden = dialect.hidden(session);
      unfit = dialect.unfit(session);
      Map<TableName, JdbcTable> tables = new TreeMap<>();
      List<ForeignKey> keys = new ArrayList<>();
      for (Map.Entry<TableName, String> relation : relations().entrySet()) {
        TableName name = relation.getKey();
        if (wanted.contains(name)) {
          tables.put(name, table(name, relation.getValue()));
          keys.addAll(foreignKeys(name));
        }
      }
      return new JdbcCatalogue(tables, keys, warnings);
    }

    private JdbcTable table(TableName name, String kind) throws SQLException {
      List<String> findings = new ArrayList<>();
      if (kind.equals("TABLE LINK")) {
        findings.add("it is a link to another database, which is not copied");
      }
      if (unfit.containsKey(name.name())) {
        findings.add(unfit.get(name.name()));
      }
      List<JdbcColumn> all = columns.getOrDefault(name.name(), List.of());
      List<Column> plain = all.stream().map(JdbcColumn::column).toList();
      List<String> unjudged = new ArrayList<>(code(name));
      List<Unique> uniques = uniques(name, plain, unjudged);
      Table table =
          new Table(
              name,
              plain,
              uniques,
              List.of(new Part(name, 0, false)),
              hidden.contains(name.name()),
              findings,
              unjudged,
              List.of());
      return new JdbcTable(table, all);
    }

    private void readColumns() throws SQLException {
      TreeMap<String, TreeMap<Integer, JdbcColumn>> found = new TreeMap<>();
      try (ResultSet rows = metadata.getColumns(catalog, null, "%", "%")) {
        while (rows.next()) {
          if (isOurs(rows)) {
            found
                .computeIfAbsent(rows.getString("TABLE_NAME"), name -> new TreeMap<>())
                .put(rows.getInt("ORDINAL_POSITION"), column(rows));
          }
        }
      }
      found.forEach((name, byPlace) -> columns.put(name, List.copyOf(byPlace.values())));
    }

    private JdbcColumn column(ResultSet row) throws SQLException {
      int jdbcType = row.getInt("DATA_TYPE");
      final String type = row.getString("TYPE_NAME");
      int told = row.getInt("COLUMN_SIZE");
      int digits = row.getInt("DECIMAL_DIGITS");
      boolean noDigits = row.wasNull();
      Form form = dialect.form(jdbcType, type, told);
      int scale = form == Form.DECIMAL || !noDigits ? digits : fraction(form, jdbcType, told);
      int size = size(form, jdbcType, type, told);
      boolean unsigned = type.toUpperCase(Locale.ROOT).contains("UNSIGNED");
      boolean generated = "YES".equals(row.getString("IS_GENERATEDCOLUMN"));
      String name = row.getString("COLUMN_NAME");
      String whole = narrow.get(List.of(row.getString("TABLE_NAME"), name));
      String described = whole == null ? described(form, type, size, scale) : whole;
      Column column =
          new Column(
              name,
              described,
              masked(form, jdbcType, size, scale, unsigned),
              form == Form.TEXT ? size : 0,
              jdbcType == Types.CHAR || jdbcType == Types.NCHAR,
              row.getInt("NULLABLE") == DatabaseMetaData.columnNoNulls,
              generated,
              null);
      boolean counted = "YES".equals(row.getString("IS_AUTOINCREMENT"));
      boolean fills = fillingNull.contains(List.of(row.getString("TABLE_NAME"), name));
      return new JdbcColumn(column, form, size, scale, unsigned, counted, whole != null, fills);
    }

    private static int fraction(Form form, int jdbcType, int size) {
      int before = form == Form.TIME ? TIME_BEFORE_FRACTION : BEFORE_FRACTION;
      int behind = jdbcType == Types.TIMESTAMP_WITH_TIMEZONE ? OFFSET : 0;
      return Math.max(0, size - before - behind);
    }

    private int size(Form form, int jdbcType, String type, int told) {
      return switch (form) {
        case INTEGER -> bits(jdbcType, type);
        case DECIMAL -> dialect.digits(type, told);
        case TEXT, BINARY, OWN_TEXT, OWN_BYTES ->
            told >= Dialect.NO_LIMIT || isLong(jdbcType) ? 0 : told;
        default -> 0;
      };
    }

    /** The limit of such a type is one of bytes, which the server sees to. */
    private static boolean isLong(int jdbcType) {
      return jdbcType == Types.LONGVARCHAR || jdbcType == Types.LONGVARBINARY;
    }

    private static int bits(int jdbcType, String type) {
      return switch (jdbcType) {
        case Types.TINYINT -> 8;
        case Types.SMALLINT -> 16;
        case Types.INTEGER -> type.toUpperCase(Locale.ROOT).startsWith("MEDIUM") ? 24 : 32;
        default -> 64;
      };
    }

    private static String described(Form form, String type, int size, int scale) {
      String name = type.toLowerCase(Locale.ROOT);
      return switch (form) {
        case TEXT, BINARY -> size > 0 && !name.contains("(") ? name + "(" + size + ")" : name;
        case DECIMAL -> size > 0 ? name + "(" + size + "," + scale + ")" : name;
        case TIME, CLOCK, INSTANT -> name.contains("(") ? name : name + "(" + scale + ")";
        default -> type.toLowerCase(Locale.ROOT);
      };
    }

    private static Type masked(Form form, int jdbcType, int size, int scale, boolean unsigned) {
      return switch (form) {
        case INTEGER -> unsigned && size == Long.SIZE ? Type.decimal(20, 0) : Type.integer();
        case DECIMAL ->
            size > 0 && size <= GREATEST_PRECISION
                ? Type.ofJdbc(Types.DECIMAL, size, scale)
                : WIDEST;
        case DOUBLE, REAL -> WIDEST;
        case DATE -> Type.date();
        case CLOCK, INSTANT -> Type.timestamp();
        case TEXT -> Type.ofJdbc(jdbcType == Types.CHAR ? Types.CHAR : Types.VARCHAR, size, 0);
        default -> Type.text();
      };
    }

    private List<Unique> uniques(TableName table, List<Column> all, List<String> unjudged)
        throws SQLException {
      List<Unique> uniques = new ArrayList<>();
      TreeMap<Short, String> primary = new TreeMap<>();
      String name = null;
      try (ResultSet rows = metadata.getPrimaryKeys(catalog, schema, table.name())) {
        while (rows.next()) {
          primary.put(rows.getShort("KEY_SEQ"), rows.getString("COLUMN_NAME"));
          name = rows.getString("PK_NAME");
        }
      }
      if (!primary.isEmpty()) {
        uniques.add(
            new Unique(name == null ? "PRIMARY" : name, List.copyOf(primary.values()), true));
      }
      Set<String> names = Set.copyOf(all.stream().map(Column::name).toList());
      indexes(table)
          .forEach(
              (index, columns) -> {
                if (!names.containsAll(columns)) {
                  unjudged.add("expression index " + TableName.quoted(index));
                } else if (uniques.stream().noneMatch(old -> old.columns().equals(columns))) {
                  uniques.add(new Unique(index, columns, false));
                }
              });
      return uniques;
    }

    /** The columns of each unique index; what is an expression has no name. */
    private Map<String, List<String>> indexes(TableName table) throws SQLException {
      Map<String, TreeMap<Short, String>> found = new TreeMap<>();
      try (ResultSet rows = metadata.getIndexInfo(catalog, schema, table.name(), true, true)) {
        while (rows.next()) {
          if (rows.getShort("TYPE") != DatabaseMetaData.tableIndexStatistic) {
            found
                .computeIfAbsent(rows.getString("INDEX_NAME"), index -> new TreeMap<>())
                .put(
                    rows.getShort("ORDINAL_POSITION"),
                    String.valueOf(rows.getString("COLUMN_NAME")));
          }
        }
      }
      Map<String, List<String>> indexes = new LinkedHashMap<>();
      found.forEach((index, columns) -> indexes.put(index, List.copyOf(columns.values())));
      return indexes;
    }

    private List<ForeignKey> foreignKeys(TableName table) throws SQLException {
      record End(String key, short place, String column, TableName parent, String parentColumn) {}

      Map<String, TreeMap<Short, End>> found = new TreeMap<>();
      List<End> all =
          dialect.foreignKeys(
              session,
              table,
              row -> {
                String parentSchema =
                    row.getString(schema == null ? "PKTABLE_CAT" : "PKTABLE_SCHEM");
                TableName parent = new TableName(parentSchema, row.getString("PKTABLE_NAME"));
                String told = row.getString("FK_NAME");
                return new End(
                    told == null ? "to " + parent : told,
                    row.getShort("KEY_SEQ"),
                    row.getString("FKCOLUMN_NAME"),
                    parent,
                    row.getString("PKCOLUMN_NAME"));
              });
      for (End end : all) {
        found.computeIfAbsent(end.key, key -> new TreeMap<>()).put(end.place, end);
      }
      List<ForeignKey> keys = new ArrayList<>();
      for (TreeMap<Short, End> ends : found.values()) {
        End first = ends.firstEntry().getValue();
        List<String> own = ends.values().stream().map(End::column).toList();
        List<String> theirs = ends.values().stream().map(End::parentColumn).toList();
        keys.add(
            new ForeignKey(
                first.key,
                table,
                own,
                first.parent,
                theirs,
                "",
                "",
                Collections.nCopies(own.size(), "=")));
      }
      return keys;
    }

    /** Triggers and checks, where the database has the views of the standard. */
    private List<String> code(TableName table) throws SQLException {
      if (dialect.getClass() == Dialect.class) {
        return List.of("triggers and checks, which are not looked for in this database");
      }
      List<String> found = new ArrayList<>();
      session.rows(
          "SELECT trigger_name FROM information_schema.triggers"
              + " WHERE event_object_schema = ? AND event_object_table = ? ORDER BY 1",
          row -> found.add("trigger " + TableName.quoted(row.getString(1))),
          session.schema(),
          table.name());
      session.rows(
          "SELECT constraint_name FROM information_schema.table_constraints WHERE constraint_type"
              + " = 'CHECK' AND table_schema = ? AND table_name = ?"
              + " AND constraint_name NOT LIKE '%not_null' ORDER BY 1",
          row -> found.add("check " + TableName.quoted(row.getString(1))),
          session.schema(),
          table.name());
      return found;
    }
  }
}
