package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Part;
import com.brel.sorn.velk.cli.database.Catalogue.Sequence;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import com.brel.sorn.velk.masking.Type;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

/** Reads the catalogue of PostgreSQL in the state that the session sees. */
final class CatalogueReader {
  /** Where the marks of a copy stand, which are no table of the application. */
  static final String MARKS = "velk_copy";

  private static final int LONGEST_NAME = 63;
  private static final int NUMERIC = java.sql.Types.NUMERIC;

  /** A partition belongs to its table; what an extension made, it makes in the target as well. */
  private static final String RELATIONS =
      """
      SELECT c.oid, n.nspname, c.relname, c.relkind, row_security_active(c.oid), c.relrowsecurity,
        EXISTS (SELECT FROM pg_depend d
                WHERE d.classid = 'pg_class'::regclass AND d.objid = c.oid AND d.deptype = 'e')
      FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace
      WHERE c.relkind IN ('r', 'p', 'f', 'm') AND NOT c.relispartition
        AND n.nspname !~ '^pg_' AND n.nspname <> 'information_schema'
        AND NOT (n.nspname = 'velk_copy' AND c.relname IN ('run', 'piece'))
      ORDER BY n.nspname COLLATE "C", c.relname COLLATE "C"
      """;

  /**
   * A domain's base type is that at the end of its domains; a domain may forbid null as well, and
   * so may a partition alone. What attributes, domains and ranges are of, and in which order, is
   * part of the type: another one may take the same text for another value. The server's own types
   * have numbers below 16384.
   */
  private static final String COLUMNS =
      """
      WITH RECURSIVE base AS (
        SELECT a.attnum, a.atttypid AS type, a.atttypmod AS modifier,
          a.attnotnull OR a.attname IN (
            SELECT o.attname FROM pg_partition_tree(?::oid) p JOIN pg_attribute o ON o.attrelid = p.relid
            WHERE o.attnotnull) AS forbidden
        FROM pg_attribute a WHERE a.attrelid = ?::oid AND a.attnum > 0 AND NOT a.attisdropped
        UNION ALL
        SELECT b.attnum, t.typbasetype, greatest(b.modifier, t.typtypmod), b.forbidden OR t.typnotnull
        FROM base b JOIN pg_type t ON t.oid = b.type WHERE t.typtype = 'd')
      SELECT a.attname,
        format_type(a.atttypid, a.atttypmod) || CASE WHEN a.atttypid < 16384 THEN '' ELSE coalesce((
          WITH RECURSIVE inside AS (
            SELECT a.atttypid AS type, '{}'::int[] AS path
            UNION ALL
            SELECT m.type, i.path || m.at
            FROM inside i JOIN pg_type o ON o.oid = i.type
              CROSS JOIN LATERAL (
                SELECT o.typelem AS type, 0 AS at WHERE o.typtype = 'b' AND o.typcategory = 'A'
                UNION ALL
                SELECT o.typbasetype, 0 WHERE o.typtype = 'd'
                UNION ALL
                SELECT CASE o.oid WHEN r.rngtypid THEN r.rngsubtype ELSE r.rngtypid END, 0 FROM pg_range r
                WHERE o.oid IN (r.rngtypid, (to_jsonb(r) ->> 'rngmultitypid')::oid)
                UNION ALL
                SELECT m.atttypid, m.attnum FROM pg_attribute m
                WHERE m.attrelid = o.typrelid AND m.attnum > 0 AND NOT m.attisdropped
              ) m)
          SELECT string_agg(' (' || told || ')', '' ORDER BY path)
          FROM inside i JOIN pg_type o ON o.oid = i.type AND o.oid >= 16384
            CROSS JOIN LATERAL (
              SELECT format_type(o.typbasetype, o.typtypmod) AS told WHERE o.typtype = 'd'
              UNION ALL
              SELECT format_type(r.rngsubtype, -1) FROM pg_range r WHERE r.rngtypid = o.oid
              UNION ALL
              SELECT string_agg(quote_ident(m.attname) || ' ' || format_type(m.atttypid, m.atttypmod), ', '
                                ORDER BY m.attnum)
              FROM pg_attribute m
              WHERE m.attrelid = o.typrelid AND m.attnum > 0 AND NOT m.attisdropped
            ) x), '') END,
        t.typname, b.modifier, b.forbidden,
        a.attgenerated <> '', co.collname, t.typnamespace = 'pg_catalog'::regnamespace
      FROM pg_attribute a
        JOIN base b ON b.attnum = a.attnum
        JOIN pg_type t ON t.oid = b.type AND t.typtype <> 'd'
        LEFT JOIN pg_collation co ON co.oid = a.attcollation
      WHERE a.attrelid = ?::oid ORDER BY a.attnum
      """;

