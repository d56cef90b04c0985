package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.MaskedRows;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.stream.IntStream;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Random files are written as a library writes them that reads and writes CSV by itself. */
class SideBySideTest {
  private static final String RULES =
      "service=s key=env:MASK_KEY on_error=fixed('a \"b\", c') a=keep b=classes"
          + " b.type=varchar(9) c=partial(keep_first=1, with='\"') d=hash(length=8) e=fixed('')";

  private static final String[] TEXTS = {
    "", "x", "a,b", "two\nlines", "\r\n", "\r", "\"", "say \"no\"", "#1", " y ", "ä😀", ";", "\t"
  };

  private static final String[] ENDS = {"\n", "\r\n", "\r"};

  /** Values are quoted where they must be and now and then; the last row may lack its end. */
  private static byte[] file(Random random) {
    StringBuilder csv = new StringBuilder(random.nextBoolean() ? "\uFEFF" : "");
    csv.append("\"d\",c,b,a,\"e\"").append(ENDS[random.nextInt(3)]);
    int rows = random.nextInt(400);
    for (int row = 0; row < rows; row++) {
      for (int column = 0; column < 5; column++) {
        csv.append(column == 0 ? "" : ",").append(cell(random));
      }
      csv.append(row == rows - 1 && random.nextBoolean() ? "" : ENDS[random.nextInt(3)]);
    }
    return csv.toString().getBytes(StandardCharsets.UTF_8);
  }

  private static String cell(Random random) {
    String text = TEXTS[random.nextInt(TEXTS.length)] + TEXTS[random.nextInt(TEXTS.length)];
    boolean must = text.chars().anyMatch(c -> ",\"\n\r".indexOf(c) >= 0);
    return must || random.nextInt(3) == 0 ? '"' + text.replace("\"", "\"\"") + '"' : text;
  }

  @ParameterizedTest
  @ValueSource(strings = {"1", "3"})
  void randomFilesAreWrittenAsALibraryWritesThem(String jobs) throws IOException {
    int rows = 0;
    for (int seed = 0; seed < 60; seed++) {
      byte[] csv = file(new Random(seed));
      byte[] expected = masked(csv);
      Run run = Run.mask(RULES, csv, "-q", "-j", jobs);
      assertArrayEquals(expected, run.bytes(), () -> new String(csv, StandardCharsets.UTF_8));
      rows += csv.length / 30;
    }
    assertTrue(rows > 5000, rows + " rows");
  }

  private static byte[] masked(byte[] csv) throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    try (Engine engine = Engine.open();
        CsvSource source = new CsvSource(new ByteArrayInputStream(csv))) {
      CsvRow header = source.next();
      ParsedService rules = engine.parse(RULES).forTable(List.of(header.values()));
      CsvSink sink = new CsvSink(out, header.end());
      sink.writeHeader(source, header);
      List<CsvRow> rows = new ArrayList<>();
      for (CsvRow row = source.next(); row != null; row = source.next()) {
        rows.add(row);
      }
      try (MaskingService service = rules.open()) {
        write(rows, service, sink);
      }
      sink.flush();
    }
    return out.toByteArray();
  }

  private static void write(List<CsvRow> rows, MaskingService service, CsvSink sink)
      throws IOException {
    if (rows.isEmpty()) {
      return;
    }
    MaskedRows masked =
        service.mask(rows.stream().map(row -> Arrays.asList(row.values())).toList());
    for (int i = 0; i < rows.size(); i++) {
      int index = i;
      String[] values =
          IntStream.range(0, 5)
              .mapToObj(column -> masked.value(index, column))
              .toArray(String[]::new);
      sink.write(values, rows.get(i).quoted(), rows.get(i).end());
    }
  }
}
