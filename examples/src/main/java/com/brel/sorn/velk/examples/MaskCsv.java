package com.brel.sorn.velk.examples;

import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.EngineLibrary;
import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.MaskedRows;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.ServiceBuilder;
import com.brel.sorn.velk.masking.Type;
import de.siegmar.fastcsv.reader.AbstractBaseCsvCallbackHandler;
import de.siegmar.fastcsv.reader.CsvReader;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Masks the rows of a CSV file of people and prints each of them before and after. */
final class MaskCsv {
  private static final int WIDEST_COLUMN = 26;

  private MaskCsv() {}

  /** Reads a line as its values; an unquoted empty one is null, a quoted one is empty. */
  private static final class Values extends AbstractBaseCsvCallbackHandler<List<String>> {
    private List<String> values;

    @Override
    protected void handleBegin(long line) {
      values = new ArrayList<>();
    }

    @Override
    protected void handleField(int column, char[] text, int start, int length, boolean quoted) {
      values.add(length == 0 && !quoted ? null : new String(text, start, length));
    }

    @Override
    protected List<String> buildRecord() {
      return values;
    }
  }

  public static void main(String[] args) throws IOException {
    if (args.length != 1) {
      System.err.println("usage: MaskCsv <file.csv>");
      System.exit(2);
    }
    PrintStream out = new PrintStream(System.out, true, StandardCharsets.UTF_8);
    List<List<String>> lines = read(Path.of(args[0]));
    if (lines.size() < 2) {
      throw new IOException(args[0] + ": a line of names and at least one row are wanted");
    }
    List<List<String>> rows = lines.subList(1, lines.size());
    try (Engine engine = Engine.open();
        MaskingService people = describe(engine).open()) {
      EngineLibrary library = engine.library();
      // Lines end alike on every platform.
      out.print(library.identification() + ", loaded from " + library.directory() + "\n\n");
      print(out, lines.get(0), rows, people.mask(rows));
    }
  }

  private static ServiceBuilder describe(Engine engine) {
    return engine
        .service("people")
        .key("env:MASK_KEY")
        .uniqueColumn("id", Type.integer(), Rule.keep())
        .column("name", Type.varchar(24), Rule.classes())
        .column("city", Type.varchar(20), Rule.classes())
        .column("card", Type.varchar(19), Rule.partial(0, 4, "#"))
        .column("email", Type.text(), Rule.hash(16))
        .column("note", Type.text(), Rule.partial(1, 0, "·"));
  }

  private static List<List<String>> read(Path file) throws IOException {
    try (CsvReader<List<String>> reader = CsvReader.builder().build(new Values(), file)) {
      return reader.stream().toList();
    }
  }

  private static void print(
      PrintStream out, List<String> names, List<List<String>> rows, MaskedRows masked) {
    Table table = new Table(WIDEST_COLUMN);
    table.add(prepend("", names));
    for (int row = 0; row < rows.size(); row++) {
      table.add(prepend("before", rows.get(row).stream().map(MaskCsv::show).toList()));
      table.add(prepend("after", after(masked, row)));
    }
    table.print(out);

    List<FieldError> errors = masked.errors();
    out.print(
        "\n" + rows.size() + " rows masked, " + errors.size() + " values could not be masked:\n");
    for (FieldError error : errors) {
      String text = error.message().replaceFirst("^" + error.code() + " ", "");
      out.printf(
          "  row %d, column %s, error %d: %s\n",
          error.row() + 1, error.columnName(), error.code(), text.replaceAll("\\R", " "));
    }
  }

  private static List<String> after(MaskedRows masked, int row) {
    List<String> cells = new ArrayList<>();
    for (int column = 0; column < masked.columnNames().size(); column++) {
      boolean failed = masked.error(row, column).isPresent();
      cells.add(failed ? "(error)" : show(masked.value(row, column)));
    }
    return cells;
  }

  static String show(String value) {
    if (value == null) {
      return "(null)";
    }
    // A terminal would obey any other control character.
    return value.isEmpty() ? "\"\"" : value.replace('\n', '⏎').replaceAll("\\p{Cc}", "\uFFFD");
  }

  private static List<String> prepend(String first, List<String> rest) {
    List<String> all = new ArrayList<>(rest);
    all.add(0, first);
    return all;
  }
}
