package com.brel.sorn.velk.masking;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.masking.CsvReport.Repeats;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.function.Consumer;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Results of columns that are to stay unique, and do not. */
class RepeatsTest {
  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private CsvReport mask(String rules, String csv, Consumer<CsvMasking> settings)
      throws IOException {
    try (MaskingService service = engine.parse("service=s key=env:MASK_KEY " + rules).open()) {
      CsvMasking masking = service.csv();
      settings.accept(masking);
      return masking.mask(
          new ByteArrayInputStream(csv.getBytes(UTF_8)), new ByteArrayOutputStream());
    }
  }

  private Repeats repeats(String csv) throws IOException {
    return mask("a=keep a.unique=true", csv, masking -> {}).columns().get(0).repeats();
  }

  @ParameterizedTest
  @CsvSource({
    "'a\nx\ny\nz\n', 0, 3",
    "'a\nx\ny\nx\n', 1, 3",
    "'a\nx\nx\nx\nx', 3, 4",
    "'a\nx\n\"x\"', 1, 2",
    "'a\r\n\"x\"\"\"\r\n\"x\"\"\"\r\n\"x\"', 1, 3",
    "'a\n\"x\"\"\"\"\"\n\"x\"\"\"\n', 0, 2",
    "'a\n\"x\ny\"\n\"x\ny\"\nx\ny\n', 1, 4",
    "'a\na\n', 0, 1",
    "'a\n\n\n\n', 0, 3",
    "'a\n\"\"\n\n\"\"\n', 1, 3",
    "'a\nä\nä\na\n', 1, 3",
    "'a\n', 0, 0",
    "'\uFEFFa\nx\nx\n', 1, 2"
  })
  void whatRepeatsAnEarlierValueCounts(String csv, long count, long rows) throws IOException {
    assertEquals(new Repeats(count, rows, true), repeats(csv));
  }

  @Test
  void resultsCountAndNotWhatWasMasked() throws IOException {
    CsvReport report =
        mask(
            "a=fixed('x') b=partial(keep_first=1) c=keep d=null"
                + " a.unique=true b.unique=true d.unique=true",
            "a,b,c,d\n1,Anna Bell,1,1\n2,Axel Bell,1,1\n3,Otto Bell,1,1\n",
            masking -> {});
    assertEquals(new Repeats(2, 3, true), report.columns().get(0).repeats());
    assertEquals(new Repeats(1, 3, true), report.columns().get(1).repeats());
    assertNull(report.columns().get(2).repeats(), "not declared");
    assertEquals(new Repeats(0, 3, true), report.columns().get(3).repeats(), "null is no repeat");
  }

  @Test
  void oneColumnIsNotComparedWithAnother() throws IOException {
    CsvReport report =
        mask("a=keep b=keep a.unique=true b.unique=true", "b,a\nx,y\ny,x\ny,z\n", masking -> {});
    assertEquals("b", report.columns().get(0).rule().name());
    assertEquals(new Repeats(1, 3, true), report.columns().get(0).repeats());
    assertEquals(new Repeats(0, 3, true), report.columns().get(1).repeats());
  }

  @Test
  void aTextInThePlaceOfAnErrorRepeatsToo() throws IOException {
    String rules = "a=keep a.type=integer a.unique=true";
    String csv = "a\nx\n1\ny\n";
    assertEquals(
        new Repeats(1, 3, true),
        mask(rules, csv, masking -> masking.onError(OnError.fixed("0")))
            .columns()
            .get(0)
            .repeats());
    assertEquals(
        new Repeats(0, 3, true),
        mask(rules, csv, masking -> masking.onError(OnError.nullValue()))
            .columns()
            .get(0)
            .repeats());
  }

  @Test
  void otherCharactersAndNoHeaderAndBlankLinesGoTheSameWay() throws IOException {
    assertEquals(
        new Repeats(2, 4, true),
        mask(
                "a=keep b=keep a.unique=true",
                "'x;''';1\n\n'x;''';2\n'x;''';3\n\n'';4\n",
                masking -> masking.header(false).delimiter(';').quote('\'').skipBlankLines(true))
            .columns()
            .get(0)
            .repeats());
    assertEquals(
        new Repeats(0, 2, true),
        mask("a=null a.unique=true", "a\nx\n\ny\n", masking -> masking.skipBlankLines(true))
            .columns()
            .get(0)
            .repeats());
  }

