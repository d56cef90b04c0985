package com.brel.sorn.velk.cli;

import java.nio.file.Path;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;

/** A MariaDB of Debian's. */
final class MariaDbServer extends TestDatabases {
  private static final String USER = "mysql";

  static {
    // Refused rows are what many tests are about; the command sees to its own process.
    System.setProperty("mariadb.logging.disable", "true");
  }

  MariaDbServer() throws Exception {
    super("velk-mariadb", USER);
    String data = "--datadir=" + folder.resolve("data");
    run(
        asUser(
            USER,
            Path.of("/usr/bin/mariadb-install-db"),
            "--no-defaults",
            data,
            "--auth-root-authentication-method=normal",
            "--skip-test-db"));
    start(
        asUser(
            USER,
            Path.of("/usr/sbin/mariadbd"),
            "--no-defaults",
            data,
            "--bind-address=" + HOST,
            "--port=" + port,
            "--socket=" + folder.resolve("socket"),
            "--default-time-zone=+05:00",
            "--character-set-server=utf8mb4",
            "--innodb-buffer-pool-size=32M",
            "--innodb-flush-log-at-trx-commit=0"),
        "");
  }

  @Override
  Connection connect(String database) throws SQLException {
    String where = "jdbc:mariadb://" + HOST + ":" + port + "/" + database;
    return DriverManager.getConnection(
        where + "?allowMultiQueries=true&tinyInt1isBit=false&yearIsDateType=false", "root", "");
  }

  @Override
  String url(String database) {
    return "mariadb://root@" + HOST + ":" + port + "/" + database;
  }

  @Override
  void create(String database) {
    execute("", "DROP DATABASE IF EXISTS " + database, "CREATE DATABASE " + database);
  }
}
