package com.brel.sorn.velk.cli.database;

/**
 * What a table, or another thing of a schema, is called.
 *
 * @param schema its schema
 * @param name its own name
 */
public record TableName(String schema, String name) implements Comparable<TableName> {
  /** An identifier as SQL writes it, whatever is in it. */
  static String quoted(String identifier) {
    return '"' + identifier.replace("\"", "\"\"") + '"';
  }

  /** A text as SQL writes it where backslashes are no escapes. */
  static String literal(String text) {
    return "'" + text.replace("'", "''") + "'";
  }

  String sql() {
    return quoted(schema) + "." + quoted(name);
  }

  // What Java makes of a record for the next two at their first use costs a copy 13 ms of its
  // start.

  @Override
  public boolean equals(Object other) {
    return other instanceof TableName name
        && schema.equals(name.schema)
        && this.name.equals(name.name);
  }

  @Override
  public int hashCode() {
    return 31 * schema.hashCode() + name.hashCode();
  }

  @Override
  public int compareTo(TableName other) {
    int order = schema.compareTo(other.schema);
    return order != 0 ? order : name.compareTo(other.name);
  }

  /** As a rules file writes it. */
  @Override
  public String toString() {
    return part(schema) + "." + part(name);
  }

  private static String part(String part) {
    return part.matches("[\\p{L}_][\\p{L}\\p{N}_$]*") ? part : quoted(part);
  }
}
