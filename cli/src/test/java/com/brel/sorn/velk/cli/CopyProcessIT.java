package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.sql.Connection;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Copies in processes of their own: what they hold, whom they talk to, and how they are ended. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its server is one of this machine's")
@Timeout(120)
class CopyProcessIT extends CopyTests {
  private static final String TABLE = "CREATE TABLE a (id int PRIMARY KEY, x text, y text)";
  private static final String RULES = HEAD + "[public.a]\nid=keep x=hash y=classes\n";
  private static final Pattern PEAK = Pattern.compile("VmHWM:\\s+(\\d+) kB");
  private static final String SECRET = "s3cret-Word";

  private static void fill(int rows) {
    both(TABLE);
    server.execute(
        "source",
        "INSERT INTO a SELECT i, 'text ' || i, repeat('Word ', 8) FROM generate_series(1, "
            + rows
            + ") i");
  }

  private ProcessBuilder builder(List<String> arguments) {
    // Where these tests run in the background, a shell has had them ignore an interrupt.
    List<String> command = new ArrayList<>(List.of("env", "--default-signal=INT"));
    command.add(System.getProperty("velk.launcher"));
    command.addAll(arguments);
    ProcessBuilder builder = new ProcessBuilder(command);
    builder.environment().put("VELK_CLASS_ARCHIVES", "");
    builder.environment().put("HOME", folder.toString());
    return builder.redirectErrorStream(true).redirectOutput(folder.resolve("said").toFile());
  }

  private Process begin(String... more) throws IOException {
    return builder(arguments(server.url("source"), server.url("target"), RULES, more)).start();
  }

  private String said() throws IOException {
    return Files.readString(folder.resolve("said"));
  }

  private static void awaitPieces(Process process, int pieces) throws Exception {
    String marks = "SELECT to_regclass('velk_copy.piece') IS NOT NULL";
    while (process.isAlive()) {
      if (server.row("target", marks).equals("t")
          && Integer.parseInt(server.row("target", "SELECT count(*) FROM velk_copy.piece"))
              >= pieces) {
        return;
      }
    }
  }

  private void expectResumed(int rows) throws Exception {
    assertEquals("f", server.row("target", "SELECT finished IS NOT NULL FROM velk_copy.run"));
    copy(RULES, "--resume", "--piece-pages", "64").expect(ExitCode.DONE);
    assertEquals(
        rows + "|" + rows + "|0",
        server.row(
            "target",
            "SELECT count(*), count(DISTINCT id), count(*) FILTER (WHERE x LIKE 'text%') FROM a"));
  }

  private static long peak(Process process) throws IOException {
    Path status = Path.of("/proc/" + process.pid() + "/status");
    Matcher matcher = PEAK.matcher(Files.readString(status));
    return matcher.find() ? Long.parseLong(matcher.group(1)) : 0;
  }

  /** Where the sockets of a process lead to: hexadecimal addresses of /proc/net/tcp and tcp6. */
  private static Set<String> peers(Process process) throws IOException {
    Set<String> sockets = new HashSet<>();
    for (Path file : children(Path.of("/proc/" + process.pid() + "/fd"))) {
      try {
        sockets.add(Files.readSymbolicLink(file).toString().replaceAll("socket:\\[(\\d+)]", "$1"));
      } catch (IOException e) {
        // It has been closed since.
      }
    }
    Set<String> peers = new HashSet<>();
    for (String table : List.of("tcp", "tcp6", "udp", "udp6")) {
      for (String line : Files.readAllLines(Path.of("/proc/net/" + table))) {
        String[] words = line.strip().split("\\s+");
        if (words.length > 9 && sockets.contains(words[9])) {
          peers.add(table + " " + words[2].replaceFirst(":.*", ""));
        }
      }
    }
    return peers;
  }

  private static List<Path> children(Path directory) throws IOException {
    try (var files = Files.list(directory)) {
      return files.toList();
    } catch (java.nio.file.NoSuchFileException e) {
      return List.of();
    }
  }

