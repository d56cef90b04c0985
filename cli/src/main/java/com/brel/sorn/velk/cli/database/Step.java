package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.OnError;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/**
 * A table of the plan.
 *
 * @param source the table as the source has it
 * @param keep whether it goes over as it is
 * @param rules the rules of its stored columns in their order; empty where it goes over as it is
 * @param service masks its rows, null where it goes over as it is
 * @param onError what the rules say of a value that cannot be masked
 * @param key where the rules say the key is, null where they do not
 */
record Step(
    Table source,
    boolean keep,
    List<ColumnRule> rules,
    MaskingService service,
    OnError onError,
    String key) {
  /** Types whose texts are digits and letters. */
  private static final Set<String> BARE =
      Set.of("smallint", "integer", "bigint", "date", "uuid", "boolean");

  /** Whether any value comes out as another one. */
  boolean isMasked() {
    return IntStream.range(0, rules.size()).anyMatch(this::isMasked);
  }

  boolean isMasked(int column) {
    return !keep && !rules.get(column).rule().function().equals("keep");
  }

  /** What reads the rows of a part between two places, in the form that masks and goes over. */
  String read(TableName part, String condition) {
    List<Column> columns = source.stored();
    StringBuilder sql = new StringBuilder("COPY (SELECT ");
    for (int i = 0; i < columns.size(); i++) {
      String name = TableName.quoted(columns.get(i).name());
      sql.append(i == 0 ? "" : ", ").append(name);
      if (columns.get(i).padded() && isMasked(i)) {
        // The blanks that fill it up are no part of the value, which is masked as it is elsewhere.
        sql.append("::text AS ").append(name);
      }
    }
    sql.append(" FROM ONLY ").append(part.sql()).append(" WHERE ").append(condition);
    sql.append(") TO STDOUT (FORMAT csv");
    if (!BARE.contains(columns.get(0).type())) {
      // In quotes nothing at the start of a row is taken for a byte-order mark or the end of data.
      sql.append(", FORCE_QUOTE (").append(TableName.quoted(columns.get(0).name())).append(")");
    }
    return sql.append(")").toString();
  }

  String write() {
    String columns =
        source.stored().stream()
            .map(column -> TableName.quoted(column.name()))
            .collect(Collectors.joining(", "));
    return "COPY " + source.name().sql() + " (" + columns + ") FROM STDIN (FORMAT csv)";
  }
}