  /** A table and its partitions, which may have more of their own. */
  private static final String RELATION =
      "IN (SELECT ?::oid UNION ALL SELECT relid FROM pg_partition_tree(?::oid))";

  private static final String INDEXES =
      """
      SELECT c.relname, i.indisunique OR i.indisexclusion, i.indisprimary, i.indexprs IS NOT NULL OR i.indisexclusion,
        ARRAY(SELECT a.attname::text FROM generate_series(0, i.indnkeyatts - 1) k
              JOIN pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = i.indkey[k] ORDER BY k)
      FROM pg_index i JOIN pg_class c ON c.oid = i.indexrelid
      WHERE i.indrelid %s AND NOT c.relispartition ORDER BY i.indisprimary DESC, c.relname COLLATE "C"
      """
          .formatted(RELATION);

  private static final String CODE =
      """
      SELECT 'trigger', tgname FROM pg_trigger WHERE tgrelid %1$s AND NOT tgisinternal AND tgparentid = 0
      UNION
      SELECT 'check', conname FROM pg_constraint WHERE conrelid %1$s AND contype = 'c'
      ORDER BY 1, 2
      """
          .formatted(RELATION);

  private static final String PARTS =
      """
      SELECT n.nspname, c.relname, c.relkind,
        CASE WHEN c.relkind = 'r' THEN pg_relation_size(c.oid) / current_setting('block_size')::bigint END,
        row_security_active(c.oid)
      FROM pg_partition_tree(?::oid) p JOIN pg_class c ON c.oid = p.relid
        JOIN pg_namespace n ON n.oid = c.relnamespace
      WHERE p.isleaf ORDER BY 1, 2
      """;

  private static final String SEQUENCES =
      """
      SELECT DISTINCT n.nspname, s.relname, a.attname
      FROM pg_depend d
        LEFT JOIN pg_attrdef f ON d.classid = 'pg_attrdef'::regclass AND f.oid = d.objid
        JOIN pg_class s ON s.relkind = 'S' AND s.oid = CASE WHEN f.oid IS NULL THEN d.objid ELSE d.refobjid END
        JOIN pg_namespace n ON n.oid = s.relnamespace
        JOIN pg_attribute a ON a.attrelid = coalesce(f.adrelid, d.refobjid)
          AND a.attnum = coalesce(f.adnum, d.refobjsubid)
      WHERE a.attrelid = ?::oid
        AND (f.oid IS NOT NULL AND d.refclassid = 'pg_class'::regclass
             OR d.classid = 'pg_class'::regclass AND d.refclassid = 'pg_class'::regclass AND d.deptype IN ('a', 'i'))
      ORDER BY 1, 2, 3
      """;

  /** Sequences that belong to no column and that no default takes numbers of. */
  private static final String LONE_SEQUENCES =
      """
      SELECT n.nspname, s.relname
      FROM pg_class s JOIN pg_namespace n ON n.oid = s.relnamespace
      WHERE s.relkind = 'S' AND n.nspname !~ '^pg_' AND n.nspname <> 'information_schema'
        AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_class'::regclass AND d.objid = s.oid
                        AND d.deptype IN ('a', 'i', 'e'))
        AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.refclassid = 'pg_class'::regclass AND d.refobjid = s.oid
                        AND d.classid = 'pg_attrdef'::regclass)
      ORDER BY n.nspname COLLATE "C", s.relname COLLATE "C"
      """;

