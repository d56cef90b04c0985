package com.brel.sorn.velk.spark;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.Supplier;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.crypto.Mac;
import javax.crypto.SecretKey;
import org.apache.spark.scheduler.SparkListener;
import org.apache.spark.scheduler.SparkListenerTaskEnd;
import org.apache.spark.sql.Column;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.api.java.UDF1;
import org.apache.spark.sql.functions;
import org.apache.spark.sql.types.DataTypes;
import org.junit.jupiter.api.Test;

/**
 * What masking costs the processors of tasks, beside what Spark itself has for it. A masks two
 * texts of eight columns by a key, shifts a date and hides parts of three, B masks six by a key;
 * the other ways hash two columns and six. No test by its name: {@code scripts/bench spark} runs
 * it.
 */
class SparkBench {
  private static final long ROWS = Long.getLong("velk.bench.rows", 1_000_000);
  private static final int TURNS = Integer.getInteger("velk.bench.turns", 3);

  private static final String A =
      "name=hash email=hash city=partial(keep_first=1) street=partial(keep_first=1)"
          + " card=partial(keep_last=4) born=dateshift(days=30) born.type=date note=null id=keep";

  static final String B =
      "name=hash email=hash city=hash street=hash card=card(keep_first=6)"
          + " born=dateshift(days=30) born.type=date note=keep id=keep";

  private static final List<String> KEYED_A = List.of("name", "email");
  private static final List<String> KEYED_B =
      List.of("name", "email", "city", "street", "card", "born");

  private static final String SHA2 = "Spark's `sha2(concat(key, col), 256)`";

  private final SparkSession spark;
  private final Dataset<Row> rows;
  private final AtomicLong nanos;

  SparkBench() {
    spark = LocalSpark.session();
    nanos = taskTime(spark);
    rows = table(spark.range(ROWS)).cache();
    spark.udf().register("mac", (UDF1<String, String>) SparkBench::mac, DataTypes.StringType);
    rows.count();
  }

  /** Eight columns of text made of numbers. */
  static Dataset<Row> table(Dataset<Long> ids) {
    return ids.selectExpr(
        "string(id) as id",
        "concat('Name ', id % 70001, ' Surname') as name",
        "concat('person', id, '@example.com') as email",
        "concat('City ', id % 999) as city",
        "concat('Some Street ', id % 9999) as street",
        "'4012 8888 8888 1881' as card",
        "string(date_add(date'1950-01-01', int(id % 20000))) as born",
        "concat('a note of some length about ', id) as note");
  }

  /** Counts the processor time of a session's tasks in nanoseconds. */
  static AtomicLong taskTime(SparkSession spark) {
    AtomicLong nanos = new AtomicLong();
    spark
        .sparkContext()
        .addSparkListener(
            new SparkListener() {
              @Override
              public void onTaskEnd(SparkListenerTaskEnd end) {
                nanos.addAndGet(end.taskMetrics().executorCpuTime());
              }
            });
    return nanos;
  }

  private static final ThreadLocal<Mac> MAC = ThreadLocal.withInitial(SparkBench::newMac);

  private record PlainKey(byte[] getEncoded) implements SecretKey {
    @Override
    public String getAlgorithm() {
      return "HmacSHA256";
    }

    @Override
    public String getFormat() {
      return "RAW";
    }
  }

  private static Mac newMac() {
    try {
      Mac mac = Mac.getInstance("HmacSHA256");
      mac.init(new PlainKey("0123456789abcdef".getBytes(StandardCharsets.UTF_8)));
      return mac;
    } catch (GeneralSecurityException e) {
      throw new IllegalStateException(e);
    }
  }

  private static String mac(String text) {
    return HexFormat.of().formatHex(MAC.get().doFinal(text.getBytes(StandardCharsets.UTF_8)));
  }

  private Dataset<Row> hashed(List<String> columns, String expression) {
    Column[] all =
        Arrays.stream(rows.columns())
            .map(
                name ->
                    functions.expr(columns.contains(name) ? expression.replace("col", name) : name))
            .toArray(Column[]::new);
    return rows.select(all);
  }

  /** Seconds of processor time of all tasks. */
  private double measure(Supplier<Dataset<Row>> table) throws Exception {
    nanos.set(0);
    table.get().write().format("noop").mode("overwrite").save();
    spark.sparkContext().listenerBus().waitUntilEmpty();
    return nanos.get() / 1e9;
  }

  private Map<String, Double> compare(String rules, List<String> keyed) throws Exception {
    String same = String.join("=hash(length=64) ", keyed) + "=hash(length=64) *=keep";
    Map<String, Supplier<Dataset<Row>>> ways = new LinkedHashMap<>();
    ways.put("`VelkMasking.mask`", () -> VelkMasking.mask(rows, LocalSpark.START + rules));
    ways.put("the same, hashing alone", () -> VelkMasking.mask(rows, LocalSpark.START + same));
    ways.put(
        "`velk_mask(col, 'hash(length=64)')`",
        () -> hashed(keyed, "velk_mask(col, 'hash(length=64)')"));
    ways.put(SHA2, () -> hashed(keyed, "sha2(concat('0123456789abcdef', col), 256)"));
    ways.put("Spark's `mask(col)`", () -> hashed(keyed, "mask(col)"));
    ways.put("a Java function with `javax.crypto.Mac`", () -> hashed(keyed, "mac(col)"));
    Map<String, List<Double>> seconds = new LinkedHashMap<>();
    for (int turn = 0; turn <= TURNS; turn++) {
      for (Map.Entry<String, Supplier<Dataset<Row>>> way : ways.entrySet()) {
        double taken = measure(way.getValue());
        if (turn > 0) { // The first one is for the compiler.
          seconds.computeIfAbsent(way.getKey(), key -> new ArrayList<>()).add(taken);
        }
      }
    }
    Map<String, Double> medians = new LinkedHashMap<>();
    seconds.forEach((way, all) -> medians.put(way, median(all)));
    return medians;
  }

  static double median(List<Double> seconds) {
    return seconds.stream().sorted().skip(seconds.size() / 2).findFirst().orElseThrow();
  }

  @Test
  void masksBesideOthers() throws Exception {
    Map<String, Double> a = compare(A, KEYED_A);
    Map<String, Double> b = compare(B, KEYED_B);
    StringBuilder table = new StringBuilder();
    a.forEach(
        (way, seconds) ->
            table.append(
                "| %-41s | %8.2f | %12.2f | %8.2f | %12.2f |%n"
                    .formatted(
                        way,
                        seconds,
                        seconds / a.get(SHA2),
                        b.get(way),
                        b.get(way) / b.get(SHA2))));
    System.out.print(table);
    write(" +\\| A: CPU s .*", table.toString());
  }

  /**
   * Puts the figures in the place of those in the page, where as many rows were masked.
   *
   * @param header what the first line of their table looks like
   * @param table its lines behind the second one
   */
  static void write(String header, String table) throws IOException {
    Path page = LocalSpark.examples().resolve("../docs/spark.md");
    Pattern former = Pattern.compile("(\\|" + header + "\\n\\|-.*\\n)(\\|.*\\n)+");
    Matcher matcher = former.matcher(Files.readString(page));
    if (ROWS == 1_000_000 && matcher.find()) {
      String rows = Matcher.quoteReplacement(table);
      Files.writeString(page, matcher.replaceFirst("$1" + rows));
    }
  }
}