  @Test
  void aCopyIsSmallAndTalksToItsDatabasesAlone() throws Exception {
    int rows = Integer.parseInt(System.getenv().getOrDefault("VELK_COPY_ROWS", "1000000"));
    fill(rows);
    Process process = begin();
    long peak = 0;
    Set<String> peers = new HashSet<>();
    while (process.isAlive()) {
      try {
        peak = Math.max(peak, peak(process));
        peers.addAll(peers(process));
      } catch (IOException e) {
        // It has ended meanwhile.
      }
      TimeUnit.MILLISECONDS.sleep(20);
    }
    assertEquals(ExitCode.DONE, process.exitValue(), said());
    assertTrue(peak > 0 && peak < 256 * 1024, peak + " kB");
    // 127.0.0.1, by either kind of socket; one that is not connected leads nowhere.
    Set<String> others = new HashSet<>(peers);
    others.removeIf(
        peer -> peer.matches("tcp (0100007F|0{8})|tcp6 (0000000000000000FFFF00000100007F|0{32})"));
    assertEquals(Set.of(), others);
    assertTrue(peers.stream().anyMatch(peer -> peer.endsWith("0100007F")), peers.toString());
    assertEquals("" + rows, server.row("target", "SELECT count(*) FROM a"));
  }

  private Run copyOne(int length, String rules) throws Exception {
    fill(0);
    server.execute("source", "INSERT INTO a VALUES (1, repeat('x', " + length + "), 'Word')");
    return copySmall(rules);
  }

  private Run copySmall(String rules, String... more) throws Exception {
    Process process =
        builder(arguments(server.url("source"), server.url("target"), rules, more)).start();
    long peak = 0;
    while (process.isAlive()) {
      try {
        peak = Math.max(peak, peak(process));
      } catch (IOException e) {
        // It has ended meanwhile.
      }
      TimeUnit.MILLISECONDS.sleep(5);
    }
    assertFalse(said().contains("\tat "), said());
    assertTrue(peak < 256 * 1024, peak + " kB");
    return new Run(process.exitValue(), new byte[0], said());
  }

  @Test
  void aLargeValueIsCopiedOrEndsTheCopyInWords() throws Exception {
    copyOne(4_000_000, RULES).expect(ExitCode.DONE);
    assertEquals("32", server.row("target", "SELECT length(x) FROM a"));
    Run masked = copyOne(50_000_000, RULES).expect(ExitCode.INPUT_OUTPUT);
    String why = "velk: table public.a, in a piece of it: byte 2, line 1: a value has more than";
    assertTrue(masked.err().startsWith(why), masked.err());
    copyOne(50_000_000, "[public.a] = keep").expect(ExitCode.DONE);
    assertEquals("50000000", server.row("target", "SELECT length(x) FROM a"));
    Run kept = copyOne(250_000_000, "[public.a] = keep");
    assertTrue(kept.err().startsWith("velk: "), kept.err());
    assertTrue(kept.exitCode() != ExitCode.DONE, kept.err());
    assertEquals("0", server.row("target", "SELECT count(*) FROM a"));
  }

  @Test
  void noJobHoldsMoreThanOneLargeRow() throws Exception {
    both("CREATE TABLE a (x text)", "CREATE TABLE b (x text)");
    String rows = " SELECT repeat('x', 45000000) FROM generate_series(1, 3)";
    server.execute("source", "INSERT INTO a" + rows, "INSERT INTO b" + rows);
    copySmall("[public.a] = keep\n[public.b] = keep").expect(ExitCode.DONE);
    assertEquals("3|3", server.row("target", "SELECT (SELECT count(*) FROM a), count(*) FROM b"));
  }

  @Test
  void manyJobsMaskLargeRowsInLittleMemory() throws Exception {
    StringBuilder rules = new StringBuilder(HEAD);
    List<String> tables = new ArrayList<>();
    for (int i = 0; i < 8; i++) {
      tables.add("CREATE TABLE t" + i + " (x text, y text, z text)");
      rules.append("[public.t" + i + "]\nx=classes y=keep z=keep\n");
    }
    both(tables.toArray(String[]::new));
    String rows = " SELECT v, v, v FROM repeat('ሀ', 1000000) v, generate_series(1, 3)";
    for (int i = 0; i < tables.size(); i++) {
      server.execute("source", "INSERT INTO t" + i + rows);
    }
    copySmall(rules.toString(), "--jobs", "8").expect(ExitCode.DONE);
    assertEquals("3", server.row("target", "SELECT count(*) FROM t7 WHERE y = z AND x <> y"));
  }

