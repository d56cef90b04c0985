package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.module.ModuleFinder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.Base64;
import java.util.Comparator;
import java.util.HexFormat;
import java.util.Iterator;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.spark.TaskContext;
import org.apache.spark.api.java.JavaSparkContext;
import org.apache.spark.api.java.function.ForeachFunction;
import org.apache.spark.api.java.function.MapPartitionsFunction;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/**
 * Executors that are processes of their own, whose libraries come from the jar, against what the
 * command makes of the same file.
 */
class ClusterIT {
  /** Unknown to executors, which have this class for its functions alone. */
  static final Path FOLDER = Path.of(System.getProperty("velk.cluster", "none"));

  private static final Path TEMPORARY = FOLDER.resolve("tmp");
  private static final Path EVENTS = FOLDER.resolve("events");
  private static final Path FILE = FOLDER.resolve("people.csv");
  private static final int ROWS = 6000;

  private static final String RULES =
      "service=people key=env:MASK_KEY id=keep name=classes name.type=varchar(12)"
          + " card=card(keep_first=6) born=dateshift(days=30, by=id) born.type=date";

  private static List<String> expected;
  private static int errors;
  private SparkSession spark;

  /** The file and what the command makes of it: some names are too long, some cards are none. */
  @BeforeAll
  static void askTheCommand() throws Exception {
    layOut();
    StringBuilder text = new StringBuilder("id,name,card,born\n");
    for (int i = 0; i < ROWS; i++) {
      String name = i % 100 == 7 ? "A name that is too long " + i : "Zoë " + i;
      String card = i % 250 == 9 ? "none" : "4012 8888 8888 1881";
      text.append(i + "," + name + "," + card + ",19" + (50 + i % 50) + "-02-28\n");
      errors += (i % 100 == 7 ? 1 : 0) + (i % 250 == 9 ? 1 : 0);
    }
    Files.writeString(FILE, text);
    Path masked = FOLDER.resolve("masked.csv");
    Files.writeString(FOLDER.resolve("rules"), RULES);
    String launcher = System.getProperty("velk.launcher");
    ProcessBuilder command =
        new ProcessBuilder(launcher, "mask", "--rules", FOLDER + "/rules", "" + FILE, "" + masked);
    command.redirectErrorStream(true).redirectOutput(FOLDER.resolve("command.log").toFile());
    assertEquals(3, command.start().waitFor(), "done, with some errors");
    try (Stream<String> lines = Files.lines(masked)) {
      expected = lines.skip(1).map(line -> line.replace("\"", "")).sorted().toList();
    }
  }

  private static void layOut() {
    for (Path folder : List.of(FOLDER.resolve("home/jars"), TEMPORARY, EVENTS)) {
      assertTrue(folder.toFile().isDirectory() || folder.toFile().mkdirs());
    }
  }

  private void start(int executors, int cores) {
    start(executors, cores, "", 4);
  }

  private void start(int executors, int cores, String options, int tries) {
    spark = cluster(executors, cores, options, tries);
  }

  /**
   * A session with executors of its own.
   *
   * @param options more of each executor's virtual machine, with a blank in front
   * @param tries how often a task is tried
   */
  static SparkSession cluster(int executors, int cores, String options, int tries) {
    return builder(executors, cores, options, tries).getOrCreate();
  }

  /** The same, of which more can be said. */
  static SparkSession.Builder builder(int executors, int cores, String options, int tries) {
    layOut();
    return SparkSession.builder()
        .master("local-cluster[%d,%d,1024]".formatted(executors, cores))
        .appName("cluster")
        .config("spark.ui.enabled", false)
        .config("spark.master.rest.enabled", false)
        .config("spark.executor.memory", "512m")
        .config("spark.sql.shuffle.partitions", 2)
        .config("spark.eventLog.enabled", true)
        .config("spark.eventLog.compress", false)
        .config("spark.eventLog.dir", EVENTS.toUri().toString())
        .config(
            "spark.executor.extraJavaOptions",
            "-Dvelk.test.log=info -Djava.io.tmpdir=" + TEMPORARY + options)
        .config("spark.executorEnv.JAVA_HOME", executorJava())
        .config("spark.task.maxFailures", tries)
        .config("spark.velk.key", "env:MASK_KEY");
  }

