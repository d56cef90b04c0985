package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.URISyntaxException;
import java.nio.file.Path;
import java.sql.DriverManager;
import java.sql.SQLException;
import java.util.Enumeration;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;

/**
 * Loads what a copy of a database may need and runs the command, for an archive of classes: where
 * one is made there is no database to copy.
 */
final class CopyClasses {
  private static final String OWN = "com/brel/sorn/velk/cli/";
  private static final String DRIVER = "org/postgresql/";

  private CopyClasses() {}

  /**
   * Loads the classes, then runs the command.
   *
   * @param arguments the command's
   * @throws Exception if the jars cannot be read
   */
  public static void main(String[] arguments) throws Exception {
    load(CopyClasses.class, OWN);
    load(Class.forName("org.postgresql.Driver"), DRIVER);
    connect();
    Velk.main(arguments);
  }

  /** Connects to a server of this process that hangs up, which takes what connecting does. */
  private static void connect() throws IOException {
    try (ServerSocket server = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
      Thread thread = new Thread(() -> hangUp(server));
      thread.setDaemon(true);
      thread.start();
      DriverManager.getConnection(
              "jdbc:postgresql://127.0.0.1:" + server.getLocalPort() + "/none", "nobody", "none")
          .close();
    } catch (SQLException e) {
      // As it must be.
    }
  }

  private static void hangUp(ServerSocket server) {
    try {
      server.accept().close();
    } catch (IOException e) {
      // Nobody has called.
    }
  }

  /** Loads all classes of a jar that are in a package or below. */
  private static void load(Class<?> ofJar, String folder) throws IOException, URISyntaxException {
    Path jar = Path.of(ofJar.getProtectionDomain().getCodeSource().getLocation().toURI());
    try (JarFile file = new JarFile(jar.toFile())) {
      Enumeration<JarEntry> entries = file.entries();
      while (entries.hasMoreElements()) {
        String name = entries.nextElement().getName();
        if (name.startsWith(folder) && name.endsWith(".class")) {
          load(name.substring(0, name.length() - ".class".length()).replace('/', '.'));
        }
      }
    }
  }

  private static void load(String name) {
    try {
      Class.forName(name, false, CopyClasses.class.getClassLoader());
    } catch (ClassNotFoundException | LinkageError e) {
      // It is for a library that is not here, and no copy needs it.
    }
  }
}