  @Test
  void aRowThatIsRefusedIsFoundAmongMillionsInLittleMemory() throws Exception {
    both("CREATE TABLE a (id int PRIMARY KEY)");
    server.execute("source", "INSERT INTO a SELECT generate_series(1, 2000000)");
    server.execute("target", "ALTER TABLE a ADD CONSTRAINT few CHECK (id <> 1777777)");
    Run run = copySmall("[public.a] = keep", "--piece-pages", "1000000");
    String told = "the row that has, masked, \"id\" = 1777777: a constraint is violated";
    assertTrue(run.expect(ExitCode.INPUT_OUTPUT).err().contains(told), run.err());
  }

  @Test
  void ctrlCEndsACopyThatCanBeResumed() throws Exception {
    fill(100000);
    Process process = begin("--piece-pages", "64");
    awaitPieces(process, 2);
    new ProcessBuilder("kill", "-INT", "" + process.pid()).start().waitFor();
    assertEquals(130, process.waitFor(), said());
    assertEquals("velk: stopped; the copy is not complete, --resume goes on with it\n", said());
    expectResumed(100000);
  }

  @Test
  void ctrlCBeforeAnythingIsCopiedSaysSo() throws Exception {
    fill(10);
    try (Connection other = server.connect("target");
        Statement statement = other.createStatement()) {
      // The lock of a session that writes pieces.
      statement.execute("SELECT pg_advisory_lock_shared(" + 0x76656c6b_636f707aL + ")");
      Process process = begin();
      await(
          "EXISTS (SELECT FROM pg_stat_activity WHERE application_name = 'velk copy' AND"
              + " wait_event_type = 'Lock')");
      new ProcessBuilder("kill", "-INT", "" + process.pid()).start().waitFor();
      assertEquals(130, process.waitFor(), said());
      assertEquals("velk: stopped; nothing was copied\n", said());
    }
    assertEquals(0, begin().waitFor(), said());
  }

  private static void await(String condition) throws Exception {
    for (long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(20);
        !server.row("postgres", "SELECT " + condition).equals("t"); ) {
      assertTrue(System.nanoTime() < end, condition);
      TimeUnit.MILLISECONDS.sleep(20);
    }
  }

  /** The server would else answer a copy that is gone first, which takes it as long as it takes. */
  @Test
  void aCopyThatIsKilledWhileTheServerIsAtWorkKeepsNoOtherOut() throws Exception {
    both("CREATE TABLE a (id serial, x text, y text)");
    server.execute("source", "INSERT INTO a (x) VALUES ('text')");
    String ours = "FROM pg_stat_activity WHERE application_name = 'velk copy'";
    try (Connection other = server.connect("target");
        Statement statement = other.createStatement()) {
      statement.execute("BEGIN; ALTER SEQUENCE a_id_seq CACHE 2");
      Process process = begin();
      await("EXISTS (SELECT " + ours + " AND query LIKE '%setval%' AND wait_event_type = 'Lock')");
      process.destroyForcibly().waitFor();
      await("NOT EXISTS (SELECT " + ours + ")");
    }
    copy(RULES, "--resume").expect(ExitCode.DONE);
    assertEquals("1", server.row("target", "SELECT count(*) FROM a WHERE x NOT LIKE 'text%'"));
  }

