package com.brel.sorn.velk.cli.database;

import java.net.MalformedURLException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.Driver;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;
import java.util.ServiceLoader;
import java.util.logging.Level;
import java.util.logging.Logger;

/** Finds drivers by their service files: beside the command, and in jars that are named. */
final class Drivers {
  private final List<Driver> drivers = new ArrayList<>();

  /**
   * Finds drivers.
   *
   * @param jars jars that are loaded by a class loader of their own
   * @throws CopyException if there is no such jar, or no driver in them
   */
  Drivers(List<Path> jars) {
    // What drivers tell a log of refused rows quotes their values.
    System.setProperty("mariadb.logging.disable", "true");
    Logger.getLogger("").setLevel(Level.OFF);
    ClassLoader own = Drivers.class.getClassLoader();
    // Stays open, for drivers load classes until their last connection is closed.
    ClassLoader loader = jars.isEmpty() ? own : new URLClassLoader(urls(jars), own);
    ServiceLoader.load(Driver.class, loader).forEach(drivers::add);
    boolean found =
        drivers.stream().anyMatch(driver -> driver.getClass().getClassLoader() == loader);
    if (!jars.isEmpty() && !found) {
      throw CopyException.refused("--driver-path: there is no JDBC driver in it");
    }
  }

  private static URL[] urls(List<Path> jars) {
    List<URL> urls = new ArrayList<>();
    for (Path jar : jars) {
      if (!Files.isRegularFile(jar)) {
        throw CopyException.refused("--driver-path: there is no file " + jar);
      }
      try {
        urls.add(jar.toUri().toURL());
      } catch (MalformedURLException e) {
        throw new IllegalStateException(e);
      }
    }
    return urls.toArray(URL[]::new);
  }

  /**
   * Connects.
   *
   * @throws CopyException if no driver knows such a URL
   */
  Connection connect(DatabaseUrl url, String address, Properties properties) throws SQLException {
    for (Driver driver : drivers) {
      if (driver.acceptsURL(address)) {
        return driver.connect(address, properties);
      }
    }
    throw CopyException.refused(
        url + ": no driver is found for it; --driver-path names the jars of one");
  }
}
