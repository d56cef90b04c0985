package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;

/**
 * A PostgreSQL of Debian's in a temporary folder, on loopback alone. It does not run as root, so
 * that where the tests do, it is the package's own user's.
 */
final class TestServer extends TestDatabases {
  private static final String USER = "postgres";

  TestServer() throws Exception {
    super("velk-postgres", USER);
    String data = folder.resolve("data").toString();
    run(
        asUser(
            USER,
            programs().resolve("initdb"),
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
    List<String> command =
        asUser(
            USER,
            programs().resolve("postgres"),
            "-D",
            data,
            "-h",
            HOST,
            "-p",
            "" + port,
            "-k",
            "",
            "-F");
    start(command, "postgres");
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

  @Override
  Connection connect(String database) throws SQLException {
    return DriverManager.getConnection(
        "jdbc:postgresql://" + HOST + ":" + port + "/" + database, "velk", "");
  }

  @Override
  String url(String database) {
    return url("velk", database);
  }

  String url(String user, String database) {
    return "postgresql://" + user + "@" + HOST + ":" + port + "/" + database;
  }

  @Override
  void create(String database) {
    execute(
        "postgres",
        "DROP DATABASE IF EXISTS " + database + " WITH (FORCE)",
        "CREATE DATABASE " + database);
  }
}
