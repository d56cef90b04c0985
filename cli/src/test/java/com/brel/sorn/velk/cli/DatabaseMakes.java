package com.brel.sorn.velk.cli;

import java.nio.file.Path;
import java.util.Map;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.io.TempDir;

/** Databases of three makes, for the tests of a class. */
abstract class DatabaseMakes {
  static Map<String, TestDatabases> makes;

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    makes =
        Map.of("mariadb", new MariaDbServer(), "h2", new H2Files(), "postgres", new TestServer());
  }

  @AfterAll
  static void stop() throws Exception {
    for (TestDatabases databases : makes.values()) {
      databases.close();
    }
  }
}