  /**
   * The Java of the executors. Spark has each of them load a module of the JDK with which it
   * computes faster; of a runtime that lacks it none would start, so it is not asked for there.
   */
  private static String executorJava() {
    Path own = Path.of(System.getProperty("java.home"));
    String module = "jdk.incubator.vector";
    if (ModuleFinder.ofSystem().find(module).isPresent()) {
      return own.toString();
    }
    String script =
        """
        #!/bin/bash
        for argument; do [ "$argument" = --add-modules=%s ] || arguments+=("$argument"); done
        exec %s/bin/java "${arguments[@]}"
        """;
    Path java = FOLDER.resolve("java/bin/java");
    try {
      Files.createDirectories(java.getParent());
      Files.writeString(java, script.formatted(module, own));
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
    assertTrue(java.toFile().setExecutable(true));
    return FOLDER.resolve("java").toString();
  }

  @AfterEach
  void stop() {
    spark.stop();
  }

  private Dataset<Row> table() {
    return table(spark);
  }

  static Dataset<Row> table(SparkSession spark) {
    return spark
        .read()
        .option("header", true)
        .schema("id int, name string, card string, born date")
        .csv(FILE.toString());
  }

  /** Rows as the file has them, null as nothing. */
  private static List<String> lines(Dataset<Row> rows) {
    return rows.collectAsList().stream()
        .map(
            row ->
                Stream.of(0, 1, 2, 3)
                    .map(i -> row.isNullAt(i) ? "" : row.get(i).toString())
                    .collect(Collectors.joining(",")))
        .sorted()
        .toList();
  }

  @Test
  void twoExecutorsGiveWhatTheCommandGives() throws Exception {
    start(2, 1);
    for (int partitions : new int[] {1, 2, 4}) {
      requireSameRows(partitions);
    }
    requireNothingOpenBehindALimitOrAFailure();
    requireThatTheMissingKeyIsTold();
    requireSameRowsThoughAnExecutorIsKilled();
    spark.stop();
    requireThatTheKeyIsNowhere();
    try (Stream<Path> left = Files.list(TEMPORARY)) {
      assertEquals(List.of(), left.filter(file -> ("" + file).contains("velk-")).toList());
    }
  }

  @Test
  void twoTasksInOneExecutorGiveWhatTheCommandGives() {
    start(1, 2);
    for (int partitions : new int[] {1, 2, 4}) {
      requireSameRows(partitions);
    }
    requireTheSameOfTheFunction();
  }

  /** Two tasks in one executor, whose engine fails a call that comes while another is under way. */
  @Test
  void anEngineThatForbidsThreadsIsCalledInTurns() throws Exception {
    start(1, 2, " -Dvelk.library.dir=" + engineOfTurns("forbids"), 1);
    for (int partitions : new int[] {1, 4}) {
      requireSameRows(partitions);
    }
    requireTheSameOfTheFunction();
  }

  /** The same engine says that it allows threads, so that nothing has tasks take turns. */
  @Test
  void withoutTheLockTheCallsOfTwoTasksMeet() throws Exception {
    start(1, 2, " -Dvelk.library.dir=" + engineOfTurns("allows", "-DALLOWS_THREADS"), 1);
    Dataset<Row> masked = VelkMasking.mask(table().repartition(4), RULES);
    Exception failure = assertThrows(Exception.class, masked::collectAsList);
    // Whichever of its operations two tasks meet in.
    assertTrue(
        failure.toString().matches("(?s).*(9001|Provider_[A-Z]\\w+ failed).*"), failure::toString);
  }

  static Path engineOfTurns(String name, String... options) throws Exception {
    Path built = Path.of(System.getProperty("velk.native.dir"));
    Path engine = FOLDER.resolve(name);
    Files.createDirectories(engine.resolve("real"));
    for (String library : List.of("DataCnvLib", "Parser", "Adapter", "JNI", "Bulk", "Provider")) {
      String file = "libVELK" + library + ".so";
      Path target = library.equals("Provider") ? engine.resolve("real") : engine;
      Files.copy(built.resolve(file), target.resolve(file), StandardCopyOption.REPLACE_EXISTING);
    }
    List<String> compiler =
        new ArrayList<>(List.of("g++", "-std=c++20", "-shared", "-fPIC", "-Wall", "-Werror"));
    compiler.addAll(List.of(options));
    compiler.add("-I../include");
    compiler.addAll(List.of("-Wl,-soname,libVELKProvider.so", "src/test/native/turns_engine.cpp"));
    compiler.addAll(List.of("-ldl", "-o", engine.resolve("libVELKProvider.so").toString()));
    assertEquals(0, new ProcessBuilder(compiler).inheritIO().start().waitFor());
    return engine;
  }

  private void requireSameRows(int partitions) {
    MaskingErrors count = MaskingErrors.in(spark, "errors");
    Dataset<Row> rows = table().repartition(partitions);
    assertEquals(expected, lines(VelkMasking.mask(rows, RULES, count)), partitions + " partitions");
    long all = count.value().values().stream().mapToLong(MaskingErrorsTest::sum).sum();
    assertEquals(errors, all);
  }

  private void requireTheSameOfTheFunction() {
    List<Row> cards =
        table()
            .selectExpr("velk_mask(card, 'card(keep_first=6)') as card")
            .distinct()
            .collectAsList();
    assertEquals(
        expected.stream().map(line -> line.split(",", -1)[2]).collect(Collectors.toSet()),
        cards.stream()
            .map(row -> row.isNullAt(0) ? "" : row.getString(0))
            .collect(Collectors.toSet()));
  }

  /** Counted where the tasks were. */
  private int openOnExecutors() {
    return JavaSparkContext.fromSparkContext(spark.sparkContext())
        .parallelize(List.of(1, 2, 3, 4), 4)
        .map(i -> TaskBatch.count())
        .reduce(Math::max);
  }

  private void requireNothingOpenBehindALimitOrAFailure() throws InterruptedException {
    Dataset<Row> masked = VelkMasking.mask(table().repartition(4), RULES);
    assertEquals(5, masked.limit(5).collectAsList().size());
    assertEquals(0, openOnExecutors());
    ForeachFunction<Row> fails =
        row -> {
          throw new IllegalStateException("open: " + TaskBatch.count());
        };
    Exception failure = assertThrows(Exception.class, () -> masked.foreach(fails));
    assertTrue(failure.toString().contains("open: 1"), failure::toString);
    for (int i = 0; i < 50 && openOnExecutors() > 0; i++) {
      Thread.sleep(100);
    }
    assertEquals(0, openOnExecutors());
  }

  private void requireThatTheMissingKeyIsTold() {
    String rules = RULES.replace("MASK_KEY", "VELK_NO_SUCH_KEY");
    Exception failure =
        assertThrows(Exception.class, () -> VelkMasking.mask(table(), rules).collectAsList());
    String told = "(?s).*executor \\d+ on host 127.0.0.1, key=env:VELK_NO_SUCH_KEY: 7228 .*";
    assertTrue(failure.toString().matches(told), failure::toString);
  }

  private void requireSameRowsThoughAnExecutorIsKilled() throws IOException {
    Path killed = FOLDER.resolve("killed");
    Files.deleteIfExists(killed);
    String mark = killed.toString();
    Path target = FOLDER.resolve("masked.parquet");
    MaskingErrors count = MaskingErrors.in(spark, "errors");
    Dataset<Row> masked = VelkMasking.mask(table().repartition(4), RULES, count);
    MapPartitionsFunction<Row, Row> kills = part -> new KilledOnce(part, mark);
    masked
        .mapPartitions(kills, Encoders.row(masked.schema()))
        .write()
        .mode("overwrite")
        .parquet(target.toString());
    assertTrue(Files.exists(killed), "none was killed");
    assertEquals(expected, lines(spark.read().parquet(target.toString())));
    assertEquals(errors, count.value().values().stream().mapToLong(MaskingErrorsTest::sum).sum());
    try (Stream<Path> files = Files.walk(target)) {
      assertFalse(files.anyMatch(file -> file.toString().contains("_temporary")));
    }
  }

  /** Rows that end their executor the first time that it has masked enough of them. */
  record KilledOnce(Iterator<Row> rows, String mark, int[] count) implements Iterator<Row> {
    KilledOnce(Iterator<Row> rows, String mark) {
      this(rows, mark, new int[1]);
    }

    @Override
    public boolean hasNext() {
      return rows.hasNext();
    }

    @Override
    public Row next() {
      if (++count[0] == 1200 && TaskContext.getPartitionId() == 1 && new File(mark).mkdir()) {
        kill(ProcessHandle.current().pid());
      }
      return rows.next();
    }

    private static void kill(long pid) {
      try {
        new ProcessBuilder("kill", "-9", "" + pid).start().waitFor(1, TimeUnit.MINUTES);
        Thread.sleep(60_000);
      } catch (IOException | InterruptedException e) {
        throw new IllegalStateException(e);
      }
    }
  }

  /** Neither in what the executors and the driver logged, nor in the events. */
  private static void requireThatTheKeyIsNowhere() throws IOException {
    String key = System.getenv("MASK_KEY");
    byte[] bytes = key.getBytes(StandardCharsets.UTF_8);
    List<String> forms =
        List.of(key, Base64.getEncoder().encodeToString(bytes), HexFormat.of().formatHex(bytes));
    boolean named = false;
    int logs = 0;
    Path driver = Path.of("target/spark-tests.log");
    for (Path folder : List.of(FOLDER.resolve("home/work"), EVENTS, driver)) {
      try (Stream<Path> files = Files.walk(folder)) {
        for (Path file :
            files.filter(Files::isRegularFile).sorted(Comparator.naturalOrder()).toList()) {
          String text = Files.readString(file, StandardCharsets.ISO_8859_1);
          forms.forEach(form -> assertFalse(text.contains(form), file::toString));
          named |= text.contains("env:MASK_KEY");
          logs += text.contains("Executor") ? 1 : 0;
        }
      }
    }
    assertTrue(named, "where the key is named is among what was searched");
    assertTrue(logs >= 3, "so are the logs of executors: " + logs);
  }

  @AfterAll
  static void removeTheEvents() throws IOException {
    try (Stream<Path> files = Files.list(EVENTS)) {
      for (Path file : files.filter(Files::isRegularFile).toList()) {
        Files.delete(file);
      }
    }
  }
}
