package com.brel.sorn.velk.cli;

import de.siegmar.fastcsv.reader.CsvIndex;
import de.siegmar.fastcsv.reader.CsvIndex.CsvPage;
import de.siegmar.fastcsv.reader.CsvParseException;
import de.siegmar.fastcsv.reader.CsvRecord;
import de.siegmar.fastcsv.reader.IndexedCsvReader;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Cuts a CSV file between rows. */
final class SlicedFile {
  /** Pages of an index, which is kept in memory. */
  private static final long MOST_PAGES = 500_000;

  private SlicedFile() {}

  /** At most so many slices of about the same size; together they are the file. */
  static List<Slice> slices(Path file, int count) throws IOException {
    long size = java.nio.file.Files.size(file);
    int pageSize = (int) Math.max(1, size / MOST_PAGES);
    CsvIndex index = index(file, pageSize);
    List<CsvPage> pages = index.pages();
    List<Slice> slices = new ArrayList<>();
    int page = 0;
    for (int k = 0; k < count && page < pages.size(); k++) {
      int next = page + 1;
      while (next < pages.size() && pages.get(next).offset() < size / count * (k + 1)) {
        next++;
      }
      if (k == count - 1) {
        next = pages.size();
      }
      slices.add(slice(pages, page, next, pageSize, size));
      page = next;
    }
    return slices;
  }

  /** The first slice takes in the byte-order mark. */
  private static Slice slice(List<CsvPage> pages, int page, int next, int pageSize, long size) {
    long from = page == 0 ? 0 : pages.get(page).offset();
    long to = next == pages.size() ? size : pages.get(next).offset();
    return new Slice(from, to, pages.get(page).startingLineNumber(), (long) page * pageSize);
  }

  private static CsvIndex index(Path file, int pageSize) throws IOException {
    try (IndexedCsvReader<CsvRecord> reader =
        IndexedCsvReader.builder().pageSize(pageSize).ofCsvRecord(file, StandardCharsets.UTF_8)) {
      return reader.getIndex();
    } catch (CsvParseException e) {
      throw Failure.inputOutput("the input is no CSV");
    }
  }
}
