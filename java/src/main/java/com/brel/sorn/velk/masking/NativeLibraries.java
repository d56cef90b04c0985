package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.EngineLibrary.Source;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Optional;

/**
 * Loads the bridge and the engine's four libraries, all from one place: the directory that {@code
 * velk.library.dir} names and no other, else a directory of {@code java.library.path}, else the
 * copy in the jar.
 */
final class NativeLibraries {
  /** The engine's libraries stand first, so that the bridge finds these and no others. */
  static final List<String> NAMES =
      List.of("VELKDataCnvLib", "VELKProvider", "VELKParser", "VELKAdapter", "VELKJNI");

  private static final String MARK = "@(#)";
  private static final String KNOWN_ENGINE = MARK + "VELK reference engine ";

  private static EngineLibrary loaded;
  private static EngineLoadException brokenOff;

  private final List<String> tried = new ArrayList<>();

  private NativeLibraries() {}

  static synchronized EngineLibrary load() {
    if (brokenOff != null) {
      throw brokenOff;
    }
    if (loaded == null) {
      loaded = new NativeLibraries().search();
    }
    return loaded;
  }

  private EngineLibrary search() {
    String explicit = System.getProperty("velk.library.dir");
    Optional<EngineLibrary> found =
        explicit != null ? loadFromProperty(explicit) : searchLibraryPath().or(this::loadFromJar);
    return found.orElseThrow(() -> new EngineLoadException(tried));
  }

  private Optional<EngineLibrary> loadFromProperty(String directory) {
    if (directory.isEmpty()) {
      tried.add("the property velk.library.dir names no directory");
      return Optional.empty();
    }
    return loadFrom(directory, Source.PROPERTY);
  }

  private Optional<EngineLibrary> searchLibraryPath() {
    for (String directory : System.getProperty("java.library.path", "").split(File.pathSeparator)) {
      Optional<EngineLibrary> found =
          directory.isEmpty() ? Optional.empty() : loadFrom(directory, Source.LIBRARY_PATH);
      if (found.isPresent()) {
        return found;
      }
    }
    return Optional.empty();
  }

  private Optional<EngineLibrary> loadFromJar() {
    String folder = "/native/" + platform() + "/";
    for (String name : NAMES) {
      String resource = folder + System.mapLibraryName(name);
      if (NativeLibraries.class.getResource(resource) == null) {
        tried.add("the jar's " + resource + ": not there");
        return Optional.empty();
      }
    }
    try {
      return unpackAndLoad(folder);
    } catch (IOException e) {
      tried.add("the jar's " + folder + ": " + e);
      return Optional.empty();
    }
  }

  /** The virtual machine removes the copy at its end, or this does where the copy is of no use. */
  private Optional<EngineLibrary> unpackAndLoad(String folder) throws IOException {
    // Only this user may enter it.
    Path directory = Files.createTempDirectory("velk-");
    directory.toFile().deleteOnExit();
    Optional<EngineLibrary> found = Optional.empty();
    try {
      unpack(folder, directory);
      found = loadFrom(directory.toString(), Source.JAR);
    } finally {
      if (found.isEmpty()) {
        delete(directory);
      }
    }
    return found;
  }

  private static void unpack(String folder, Path directory) throws IOException {
    for (String name : NAMES) {
      String file = System.mapLibraryName(name);
      Path target = directory.resolve(file);
      target.toFile().deleteOnExit();
      try (InputStream in = NativeLibraries.class.getResourceAsStream(folder + file)) {
        Files.copy(in, target);
      }
    }
  }

  /** What cannot be deleted yet is left to the virtual machine. */
  private static void delete(Path directory) {
    for (String name : NAMES) {
      directory.resolve(System.mapLibraryName(name)).toFile().delete();
    }
    directory.toFile().delete();
  }

  private Optional<EngineLibrary> loadFrom(String place, Source source) {
    Path directory;
    try {
      directory = Path.of(place).toAbsolutePath().normalize();
    } catch (InvalidPathException e) {
      tried.add(place + ": " + e.getMessage());
      return Optional.empty();
    }
    if (!isComplete(directory) || !loadAll(directory)) {
      return Optional.empty();
    }
    return Optional.of(new EngineLibrary(identify(directory), directory, source));
  }

  private boolean isComplete(Path directory) {
    boolean complete = true;
    for (String name : NAMES) {
      Path file = directory.resolve(System.mapLibraryName(name));
      if (!Files.isRegularFile(file)) {
        tried.add(file + ": not there");
        complete = false;
      }
    }
    return complete;
  }

  /** Libraries of two places are never mixed: a failure behind the first one ends every search. */
  private boolean loadAll(Path directory) {
    for (String name : NAMES) {
      Path file = directory.resolve(System.mapLibraryName(name));
      try {
        System.load(file.toString());
      } catch (UnsatisfiedLinkError | IllegalCallerException e) {
        tried.add(file + ": " + e.getMessage());
        if (!name.equals(NAMES.get(0))) {
          brokenOff = new EngineLoadException(tried);
          throw brokenOff;
        }
        return false;
      }
    }
    return true;
  }

  /** What the provider library says of itself: a marked text up to its zero byte. */
  static String identify(Path directory) {
    try {
      byte[] bytes = Files.readAllBytes(directory.resolve(System.mapLibraryName("VELKProvider")));
      String text = new String(bytes, StandardCharsets.ISO_8859_1);
      int start = text.indexOf(KNOWN_ENGINE);
      int end = text.indexOf('\0', Math.max(start, 0));
      if (start >= 0 && end >= 0) {
        int from = start + MARK.length();
        return new String(bytes, from, end - from, StandardCharsets.UTF_8);
      }
    } catch (IOException e) {
      // A loaded library that cannot be read says nothing of itself.
    }
    return EngineLibrary.UNIDENTIFIED;
  }

  /** The jar's folder for this machine, which its build names by the machine it ran on. */
  static String platform() {
    String system = System.getProperty("os.name").toLowerCase(Locale.ROOT);
    String machine = System.getProperty("os.arch");
    return (system.startsWith("windows") ? "windows" : system) + "-" + machine;
  }
}
