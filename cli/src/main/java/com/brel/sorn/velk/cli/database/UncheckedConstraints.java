package com.brel.sorn.velk.cli.database;

import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.Collection;
import java.util.List;

/**
 * What PostgreSQL does not check in a session of the replication role, beside children without
 * their parents: constraints that may be checked at the end of a transaction, and that a foreign
 * key is null as a whole or not at all where it is declared so.
 */
final class UncheckedConstraints {
  /**
   * With their tables: what is told of rows that they would have refused, and a statement that
   * counts these. Rows exclude each other by expressions as well as by columns; those of the one
   * row have a name each, those of the other are written out, so that the constraint's own index
   * finds it.
   */
  private static final String ALL =
      """
      SELECT n.nspname, t.relname, u.told, c.conname, u.counted
      FROM pg_constraint c
        JOIN pg_class r ON r.oid = c.conrelid
        JOIN pg_class t ON t.oid = coalesce(pg_partition_root(c.conrelid), c.conrelid)
        JOIN pg_namespace n ON n.oid = t.relnamespace
        LEFT JOIN pg_index i ON i.indexrelid = c.conindid
        CROSS JOIN LATERAL (
          SELECT CASE r.relkind WHEN 'p' THEN '' ELSE 'ONLY ' END || c.conrelid::regclass::text,
            (SELECT string_agg(quote_ident(a.attname), ', ') FROM pg_attribute a
             WHERE a.attrelid = c.conrelid AND a.attnum = ANY (c.conkey)),
            coalesce(pg_get_expr(i.indpred, i.indrelid), 'true')
        ) is_of(rows, columns, condition)
        CROSS JOIN LATERAL (
          SELECT 'are not unique by constraint',
            format('SELECT coalesce(sum(n), 0) FROM (SELECT count(*) n FROM %s WHERE %s GROUP BY %s HAVING count(*) > 1) s',
              rows,
              CASE WHEN (to_jsonb(i) ->> 'indnullsnotdistinct')::boolean THEN 'true'
                ELSE format('num_nulls(%s) = 0', columns) END,
              columns)
          WHERE c.contype IN ('p', 'u') AND c.conexclop IS NULL AND c.condeferrable
          UNION ALL
          SELECT 'exclude each other by constraint',
            format('SELECT count(*) FROM (SELECT tableoid, ctid, %s FROM %s WHERE %s) "velk"("velk t", "velk c", %s)'
                || ' WHERE EXISTS (SELECT FROM %2$s WHERE (tableoid, ctid) <> ("velk t", "velk c") AND (%3$s) AND %5$s)',
              string_agg(e, ', '), rows, condition, string_agg(other, ', '),
              string_agg(format('%s OPERATOR(%I.%s) %s', e, s.nspname, o.oprname, other), ' AND '))
          FROM unnest(c.conexclop) WITH ORDINALITY k(op, at)
            JOIN pg_operator o ON o.oid = k.op
            JOIN pg_namespace s ON s.oid = o.oprnamespace
            CROSS JOIN LATERAL (
              SELECT pg_get_indexdef(i.indexrelid, at::int, true), quote_ident('velk ' || at)
            ) x(e, other)
          WHERE c.condeferrable
          HAVING count(*) > 0
          UNION ALL
          SELECT 'are null in a part of MATCH FULL foreign key',
            format('SELECT count(*) FROM %s WHERE num_nulls(%s) BETWEEN 1 AND %s', rows, columns,
              cardinality(c.conkey) - 1)
          WHERE c.contype = 'f' AND c.confmatchtype = 'f'
        ) u(told, counted)
      WHERE c.conparentid = 0
      ORDER BY 1, 2, 4
      """;

  private record Constraint(TableName table, String told, String name, String counted) {}

  private UncheckedConstraints() {}

  /**
   * Looks for rows that they would have refused.
   *
   * @throws CopyException if there are such rows
   */
  static void require(Session target, Collection<TableName> tables) throws SQLException {
    List<Constraint> all =
        target.rows(
            ALL,
            row ->
                new Constraint(
                    new TableName(row.getString(1), row.getString(2)),
                    row.getString(3),
                    row.getString(4),
                    row.getString(5)));
    for (Constraint constraint : all) {
      if (tables.contains(constraint.table())) {
        require(target, constraint);
      }
    }
  }

  private static void require(Session target, Constraint constraint) throws SQLException {
    long refused = count(target, constraint.counted());
    if (refused > 0) {
      throw CopyException.failed(
          "table "
              + constraint.table()
              + ": "
              + refused
              + " rows "
              + constraint.told()
              + " "
              + TableName.quoted(constraint.name()));
    }
  }

  /** Operators of the constraint may have question marks, which are no parameters. */
  private static long count(Session target, String counted) throws SQLException {
    try (Statement statement = target.connection().createStatement()) {
      statement.setEscapeProcessing(false);
      try (ResultSet row = statement.executeQuery(counted)) {
        row.next();
        return row.getLong(1);
      }
    }
  }
}
