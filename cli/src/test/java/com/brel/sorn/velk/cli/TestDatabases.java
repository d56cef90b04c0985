package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;

/**
 * Databases of one make, in a temporary folder; a server listens on loopback alone. It does not run
 * as root, so that where the tests do, it is the package's own user's.
 */
abstract class TestDatabases implements AutoCloseable {
  static final String HOST = "127.0.0.1";
  private static final boolean IS_ROOT = "root".equals(System.getProperty("user.name"));

  final Path folder;
  final int port;
  private Process process;

  TestDatabases(String name, String user) throws Exception {
    folder = Files.createTempDirectory(name);
    port = freePort();
    if (IS_ROOT && user != null) {
      run(List.of("chown", user, folder.toString()));
    }
  }

  abstract Connection connect(String database) throws SQLException;

  /** As the command's options have it. */
  abstract String url(String database);

  /** A new empty database in place of any of that name. */
  abstract void create(String database);

  static List<String> asUser(String user, Path program, String... arguments) {
    List<String> command = new ArrayList<>();
    if (IS_ROOT) {
      command.addAll(List.of("setpriv", "--reuid=" + user, "--regid=" + user, "--clear-groups"));
    }
    command.add(program.toString());
    command.addAll(List.of(arguments));
    return command;
  }

  static void run(List<String> command) throws Exception {
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

  /** Starts a server, and waits until it takes a session in a database. */
  void start(List<String> command, String database) throws Exception {
    process =
        new ProcessBuilder(command)
            .redirectErrorStream(true)
            .redirectOutput(ProcessBuilder.Redirect.appendTo(folder.resolve("log").toFile()))
            .start();
    for (int i = 0; i < 600; i++) {
      try {
        connect(database).close();
        return;
      } catch (SQLException e) {
        TimeUnit.MILLISECONDS.sleep(100);
      }
    }
    throw new IllegalStateException(Files.readString(folder.resolve("log")));
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
      return texts(rows);
    } catch (SQLException e) {
      throw new IllegalStateException(sql, e);
    }
  }

  static List<String> texts(ResultSet rows) throws SQLException {
    List<String> all = new ArrayList<>();
    while (rows.next()) {
      StringBuilder row = new StringBuilder();
      for (int i = 1; i <= rows.getMetaData().getColumnCount(); i++) {
        row.append(i == 1 ? "" : "|").append(rows.getString(i));
      }
      all.add(row.toString());
    }
    return all;
  }

  String row(String database, String sql) {
    return rows(database, sql).get(0);
  }

  Process process() {
    return process;
  }

  @Override
  public void close() throws IOException {
    if (process != null) {
      process.destroy();
      process.onExit().join();
    }
    try (Stream<Path> files = Files.walk(folder)) {
      files.sorted(Comparator.reverseOrder()).forEach(TestDatabases::delete);
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
