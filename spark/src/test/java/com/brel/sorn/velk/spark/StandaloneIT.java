package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;
import org.apache.spark.launcher.JavaModuleOptions;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/**
 * The ten lines of the page on Spark, each time in an empty folder: in one process, and on a
 * standalone cluster of this machine whose key is another.
 */
class StandaloneIT {
  private static final Path FOLDER = Path.of("target/standalone").toAbsolutePath();
  private static final Path HOME = FOLDER.resolve("home");
  private static final Path PAGE = LocalSpark.examples().resolve("../docs/spark.md");
  private static final String CLUSTERS_KEY = "the key of the cluster alone";
  private static final Pattern MASTER = Pattern.compile("Starting Spark master at (spark://\\S+)");
  private static final Pattern WORKER = Pattern.compile("Successfully registered with master");

  private static final List<Process> STARTED = new ArrayList<>();
  private static List<String> lines;
  private static String javaOptions;

  @BeforeAll
  static void layOutADistribution() throws IOException {
    remove(FOLDER);
    Files.createDirectories(HOME.resolve("jars"));
    Files.createDirectories(HOME.resolve("bin"));
    Files.createDirectories(HOME.resolve("conf"));
    for (String entry : System.getenv("SPARK_DIST_CLASSPATH").split(File.pathSeparator)) {
      Path jar = Path.of(entry);
      String name = jar.getFileName().toString();
      if (name.endsWith(".jar") && !name.startsWith("velk")) {
        Files.createSymbolicLink(HOME.resolve("jars").resolve(name), jar);
      }
    }
    Files.writeString(
        HOME.resolve("conf/spark-defaults.conf"),
        "spark.ui.enabled false\nspark.driver.host 127.0.0.1\nspark.executor.memory 512m\n");
    javaOptions = "-Xmx512m " + JavaModuleOptions.defaultModuleOptions();
    Path submit = HOME.resolve("bin/spark-submit");
    String java = "exec java " + javaOptions + " -cp \"$SPARK_HOME/jars/*\"";
    Files.writeString(
        submit, "#!/bin/bash\n" + java + " org.apache.spark.deploy.SparkSubmit \"$@\"\n");
    assertTrue(submit.toFile().setExecutable(true));
    String page = Files.readString(PAGE);
    String block = page.substring(page.indexOf("```sh\n", page.indexOf("## Ten lines")) + 6);
    lines = block.substring(0, block.indexOf("```")).lines().toList();
  }

  private static void remove(Path folder) throws IOException {
    if (Files.exists(folder)) {
      try (Stream<Path> files = Files.walk(folder)) {
        for (Path file : files.sorted(Comparator.reverseOrder()).toList()) {
          Files.delete(file);
        }
      }
    }
  }

  @AfterAll
  static void endTheCluster() throws InterruptedException {
    for (Process process : STARTED) {
      process.destroy();
      if (!process.waitFor(30, TimeUnit.SECONDS)) {
        process.destroyForcibly().waitFor();
      }
    }
  }

  private static Process start(Path log, Map<String, String> environment, List<String> command)
      throws IOException {
    ProcessBuilder builder = new ProcessBuilder(command);
    Map<String, String> all = builder.environment();
    all.keySet().removeIf(name -> name.startsWith("SPARK_") || name.equals("MASK_KEY"));
    String java = System.getProperty("java.home");
    all.putAll(Map.of("JAVA_HOME", java, "PATH", java + "/bin:" + all.get("PATH")));
    all.putAll(Map.of("SPARK_HOME", "" + HOME, "SPARK_LOCAL_IP", "127.0.0.1"));
    all.put("SPARK_SCALA_VERSION", "2.13"); // A distribution has a file that tells.
    all.putAll(environment);
    builder.directory(log.getParent().toFile());
    return builder.redirectErrorStream(true).redirectOutput(log.toFile()).start();
  }

  /** Starts a part of the cluster, and waits for what it says when it is ready. */
  private static Matcher start(
      String name, Map<String, String> environment, Pattern ready, String... words)
      throws IOException, InterruptedException {
    List<String> command = new ArrayList<>(List.of("java"));
    command.addAll(List.of(javaOptions.split(" ")));
    command.addAll(List.of("-cp", HOME + "/jars/*", "-Dspark.master.rest.enabled=false"));
    command.addAll(List.of(words));
    command.addAll(List.of("--host", "127.0.0.1", "--port", "0", "--webui-port", "0"));
    Path log = FOLDER.resolve(name + ".log");
    Process process = start(log, environment, command);
    STARTED.add(0, process);
    for (int i = 0; i < 600 && process.isAlive(); i++) {
      Matcher said = ready.matcher(Files.readString(log));
      if (said.find()) {
        return said;
      }
      Thread.sleep(100);
    }
    throw new AssertionError(Files.readString(log));
  }