  private static final String FOREIGN_KEYS =
      """
      SELECT f.conname, cn.nspname, c.relname, pn.nspname, p.relname,
        ARRAY(SELECT a.attname::text FROM unnest(f.conkey) WITH ORDINALITY k(n, i)
              JOIN pg_attribute a ON a.attrelid = f.conrelid AND a.attnum = k.n ORDER BY i),
        ARRAY(SELECT a.attname::text FROM unnest(f.confkey) WITH ORDINALITY k(n, i)
              JOIN pg_attribute a ON a.attrelid = f.confrelid AND a.attnum = k.n ORDER BY i),
        ARRAY(SELECT format('OPERATOR(%I.%s)', n.nspname, o.oprname) FROM unnest(f.conpfeqop) WITH ORDINALITY k(op, i)
              JOIN pg_operator o ON o.oid = k.op JOIN pg_namespace n ON n.oid = o.oprnamespace ORDER BY i),
        f.conrelid::regclass::text, f.confrelid::regclass::text
      FROM pg_constraint f
        JOIN pg_class c ON c.oid = coalesce(pg_partition_root(f.conrelid), f.conrelid)
        JOIN pg_namespace cn ON cn.oid = c.relnamespace
        JOIN pg_class p ON p.oid = coalesce(pg_partition_root(f.confrelid), f.confrelid)
        JOIN pg_namespace pn ON pn.oid = p.relnamespace
      WHERE f.contype = 'f' AND f.conparentid = 0 AND cn.nspname !~ '^pg_'
      ORDER BY cn.nspname COLLATE "C", c.relname COLLATE "C", f.conname COLLATE "C"
      """;

  private final Postgres session;
  private final List<String> warnings = new ArrayList<>();

  private CatalogueReader(Postgres session) {
    this.session = session;
  }

  private record Relation(
      long oid, TableName name, String kind, boolean hidden, boolean secured, boolean ofExtension) {
    static Relation of(ResultSet row) throws SQLException {
      return new Relation(
          row.getLong(1),
          new TableName(row.getString(2), row.getString(3)),
          row.getString(4),
          row.getBoolean(5),
          row.getBoolean(6),
          row.getBoolean(7));
    }

    String described() {
      String what =
          kind.equals("f") ? "foreign table " : kind.equals("m") ? "materialized view " : "table ";
      return what + name + (ofExtension ? " of an extension" : "");
    }

    boolean isTable() {
      return !ofExtension && (kind.equals("r") || kind.equals("p"));
    }
  }

  /** The tables that there are. */
  static List<TableName> names(Postgres session) throws SQLException {
    return session.rows(RELATIONS, Relation::of).stream()
        .filter(Relation::isTable)
        .map(Relation::name)
        .toList();
  }

  /**
   * Reads the catalogue.
   *
   * @param wanted the tables to be described
   */
  static Catalogue read(Postgres session, Collection<TableName> wanted) throws SQLException {
    return new CatalogueReader(session).read(wanted);
  }

  private Catalogue read(Collection<TableName> wanted) throws SQLException {
    Map<TableName, Table> tables = new TreeMap<>();
    for (Relation relation : session.rows(RELATIONS, Relation::of)) {
      if (!relation.isTable()) {
        warnings.add(relation.described() + " is not copied");
      } else if (wanted.contains(relation.name)) {
        tables.put(relation.name, table(relation));
      }
    }
    if (session.isTrue("SELECT EXISTS (SELECT FROM pg_largeobject_metadata)")) {
      warnings.add("large objects are not copied");
    }
    session
        .rows(LONE_SEQUENCES, row -> new TableName(row.getString(1), row.getString(2)))
        .forEach(name -> warnings.add("sequence " + name + " is no column's, and does not follow"));
    List<ForeignKey> keys =
        session.rows(FOREIGN_KEYS, CatalogueReader::foreignKey).stream()
            .filter(key -> tables.containsKey(key.child()))
            .toList();
    return new Catalogue(tables, keys, warnings);
  }

