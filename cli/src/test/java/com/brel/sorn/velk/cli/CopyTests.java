package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.io.TempDir;

/** A server with a database to copy from and one to copy into. */
abstract class CopyTests {
  static final String HEAD = "service=s key=env:MASK_KEY\n";
  static TestServer server;

  @TempDir Path folder;

  @BeforeAll
  static void start() throws Exception {
    server = new TestServer();
  }

  @AfterAll
  static void stop() throws Exception {
    server.close();
  }

  static void both(String... statements) {
    for (String database : List.of("source", "target")) {
      server.create(database);
      server.execute(database, statements);
    }
  }

  Run copy(String rules, String... more) throws IOException {
    return copyTo(server.url("source"), server.url("target"), rules, more);
  }

  Run copyTo(String from, String to, String rules, String... more) throws IOException {
    return Run.velk(arguments(from, to, rules, more).toArray(String[]::new));
  }

  List<String> arguments(String from, String to, String rules, String... more) throws IOException {
    Path file = Files.writeString(folder.resolve("rules"), rules);
    List<String> arguments =
        new ArrayList<>(List.of("copy", "--from", from, "--to", to, "-r", file.toString(), "-q"));
    arguments.addAll(List.of(more));
    return arguments;
  }

  static void assertSame(String sql) {
    org.junit.jupiter.api.Assertions.assertEquals(
        server.rows("source", sql), server.rows("target", sql), sql);
  }
}
