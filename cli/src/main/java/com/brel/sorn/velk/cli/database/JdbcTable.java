package com.brel.sorn.velk.cli.database;

import java.util.List;
import java.util.Optional;

/**
 * A table of a database that is spoken to by JDBC.
 *
 * @param table what any database says of it
 * @param columns its columns, as they are there
 */
record JdbcTable(Catalogue.Table table, List<JdbcColumn> columns) {
  Optional<JdbcColumn> column(String name) {
    return columns.stream().filter(column -> column.column().name().equals(name)).findFirst();
  }

  /** The columns that have values of their own. */
  List<JdbcColumn> stored() {
    return columns.stream().filter(column -> !column.column().generated()).toList();
  }
}
