package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.Random;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.RuntimeConfig;
import org.apache.spark.sql.types.StructType;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Texts that are kept: the engine is shown them only where one is no text. */
class KeptTextTest {
  /** What makes a rule that could need all columns of these. */
  private static final String ALL_SHOWN = "\n# on_null";

  /** Overlong, cut off, half a surrogate pair, behind the last code point, and what is no lead. */
  private static final List<String> NO_TEXTS =
      List.of(
          "00",
          "61620063",
          "C080",
          "E08080",
          "F0808080",
          "C3",
          "E282",
          "F09F98",
          "EDA080",
          "EDBFBF",
          "F4908080",
          "F8888080",
          "FF",
          "80",
          "4142434445464748E9",
          "C3284142",
          "4142434445464700",
          "E282AC00",
          "F5808080");

  private static final List<String> TEXTS =
      List.of(
          "",
          " ",
          "7F",
          "Ada",
          "eight888",
          "nine99999",
          "Zoë",
          "€",
          "\uD83D\uDE00",
          "a text of some length, all of ASCII",
          "a text of some length with one more: é",
          "\uD7FF\uE000\uFFFF",
          "\u0080\u07FF\u0800");

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  private static byte[] bytes(String hex) {
    return HexFormat.of().parseHex(hex);
  }

  private static boolean isUtf8WithoutZero(byte[] bytes) {
    try {
      StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(bytes));
    } catch (CharacterCodingException e) {
      return false;
    }
    return new String(bytes, StandardCharsets.UTF_8).indexOf(0) < 0;
  }

  @Test
  void whatIsTextIsToldAsTheDecoderOfJavaTellsIt() {
    for (String hex : NO_TEXTS) {
      assertFalse(Utf8.isText(bytes(hex), 0, hex.length() / 2), hex);
    }
    for (String text : TEXTS) {
      byte[] utf8 = text.getBytes(StandardCharsets.UTF_8);
      assertTrue(Utf8.isText(utf8, 0, utf8.length), text);
    }
    Random random = new Random(7);
    int texts = 0;
    for (int i = 0; i < 200_000; i++) {
      byte[] bytes = new byte[random.nextInt(20)];
      for (int at = 0; at < bytes.length; at++) {
        boolean plain = random.nextInt(9) > 0;
        bytes[at] = (byte) (plain ? 1 + random.nextInt(127) : random.nextInt(256));
      }
      int from = bytes.length == 0 ? 0 : random.nextInt(bytes.length);
      byte[] rest = Arrays.copyOfRange(bytes, from, bytes.length);
      boolean expected = isUtf8WithoutZero(rest);
      assertEquals(expected, Utf8.isText(bytes, from, bytes.length), () -> Arrays.toString(rest));
      texts += expected ? 1 : 0;
    }
    assertTrue(texts > 50_000 && texts < 190_000, "texts: " + texts);
  }

  /** Rows of texts, of which one in so many is none. */
  private static Dataset<Row> rows(int seed, int oneIn) {
    Random random = new Random(seed);
    List<Row> rows = new ArrayList<>();
    for (int i = 0; i < 3500; i++) {
      byte[][] texts = new byte[3][];
      for (int column = 0; column < texts.length; column++) {
        texts[column] = random.nextInt(8) == 0 ? null : value(random, oneIn);
      }
      rows.add(RowFactory.create(texts[0], i, texts[1], texts[2], i % 3 == 0 ? null : 1L));
    }
    StructType schema =
        new StructType()
            .add("a", "binary")
            .add("i", "int")
            .add("b", "binary")
            .add("c", "binary")
            .add("n", "bigint");
    return LocalSpark.session()
        .createDataFrame(rows, schema)
        .selectExpr("cast(a as string) a", "i", "cast(b as string) b", "cast(c as string) c", "n")
        .coalesce(2);
  }

  private static byte[] value(Random random, int oneIn) {
    if (oneIn > 0 && random.nextInt(oneIn) == 0) {
      return bytes(NO_TEXTS.get(random.nextInt(NO_TEXTS.size())));
    }
    String text = TEXTS.get(random.nextInt(TEXTS.size()));
    return text.getBytes(StandardCharsets.UTF_8);
  }

  private record Result(List<String> rows, Map<String, Map<Integer, Long>> errors, long metric) {}

  private static Result masked(Dataset<Row> rows, String rules) {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "test");
    Dataset<Row> masked = VelkMasking.mask(rows, rules, errors);
    Dataset<Row> shown =
        masked.selectExpr("i", "hex(binary(a))", "hex(binary(b))", "hex(binary(c))", "n");
    List<String> all = LocalSpark.sorted(shown);
    return new Result(all, errors.value(), MaskStepTest.errors(shown));
  }

  private static Result withoutGeneratedCode(Dataset<Row> rows, String rules) {
    RuntimeConfig settings = LocalSpark.session().conf();
    settings.set("spark.sql.codegen.wholeStage", false);
    settings.set("spark.sql.codegen.factoryMode", "NO_CODEGEN");
    try {
      return masked(rows, rules);
    } finally {
      settings.unset("spark.sql.codegen.wholeStage");
      settings.unset("spark.sql.codegen.factoryMode");
    }
  }

  @ParameterizedTest
  @CsvSource({"0,''", "1500,''", "3,''", "1500,null", "3,null", "1500,fixed('?')", "2,fixed('?')"})
  void theyAreWhatTheyWereInTheEnginesHands(int oneIn, String onError) {
    for (int seed = 0; seed < 3; seed++) {
      Dataset<Row> rows = rows(seed, oneIn);
      String choice = onError.isEmpty() ? "" : " on_error=" + onError;
      String rules = START + "a=keep i=keep b=card(keep_first=6) c=keep n=keep" + choice;
      Result around = masked(rows, rules);
      Result shown = masked(rows, rules + ALL_SHOWN);
      assertEquals(shown, around);
      assertEquals(shown, withoutGeneratedCode(rows, rules));
      assertEquals(3500, around.rows().size());
      long flaws = around.errors().getOrDefault("a", Map.of()).size();
      assertEquals(oneIn > 0, flaws > 0, "kept values with errors");
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1500, 3})
  void theFirstOfThemStopsTheJobWhereItDid(int oneIn) {
    Dataset<Row> rows = rows(9, oneIn).coalesce(1);
    String rules = START + "a=keep i=keep b=hash c=keep n=keep on_error=stop";
    assertEquals(failure(rows, rules + ALL_SHOWN), failure(rows, rules));
  }

  private static String failure(Dataset<Row> rows, String rules) {
    Dataset<Row> masked = VelkMasking.mask(rows, rules);
    String all = assertThrows(Exception.class, masked::collectAsList).toString();
    return all.substring(all.indexOf("partition 0, row"), all.indexOf('\n', all.indexOf("row ")));
  }

  @Test
  void aTableOfWhichAllIsKeptIsLookedAtAllTheSame() {
    Dataset<Row> rows = rows(3, 100);
    Result around = masked(rows, "service=t *=keep");
    assertEquals(masked(rows, "service=t *=keep" + ALL_SHOWN), around);
    assertEquals(List.of("a", "b", "c"), List.copyOf(around.errors().keySet()));
  }
}
