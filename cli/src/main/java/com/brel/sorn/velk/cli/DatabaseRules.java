package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.CopyException;
import com.brel.sorn.velk.cli.database.DatabaseDraft;
import com.brel.sorn.velk.cli.database.DatabaseDraft.ColumnDraft;
import com.brel.sorn.velk.cli.database.DatabaseDraft.TableDraft;
import com.brel.sorn.velk.cli.database.DatabaseUrl;
import java.nio.file.Path;
import java.util.List;

/** Rules for the tables of a database, to start from. */
final class DatabaseRules {
  private DatabaseRules() {}

  static String of(String url, List<Path> drivers) {
    try {
      return text(DatabaseDraft.of(new DatabaseUrl(url, "from", System.getenv()), drivers));
    } catch (CopyException e) {
      throw e.isRefused() ? Failure.usage(e.getMessage()) : Failure.inputOutput(e.getMessage());
    }
  }

  private static String text(List<TableDraft> tables) {
    StringBuilder rules = new StringBuilder();
    rules.append(
        "# Every column becomes null until its rule says otherwise; one that must not be\n");
    rules.append("# null is refused until then. [table] = keep has a table go over as it is.\n");
    rules.append("# The key has at least 16 bytes; this names where it stands.\n");
    rules.append("service = copy\nkey = env:MASK_KEY\non_error = stop\n");
    for (TableDraft table : tables) {
      rules.append("\n[").append(table.name()).append("]\n");
      table.columns().forEach(column -> append(rules, column));
    }
    return rules.toString();
  }

  private static void append(StringBuilder rules, ColumnDraft column) {
    String key = InitCommand.key(column.name());
    String suggestion =
        column.suggestion() == null
            ? Suggestion.of(column.name(), List.of()).rule()
            : column.suggestion();
    rules.append(key).append(" = null  # ").append(Show.text(column.description()));
    rules.append(": ").append(key).append(" = ").append(Show.text(suggestion)).append('\n');
  }
}
