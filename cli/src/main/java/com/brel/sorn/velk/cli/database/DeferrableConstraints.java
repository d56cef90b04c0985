package com.brel.sorn.velk.cli.database;

import java.sql.SQLException;
import java.util.Collection;
import java.util.List;

/**
 * The unique constraints that PostgreSQL may check at the end of a transaction: in a session of the
 * replication role it does not check them at all.
 */
final class DeferrableConstraints {
  /** With their table, the relation that they are of, their columns and whether nulls are alike. */
  private static final String ALL =
      """
      SELECT n.nspname, t.relname, c.conname,
        CASE t.relkind WHEN 'p' THEN '' ELSE 'ONLY ' END || c.conrelid::regclass::text,
        (SELECT string_agg(quote_ident(a.attname), ', ') FROM pg_attribute a
         WHERE a.attrelid = c.conrelid AND a.attnum = ANY (c.conkey)),
        coalesce((to_jsonb(i) ->> 'indnullsnotdistinct')::boolean, false)
      FROM pg_constraint c
        JOIN pg_class t ON t.oid = coalesce(pg_partition_root(c.conrelid), c.conrelid)
        JOIN pg_namespace n ON n.oid = t.relnamespace
        JOIN pg_index i ON i.indexrelid = c.conindid
      WHERE c.condeferrable AND c.contype IN ('p', 'u') AND c.conparentid = 0
      ORDER BY 1, 2, 3
      """;

  private record Constraint(
      TableName table, String name, String relation, String columns, boolean nullsAlike) {}

  private DeferrableConstraints() {}

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
                    row.getString(5),
                    row.getBoolean(6)));
    for (Constraint constraint : all) {
      if (tables.contains(constraint.table())) {
        require(target, constraint);
      }
    }
  }

  private static void require(Session target, Constraint constraint) throws SQLException {
    String whole =
        constraint.nullsAlike() ? "" : " WHERE num_nulls(" + constraint.columns() + ") = 0";
    long same =
        target.number(
            "SELECT coalesce(sum(n), 0) FROM (SELECT count(*) n FROM "
                + constraint.relation()
                + whole
                + " GROUP BY "
                + constraint.columns()
                + " HAVING count(*) > 1) s");
    if (same > 0) {
      throw CopyException.failed(
          "table "
              + constraint.table()
              + ": "
              + same
              + " rows are not unique by constraint "
              + TableName.quoted(constraint.name()));
    }
  }
}