  private static String startTheCluster() throws IOException, InterruptedException {
    String name = "org.apache.spark.deploy.master.Master";
    String master = start("master", Map.of(), MASTER, name).group(1);
    String[] worker = {
      "org.apache.spark.deploy.worker.Worker",
      master,
      "--cores",
      "2",
      "--memory",
      "1g",
      "--work-dir",
      "" + FOLDER.resolve("work")
    };
    start("worker", Map.of("MASK_KEY", CLUSTERS_KEY), WORKER, worker);
    return master;
  }

  /** Runs the lines in an empty folder. */
  private static Path run(String name, String script) throws IOException, InterruptedException {
    Path folder = Files.createDirectories(FOLDER.resolve(name).resolve("empty"));
    Path jar = Path.of("target/velk-spark-0.1.0.jar").toAbsolutePath();
    String jars = Path.of("../java/target/velk-0.1.0.jar").toRealPath() + "," + jar;
    Path log = folder.resolveSibling("log");
    String lines = "set -e; cd empty\n" + script;
    Process bash = start(log, Map.of("JARS", jars), List.of("bash", "-c", lines));
    try {
      assertTrue(bash.waitFor(5, TimeUnit.MINUTES));
    } finally {
      bash.destroy();
    }
    assertEquals(0, bash.exitValue(), Files.readString(log));
    return folder;
  }

  /** What the command makes of the same file by the same string and a key. */
  private static List<String> expected(Path folder, String key) throws Exception {
    Path rules = folder.resolve("rules");
    String line =
        lines.stream().filter(each -> each.startsWith("RULES=")).findFirst().orElseThrow();
    Files.writeString(rules, line.substring(7, line.length() - 1));
    Path masked = folder.resolve("masked.csv");
    String velk = System.getProperty("velk.launcher");
    List<String> command =
        List.of(velk, "mask", "--rules", "" + rules, folder + "/people.csv", "" + masked);
    Map<String, String> environment = new HashMap<>(Map.of("VELK_CLASS_ARCHIVES", ""));
    environment.put("MASK_KEY", key);
    Path log = folder.resolveSibling("command.log");
    assertEquals(0, start(log, environment, command).waitFor(), () -> read(log));
    return Files.readAllLines(masked).stream().skip(1).sorted().toList();
  }

  private static String read(Path file) {
    try {
      return Files.readString(file, StandardCharsets.ISO_8859_1);
    } catch (IOException e) {
      throw new IllegalStateException(e);
    }
  }

  private static List<String> rows(SparkSession spark, Path folder) {
    return spark.read().parquet(folder + "/masked").collectAsList().stream()
        .map(row -> row.mkString(","))
        .sorted()
        .toList();
  }

  @Test
  void tenLinesMaskATable() throws Exception {
    assertEquals(10, lines.size());
    String script = String.join("\n", lines);
    String key = lines.get(0).replaceAll("export MASK_KEY='(.*)'", "$1");
    Path local = run("local", script);
    String master = startTheCluster();
    Path cluster = run("cluster", script.replace("'local[2]'", master));
    assertNotEquals(script, script.replace("'local[2]'", master));
    SparkSession spark = LocalSpark.session();
    try {
      assertEquals(expected(local, key), rows(spark, local));
      assertEquals(expected(cluster, CLUSTERS_KEY), rows(spark, cluster));
      assertNotEquals(rows(spark, local), rows(spark, cluster));
    } finally {
      spark.stop();
    }
    requireThatKeysAreNowhere(List.of(key, CLUSTERS_KEY));
  }

  private static void requireThatKeysAreNowhere(List<String> keys) throws IOException {
    int executors = 0;
    try (Stream<Path> files = Files.walk(FOLDER)) {
      for (Path log : files.filter(file -> ("" + file).matches(".*(log|stderr|stdout)")).toList()) {
        String text = read(log);
        keys.forEach(key -> assertFalse(text.contains(key), log::toString));
        executors += text.contains("Starting executor ID") ? 1 : 0;
      }
    }
    assertTrue(executors > 1, "those of executors were among them: " + executors);
  }
}
