package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;

/**
 * A PostgreSQL of Debian's in a temporary folder, on loopback alone. It does not run as root, so
 * that where the tests do, it is the package's own user's.
 */
final class TestServer implements AutoCloseable {
  private static final boolean IS_ROOT = "root".equals(System.getProperty("user.name"));
  private static final String HOST = "127.0.0.1";

  private final Path folder;
  private final int port;
  private Process process;

  TestServer() throws Exception {
    folder = Files.createTempDirectory("velk-postgres");
    if (IS_ROOT) {
      run(List.of("chown", "postgres", folder.toString()));
    }
    String data = folder.resolve("data").toString();
    run(
        asUser(
            "initdb",
            "-D",
            data,
            "-U",
            "velk",
            "-A",
            "trust",
            "-E",
            "UTF8",
            "--no-sync",
            "--locale=C"));
    port = freePort();
    begin();
  }

  private void begin() throws Exception {
    List<String> command =
        asUser(
            "postgres",
            "-D",
            folder.resolve("data").toString(),
            "-h",
            HOST,
            "-p",
            "" + port,
            "-k",
            "",
            "-F");
    process =
        new ProcessBuilder(command)
            .redirectErrorStream(true)
            .redirectOutput(ProcessBuilder.Redirect.appendTo(folder.resolve("log").toFile()))
            .start();
    awaitStart();
  }

  /** Ends it at once, as a crash would, and starts it anew. */
  void crash() throws Exception {
    run(List.of("kill", "-QUIT", "" + process.pid()));
    process.onExit().join();
    begin();
  }

  /** Has a user asked for a password. */
  void requirePassword(String user, String password) throws IOException {
    execute("postgres", "CREATE ROLE " + user + " SUPERUSER LOGIN PASSWORD '" + password + "'");
    Path file = folder.resolve("data").resolve("pg_hba.conf");
    String rule = "host all " + user + " " + HOST + "/32 scram-sha-256\n";
    Files.writeString(file, rule + Files.readString(file));
    execute("postgres", "SELECT pg_reload_conf()");
  }

  int port() {
    return port;
  }

  private static List<String> asUser(String program, String... arguments) throws IOException {
    List<String> command = new ArrayList<>();
    if (IS_ROOT) {
      command.addAll(List.of("setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"));
    }
    command.add(programs().resolve(program).toString());
    command.addAll(List.of(arguments));
    return command;
  }

  /** The latest version's. */
  private static Path programs() throws IOException {
    try (Stream<Path> versions = Files.list(Path.of("/usr/lib/postgresql"))) {
      return versions
          .max(Comparator.comparingInt(path -> Integer.parseInt(path.getFileName().toString())))
          .orElseThrow()
          .resolve("bin");
    }
  }

  private static void run(List<String> command) throws Exception {
    Process run =
        new ProcessBuilder(command)
            .directory(new java.io.File("/"))
            .redirectErrorStream(true)
            .start();
    String said = new String(run.getInputStream().readAllBytes());
    if (run.waitFor() != 0) {
      throw new IllegalStateException(command + ": " + said);
    }
  }

  private static int freePort() throws IOException {
    try (ServerSocket socket = new ServerSocket(0, 1, InetAddress.getByName(HOST))) {
      return socket.getLocalPort();
    }
  }

  private void awaitStart() throws Exception {
    for (int i = 0; i < 600; i++) {
      try {
        connect("postgres").close();
        return;
      } catch (SQLException e) {
        TimeUnit.MILLISECONDS.sleep(100);
      }
    }
    throw new IllegalStateException(Files.readString(folder.resolve("log")));
  }

  Connection connect(String database) throws SQLException {
    return DriverManager.getConnection(
        "jdbc:postgresql://" + HOST + ":" + port + "/" + database, "velk", "");
  }

  String url(String database) {
    return url("velk", database);
  }

  String url(String user, String database) {
    return "postgresql://" + user + "@" + HOST + ":" + port + "/" + database;
  }

  /** A new empty database in place of any of that name. */
  void create(String database) {
    execute(
        "postgres",
        "DROP DATABASE IF EXISTS " + database + " WITH (FORCE)",
        "CREATE DATABASE " + database);
  }

  void execute(String database, String... statements) {
    try (Connection connection = connect(database);
        Statement statement = connection.createStatement()) {
      for (String sql : statements) {
        statement.execute(sql);
      }
    } catch (SQLException e) {
      throw new IllegalStateException(e);
    }
  }

  /** The rows of a query, their values between bars. */
  List<String> rows(String database, String sql) {
    try (Connection connection = connect(database);
        Statement statement = connection.createStatement();
        ResultSet rows = statement.executeQuery(sql)) {
      List<String> all = new ArrayList<>();
      while (rows.next()) {
        StringBuilder row = new StringBuilder();
        for (int i = 1; i <= rows.getMetaData().getColumnCount(); i++) {
          row.append(i == 1 ? "" : "|").append(rows.getString(i));
        }
        all.add(row.toString());
      }
      return all;
    } catch (SQLException e) {
      throw new IllegalStateException(sql, e);
    }
  }

  String row(String database, String sql) {
    return rows(database, sql).get(0);
  }

  @Override
  public void close() throws IOException {
    process.destroy();
    process.onExit().join();
    try (Stream<Path> files = Files.walk(folder)) {
      files.sorted(Comparator.reverseOrder()).forEach(TestServer::delete);
    }
  }

  private static void delete(Path file) {
    try {
      Files.delete(file);
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }
}