  @Test
  void aCopyWhoseSessionsAreEndedCanBeResumed() throws Exception {
    fill(100000);
    Process process = begin("--piece-pages", "64");
    awaitPieces(process, 2);
    server.execute(
        "postgres",
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = 'velk copy' AND query LIKE 'COPY%'");
    assertEquals(ExitCode.INPUT_OUTPUT, process.waitFor(), said());
    assertTrue(said().startsWith("velk: ") && !said().contains("text 1"), said());
    expectResumed(100000);
  }

  /** Pieces are not waited for to be on the disk; what a crash takes, it takes with its marks. */
  @Test
  void aCopyWhoseServerCrashesCanBeResumed() throws Exception {
    fill(100000);
    for (int crash = 1; crash <= 2; crash++) {
      Process process =
          crash == 1 ? begin("--piece-pages", "64") : begin("--piece-pages", "64", "--resume");
      awaitPieces(process, 2 * crash);
      server.crash();
      assertEquals(ExitCode.INPUT_OUTPUT, process.waitFor(), said());
      assertEquals(
          server.row("target", "SELECT coalesce(sum(rows), 0) FROM velk_copy.piece"),
          server.row("target", "SELECT count(*) FROM a"));
    }
    expectResumed(100000);
  }

  private Process beginAsSecret(Map<String, String> environment, String password)
      throws IOException {
    String url = "postgresql://secret" + password + "@127.0.0.1:" + server.port() + "/";
    List<String> arguments = arguments(url + "source", url + "target", "[public.a] = keep");
    ProcessBuilder builder = builder(arguments);
    builder.environment().putAll(environment);
    return builder.start();
  }

  /** Says nothing of the password, be it to the user or to whoever lists processes. */
  private void expect(int code, Process process) throws Exception {
    StringBuilder seen = new StringBuilder();
    while (process.isAlive()) {
      try {
        seen.append(Files.readString(Path.of("/proc/" + process.pid() + "/cmdline")));
      } catch (IOException e) {
        // It has ended meanwhile.
      }
    }
    assertEquals(code, process.exitValue(), said());
    assertFalse((said() + seen).contains(SECRET), said() + seen);
    server.execute("target", "DROP SCHEMA IF EXISTS velk_copy CASCADE");
    String titles = "SELECT count(*) FROM pg_stat_activity WHERE query LIKE '%" + "s3cret" + "%'";
    assertEquals("1", server.row("postgres", titles));
  }

  @Test
  void passwordsComeFromWhereNobodySeesThem() throws Exception {
    both("CREATE TABLE a (x text)");
    server.requirePassword("secret", SECRET);
    Map<String, String> none = Map.of();
    expect(ExitCode.INPUT_OUTPUT, beginAsSecret(none, ""));
    expect(
        ExitCode.DONE,
        beginAsSecret(Map.of("VELK_FROM_PASSWORD", SECRET, "VELK_TO_PASSWORD", SECRET), ""));
    expect(ExitCode.DONE, beginAsSecret(Map.of("PGPASSWORD", SECRET), ""));
    expect(
        ExitCode.INPUT_OUTPUT,
        beginAsSecret(Map.of("VELK_FROM_PASSWORD", SECRET, "VELK_TO_PASSWORD", "wrong"), ""));
    Path file = Files.writeString(folder.resolve("pass"), "*:*:*:secret:" + SECRET + "\n");
    Map<String, String> named = Map.of("PGPASSFILE", file.toString());
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-------"));
    expect(ExitCode.DONE, beginAsSecret(named, ""));
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-r-----"));
    expect(ExitCode.INPUT_OUTPUT, beginAsSecret(named, ""));
    assertTrue(said().contains("pass is not used, for others may use it too"), said());
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-------"));
    Files.move(file, folder.resolve(".pgpass"));
    expect(ExitCode.DONE, beginAsSecret(Map.of("VELK_JAVA_OPTIONS", "-Duser.home=" + folder), ""));
  }

  @Test
  void aTerminalIsAskedForThePassword() throws Exception {
    both("CREATE TABLE a (x text)");
    server.execute("source", "INSERT INTO a VALUES ('kept')");
    String name = "asked";
    server.requirePassword(name, SECRET);
    String url = "postgresql://" + name + "@127.0.0.1:" + server.port() + "/";
    List<String> arguments = arguments(url + "source", url + "target", "[public.a] = keep");
    String line = System.getProperty("velk.launcher") + " " + String.join(" ", arguments);
    ProcessBuilder builder = builder(List.of());
    builder.command("script", "-qec", line, "/dev/null");
    Process process = builder.start();
    for (int asked = 1; asked <= 2; asked++) {
      while (process.isAlive() && said().split("password of", -1).length <= asked) {
        TimeUnit.MILLISECONDS.sleep(20);
      }
      process.getOutputStream().write((SECRET + "\n").getBytes(StandardCharsets.UTF_8));
      process.getOutputStream().flush();
    }
    assertEquals(ExitCode.DONE, process.waitFor(), said());
    assertTrue(said().contains("password of " + url + "target: "), said());
    assertFalse(said().contains(SECRET), said());
    assertEquals("kept", server.row("target", "SELECT x FROM a"));
  }
}
