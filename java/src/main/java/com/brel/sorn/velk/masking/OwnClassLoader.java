package com.brel.sorn.velk.masking;

import java.io.File;
import java.io.IOException;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.jar.JarFile;
import java.util.stream.Stream;
import java.util.zip.ZipEntry;

/** The class loader that these classes are from: whether it can end, and whether it has. */
final class OwnClassLoader {
  private static final ClassLoader LOADER = OwnClassLoader.class.getClassLoader();
  private static final String CLASSES = "com/brel/sorn/velk/";
  private static final String SUFFIX = ".class";
  private static final String OWN_FILE = OwnClassLoader.class.getName().replace('.', '/') + SUFFIX;

  private OwnClassLoader() {}

  /** Whether it is one of an application in a virtual machine that it shares with others. */
  static boolean canBeClosed() {
    for (ClassLoader one = ClassLoader.getSystemClassLoader(); one != null; one = one.getParent()) {
      if (one == LOADER) {
        return false;
      }
    }
    return findsItself() && Files.exists(origin());
  }

  /** A closed one finds nothing, though it is where it was: a folder that is gone is no sign. */
  static boolean isClosed() {
    return !findsItself() && Files.exists(origin());
  }

  private static boolean findsItself() {
    try {
      return LOADER.getResource(OWN_FILE) != null;
    } catch (IllegalStateException e) {
      return false; // As some answer that were stopped.
    }
  }

  /**
   * Our jar, or our class file where we are in a folder; a path of no file where that is unknown.
   */
  private static Path origin() {
    try {
      Path place = root();
      return Files.isDirectory(place) ? place.resolve(OWN_FILE) : place;
    } catch (URISyntaxException | RuntimeException e) {
      return Path.of("unknown", OWN_FILE);
    }
  }

  private static Path root() throws URISyntaxException {
    return Path.of(
        OwnClassLoader.class.getProtectionDomain().getCodeSource().getLocation().toURI());
  }

  /** Loads each of our classes now, because it loads none when it is closed. */
  static void loadAll() throws IOException, URISyntaxException {
    for (String file : classFiles(root())) {
      String name = file.substring(0, file.length() - SUFFIX.length()).replace('/', '.');
      try {
        Class.forName(name, false, LOADER);
      } catch (ClassNotFoundException | LinkageError e) {
        // It was not needed so far either.
      }
    }
  }

  private static List<String> classFiles(Path root) throws IOException {
    if (Files.isDirectory(root)) {
      try (Stream<Path> tree = Files.walk(root.resolve(CLASSES))) {
        return classFiles(
            tree.map(file -> root.relativize(file).toString().replace(File.separatorChar, '/')));
      }
    }
    try (JarFile jar = new JarFile(root.toFile())) {
      return classFiles(jar.stream().map(ZipEntry::getName));
    }
  }

  private static List<String> classFiles(Stream<String> files) {
    return files.filter(file -> file.startsWith(CLASSES) && file.endsWith(SUFFIX)).toList();
  }
}
