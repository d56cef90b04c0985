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
    begin();
  }

  private void begin() throws Exception {
    String data = folder.resolve("data").toString();
    Path server = programs().resolve("postgres");
    start(
        asUser(USER, server, "-D", data, "-h", HOST, "-p", "" + port, "-k", "", "-F"), "postgres");
  }

  /** Ends it at once, as a crash would, and starts it anew. */
  void crash() throws Exception {
    run(List.of("kill", "-QUIT", "" + process().pid()));
    process().onExit().join();
    begin();
  }

  /** What it has written to its log. */
  String log() throws IOException {
    return Files.readString(folder.resolve("log"));
  }

  /** Sessions that begin from now on write no file that is longer; less than 1 for any length. */
  void limitFiles(long bytes) throws Exception {
    String limit = bytes < 1 ? "unlimited" : "" + bytes;
    run(
        asUser(
            USER,
            Path.of("/usr/bin/prlimit"),
            "--pid=" + process().pid(),
            "--fsize=" + limit + ":unlimited"));
  }

  /**
   * Makes a tablespace on a disk of its own, of so many megabytes.
   *
   * @return whether it was allowed to mount one: not everywhere is root
   */
  boolean createSmallDisk(String tablespace, int megabytes) throws Exception {
    Path disk = Files.createDirectory(folder.resolve(tablespace));
    try {
      run(List.of("mount", "-t", "tmpfs", "-o", "size=" + megabytes + "m", "tmpfs", "" + disk));
    } catch (IllegalStateException e) {
      return false;
    }
    run(List.of("chown", USER, "" + disk));
    execute("postgres", "CREATE TABLESPACE " + tablespace + " LOCATION '" + disk + "'");
    return true;
  }

  void enlargeDisk(String tablespace, int megabytes) throws Exception {
    String size = "remount,size=" + megabytes + "m";
    run(List.of("mount", "-o", size, "" + folder.resolve(tablespace)));
  }

  void removeDisk(String tablespace) throws Exception {
    run(List.of("umount", "-l", "" + folder.resolve(tablespace)));
  }

  /** Has a user asked for a password. */
  void requirePassword(String user, String password) throws IOException {
    execute("postgres", "CREATE ROLE " + user + " SUPERUSER LOGIN PASSWORD '" + password + "'");
    Path file = folder.resolve("data").resolve("pg_hba.conf");
    String rule = "host all " + user + " " + HOST + "/32 scram-sha-256\n";
    Files.writeString(file, rule + Files.readString(file));
    execute("postgres", "SELECT pg_reload_conf()");
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

  int port() {
    return port;
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