  private Table table(Relation relation) throws SQLException {
    List<String> findings = new ArrayList<>();
    List<String> unjudged = new ArrayList<>();
    if (relation.secured) {
      unjudged.add("row-level security");
    }
    List<Unique> uniques = uniques(relation, unjudged);
    session
        .rows(
            CODE,
            row -> row.getString(1) + " " + TableName.quoted(row.getString(2)),
            relation.oid,
            relation.oid,
            relation.oid,
            relation.oid)
        .forEach(unjudged::add);
    return new Table(
        relation.name,
        session.rows(COLUMNS, CatalogueReader::column, relation.oid, relation.oid, relation.oid),
        uniques,
        parts(relation, findings),
        relation.hidden,
        findings,
        unjudged,
        session.rows(SEQUENCES, CatalogueReader::sequence, relation.oid));
  }

  private List<Unique> uniques(Relation relation, List<String> unjudged) throws SQLException {
    List<Unique> uniques = new ArrayList<>();
    session.rows(
        INDEXES,
        row -> {
          String name = row.getString(1);
          if (row.getBoolean(4)) {
            unjudged.add("expression index " + TableName.quoted(name));
          } else if (row.getBoolean(2)) {
            uniques.add(new Unique(name, texts(row, 5), row.getBoolean(3)));
          }
          return name;
        },
        relation.oid,
        relation.oid);
    return uniques;
  }

  private List<Part> parts(Relation relation, List<String> findings) throws SQLException {
    if (relation.kind.equals("r")) {
      long pages =
          session.number(
              "SELECT pg_relation_size(?::oid) / current_setting('block_size')::bigint",
              relation.oid);
      return List.of(new Part(relation.name, pages, false));
    }
    List<Part> parts = new ArrayList<>();
    session.rows(
        PARTS,
        row -> {
          TableName name = new TableName(row.getString(1), row.getString(2));
          if (row.getString(3).equals("r")) {
            parts.add(new Part(name, row.getLong(4), row.getBoolean(5)));
          } else if (row.getString(3).equals("f")) {
            findings.add("its partition " + name + " is a foreign table");
          }
          return name;
        },
        relation.oid);
    return parts;
  }

  private static Column column(ResultSet row) throws SQLException {
    int modifier = row.getInt(4);
    String type = row.getBoolean(8) ? row.getString(3) : "";
    return new Column(
        row.getString(1),
        row.getString(2),
        masked(type, modifier - 4),
        limit(type, modifier - 4),
        type.equals("bpchar"),
        row.getBoolean(5),
        row.getBoolean(6),
        row.getString(7));
  }

  /** The last two cut what is longer, and say nothing. */
  private static int limit(String type, int detail) {
    return switch (type) {
      case "varchar", "bpchar" -> Math.max(detail, 0);
      case "name" -> LONGEST_NAME;
      case "char" -> 1;
      default -> 0;
    };
  }

  /**
   * The type by which values are masked.
   *
   * @param detail the type's modifier, less than 0 where there is none
   */
  private static Type masked(String type, int detail) {
    return switch (type) {
      case "int2", "int4", "int8" -> Type.integer();
      case "date" -> Type.date();
      case "timestamp", "timestamptz" -> Type.timestamp();
      case "varchar" -> Type.ofJdbc(java.sql.Types.VARCHAR, Math.max(detail, 0), 0);
      case "bpchar" -> Type.ofJdbc(java.sql.Types.CHAR, Math.max(detail, 0), 0);
      // Precision in the upper half; the scale is a signed number of 11 bits.
      case "numeric" ->
          detail < 0
              ? Type.text()
              : Type.ofJdbc(NUMERIC, detail >> 16 & 0xFFFF, (detail & 0x7FF ^ 0x400) - 0x400);
      default -> Type.text();
    };
  }

  private static Sequence sequence(ResultSet row) throws SQLException {
    return new Sequence(new TableName(row.getString(1), row.getString(2)), row.getString(3));
  }

  private static ForeignKey foreignKey(ResultSet row) throws SQLException {
    return new ForeignKey(
        row.getString(1),
        new TableName(row.getString(2), row.getString(3)),
        texts(row, 6),
        new TableName(row.getString(4), row.getString(5)),
        texts(row, 7),
        row.getString(9),
        row.getString(10),
        texts(row, 8));
  }

  private static List<String> texts(ResultSet row, int column) throws SQLException {
    return Arrays.asList((String[]) row.getArray(column).getArray());
  }
}
