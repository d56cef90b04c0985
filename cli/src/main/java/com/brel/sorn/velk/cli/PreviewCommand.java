package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.MaskedRows;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "preview",
    description = "Shows the first rows of a CSV file as they would be masked.")
final class PreviewCommand implements Callable<Integer> {
  private static final int WIDEST = 30;
  private static final int MOST_ROWS = 1000;

  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
  @Mixin private MaskingStringSource maskingString;
  @Mixin private CsvOptions csv;

  @Option(
      names = {"-n", "--rows"},
      paramLabel = "N",
      defaultValue = "10",
      description = "How many rows, at most 1000 (default: ${DEFAULT-VALUE}).")
  private int count;

  @Option(
      names = "--show-original",
      description = "Show each row before it is masked, too: clear values on your terminal.")
  private boolean showOriginal;

  @Parameters(paramLabel = "IN", description = "The CSV file in UTF-8; - is standard input.")
  private String in;

  @Override
  public Integer call() throws IOException {
    if (count < 1 || count > MOST_ROWS) {
      throw Failure.usage("-n " + count + ": 1 to " + MOST_ROWS + " rows");
    }
    try {
      return preview();
    } catch (CsvException e) {
      throw csv.refusal(e);
    }
  }

  private int preview() throws IOException {
    Input input = new Input(in, velk.streams());
    RunFiles files =
        new RunFiles().reads("the input", in).reads("the rules file", maskingString.file());
    try (Masking masking = files.masking(maskingString.read());
        CsvInput source = csv.open(masking.engine(), input, velk.streams())) {
      files.keyWarnings().forEach(velk.streams()::warn);
      ParsedService rules = masking.rulesOf(source);
      List<List<String>> rows = read(source.reader());
      List<List<String>> table = new ArrayList<>();
      table.add(cells("", source.reader().names()));
      boolean errors = false;
      if (!rows.isEmpty()) {
        try (MaskingService service = rules.open()) {
          MaskedRows masked = service.mask(rows);
          addRows(table, rows, masked);
          errors = !masked.errors().isEmpty();
        }
      }
      velk.print(Table.of(table));
      return errors ? ExitCode.FIELD_ERRORS : ExitCode.DONE;
    }
  }

  private List<List<String>> read(CsvReader reader) throws IOException {
    List<List<String>> rows = new ArrayList<>();
    while (rows.size() < count) {
      CsvReader.Row row = reader.next();
      if (row == null) {
        break;
      }
      rows.add(row.values());
    }
    return rows;
  }

  private void addRows(List<List<String>> table, List<List<String>> rows, MaskedRows masked) {
    for (int row = 0; row < rows.size(); row++) {
      if (showOriginal) {
        List<String> values = rows.get(row).stream().map(this::show).toList();
        table.add(cells("original", values));
      }
      List<String> values = new ArrayList<>();
      for (int column = 0; column < rows.get(row).size(); column++) {
        Optional<FieldError> error = masked.error(row, column);
        values.add(
            error.isPresent()
                ? "(error " + error.get().code() + ")"
                : show(masked.value(row, column)));
      }
      table.add(cells("masked", values));
    }
  }

  /** What a row is stands in front only where there are two kinds. */
  private List<String> cells(String kind, List<String> values) {
    List<String> cells = new ArrayList<>();
    if (showOriginal) {
      cells.add(kind);
    }
    values.forEach(value -> cells.add(Show.clipped(value, WIDEST)));
    return cells;
  }

  private String show(String value) {
    if (value == null) {
      return "(null)";
    }
    return value.isEmpty() ? "\"\"" : value;
  }
}