  /** Several blocks, with repeats within one and from one to another. */
  @ParameterizedTest
  @ValueSource(ints = {1, 2, 4})
  void blocksAndThreadsMakeNoDifference(int threads) throws IOException {
    Random random = new Random(7);
    StringBuilder csv = new StringBuilder("a,b,c\n");
    Set<String> known = new HashSet<>();
    int rows = 120_000;
    long expected = 0;
    for (int row = 0; row < rows; row++) {
      String value = random.nextInt(10) == 0 ? "" : "value " + random.nextInt(100_000);
      expected += value.isEmpty() || known.add(value) ? 0 : 1;
      csv.append(row).append(',').append(value).append(",rest of it\n");
    }
    List<Repeats> told = new ArrayList<>();
    CsvReport report =
        mask(
            "a=hash b=hash c=keep a.unique=true b.unique=true",
            csv.toString(),
            masking ->
                masking
                    .threads(threads)
                    .onBlock(block -> told.add(block.columns().get(0).repeats())));
    assertEquals(new Repeats(0, rows, true), report.columns().get(0).repeats());
    assertEquals(new Repeats(expected, rows, true), report.columns().get(1).repeats());
    assertTrue(told.size() > 5, () -> told.size() + " blocks");
    assertTrue(told.stream().allMatch(Repeats::complete));
  }

  @ParameterizedTest
  @CsvSource({"0, 0, 0, false", "1, 1, 0, false", "2, 2, 0, false", "3, 7, 3, true"})
  void whereItHasToStopItSaysSo(int most, long rows, long count, boolean complete)
      throws IOException {
    CsvReport report =
        mask(
            "a=keep a.unique=true",
            "a\nx\ny\nx\n\nx\nx\nz\n",
            masking -> masking.mostFingerprints = most);
    assertEquals(7, report.rows());
    assertEquals(new Repeats(count, rows, complete), report.columns().get(0).repeats());
  }

  @Test
  void rowsThatCannotBeReadAreNotTakenForChecked() {
    RepeatCounter counter = new RepeatCounter(new int[] {2}, 10);
    counter.add(new long[] {1, 2, 1}, 3);
    assertEquals(new Repeats(1, 3, true), counter.of(2));
    counter.add(new long[] {1}, 2);
    assertEquals(new Repeats(2, 4, false), counter.of(2));
    counter.add(new long[] {1, 1}, 2);
    assertEquals(new Repeats(2, 4, false), counter.of(2));
    assertNull(counter.of(1));
  }

  @Test
  void theSetKeepsSixMillionNumbersIn64MiB() {
    FingerprintSet set = new FingerprintSet();
    Random random = new Random(1);
    while (set.size() < RepeatCounter.MOST_KEPT) {
      set.add(random.nextLong());
    }
    long bytes = Arrays.stream(set.parts).mapToLong(part -> 8L * part.length).sum();
    assertTrue(bytes <= 64 << 20, () -> bytes + " bytes");
    Random again = new Random(1);
    for (int i = 0; i < 1_000_000; i++) {
      if (set.add(again.nextLong())) {
        throw new AssertionError("number " + i + " was lost");
      }
    }
    assertEquals(RepeatCounter.MOST_KEPT, set.size());
  }

  /** As published with the function: the key and the texts are the bytes 0, 1, 2 and so on. */
  @ParameterizedTest
  @CsvSource({
    "0, 726fdb47dd0e0e31",
    "1, 74f839c593dc67fd",
    "7, ab0200f58b01d137",
    "8, 93f5f5799a932462",
    "15, a129ca6149be45e5",
    "16, 3f2acc7f57c29bdb",
    "63, 958a324ceb064572"
  })
  void theNumberIsSipHash(int length, String expected) {
    byte[] text = new byte[64];
    for (int i = 0; i < text.length; i++) {
      text[i] = (byte) i;
    }
    SipHash hash = new SipHash(0x0706050403020100L, 0x0F0E0D0C0B0A0908L);
    assertEquals(expected, "%016x".formatted(hash.of(text, length)));
  }

  @Test
  void everyRunDrawsAnotherKey() {
    assertNotEquals(fingerprintKeys(), fingerprintKeys());
  }

  private static List<SipHash> fingerprintKeys() {
    ColumnRule rule = new ColumnRule("a", Type.text(), Rule.keep(), true);
    List<Column> table = Collections.nCopies(2, Column.of(rule, 0, OnError.UNSAID));
    List<SipHash> keys = CsvFingerprints.of(table, ',' | '"' << 8).keys();
    assertNotEquals(keys.get(0), keys.get(1), "each column its own");
    return keys;
  }
}
