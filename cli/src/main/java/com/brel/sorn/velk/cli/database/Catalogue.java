package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.Type;
import java.util.List;
import java.util.Map;
import java.util.Optional;

/**
 * What a database says of its tables.
 *
 * @param tables by their names, in the order of these; partitions are part of their table
 * @param foreignKeys those of the tables
 * @param warnings what is there and is not copied, or cannot be judged
 */
record Catalogue(
    Map<TableName, Table> tables, List<ForeignKey> foreignKeys, List<String> warnings) {
  /**
   * A table.
   *
   * @param columns in their order
   * @param uniques what keeps rows different
   * @param parts where its rows are: itself, or its partitions
   * @param hidden whether row-level security hides rows from the session
   * @param findings what keeps it from being copied
   * @param unjudged what may refuse masked values and is code: expression indexes, checks, triggers
   * @param sequences where columns get their numbers from
   */
  record Table(
      TableName name,
      List<Column> columns,
      List<Unique> uniques,
      List<Part> parts,
      boolean hidden,
      List<String> findings,
      List<String> unjudged,
      List<Sequence> sequences) {
    /** The columns that have values of their own. */
    List<Column> stored() {
      return columns.stream().filter(column -> !column.generated()).toList();
    }

    Optional<Column> column(String wanted) {
      return columns.stream().filter(column -> column.name().equals(wanted)).findFirst();
    }

    /** The columns of the primary key, else none. */
    List<String> key() {
      return uniques.stream()
          .filter(Unique::primary)
          .findFirst()
          .map(Unique::columns)
          .orElse(List.of());
    }

    /** What must be as it was where a copy goes on, and in no other table is the same. */
    String form() {
      StringBuilder form = new StringBuilder(name.sql());
      columns.forEach(column -> column.addTo(form));
      for (Unique unique : uniques) {
        form.append('\n').append(unique.primary()).append(TableName.quoted(unique.name()));
        unique.columns().forEach(column -> form.append(TableName.quoted(column)));
      }
      return form.toString();
    }
  }

  /**
   * A column.
   *
   * @param type as the database writes it
   * @param masked the type by which its values are masked
   * @param limit code points of the longest value, 0 for no limit
   * @param padded whether its values are filled up with blanks
   */
  record Column(
      String name,
      String type,
      Type masked,
      int limit,
      boolean padded,
      boolean notNull,
      boolean generated,
      String collation) {
    private void addTo(StringBuilder form) {
      form.append('\n').append(TableName.quoted(name)).append(TableName.quoted(type));
      form.append(masked).append(' ').append(limit).append(' ').append(padded).append(' ');
      form.append(notNull).append(' ').append(generated).append(' ').append(collation);
    }
  }

  /** A unique index or primary key over columns alone. */
  record Unique(String name, List<String> columns, boolean primary) {}

  /**
   * A relation with rows.
   *
   * @param pages its size
   * @param hidden whether it is a partition of which row-level security of its own hides rows
   */
  record Part(TableName name, long pages, boolean hidden) {}

  /** A sequence and the column that takes its numbers. */
  record Sequence(TableName name, String column) {}

  /**
   * A foreign key; its ends are named by the tables that partitions belong to.
   *
   * @param childRelation the relation that declares it, which may be a partition, as SQL names it;
   *     empty where partitions declare none
   * @param parentRelation the relation that it refers to, in the same way
   * @param operators what compares a parent's column with a child's, as SQL names it
   */
  record ForeignKey(
      String name,
      TableName child,
      List<String> columns,
      TableName parent,
      List<String> parentColumns,
      String childRelation,
      String parentRelation,
      List<String> operators) {}
}
