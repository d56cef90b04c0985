package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;

/** Databases of H2 in files, which are closed with their last session. */
final class H2Files extends TestDatabases {
  H2Files() throws Exception {
    super("velk-h2", null);
  }

  @Override
  Connection connect(String database) throws SQLException {
    return DriverManager.getConnection(address(database), "sa", "");
  }

  private String address(String database) {
    return "jdbc:h2:" + folder.resolve(database);
  }

  @Override
  String url(String database) {
    return address(database) + ";USER=sa";
  }

  @Override
  void create(String database) {
    try {
      Files.deleteIfExists(folder.resolve(database + ".mv.db"));
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
    execute(database, "SELECT 1");
  }
}
