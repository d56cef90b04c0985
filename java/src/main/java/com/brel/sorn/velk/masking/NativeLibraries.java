package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.EngineLibrary.Source;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.net.JarURLConnection;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.time.Instant;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.Set;
import java.util.TreeSet;
import java.util.jar.JarFile;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

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

  /** The jar's folder of a platform's libraries. */
  private static final Pattern INSIDE = Pattern.compile("native/([^/]+)/.+");

  /** How the folder of a copy is called: by the process that made it. */
  private static final Pattern COPY = Pattern.compile("velk-(\\d{1,18})-\\d+");

  private static EngineLibrary loaded;
  private static EngineLoadException brokenOff;

  private final Tried tried = new Tried();

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
    return found.orElseThrow(() -> new EngineLoadException(tried.toString()));
  }

  private Optional<EngineLibrary> loadFromProperty(String directory) {
    if (directory.isEmpty()) {
      tried.missing("the property velk.library.dir names no directory");
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
    List<String> absent =
        NAMES.stream()
            .map(name -> folder + System.mapLibraryName(name))
            .filter(resource -> NativeLibraries.class.getResource(resource) == null)
            .toList();
    if (absent.size() == NAMES.size()) {
      tried.missing("the jar: " + noneInside());
      return Optional.empty();
    }
    if (!absent.isEmpty()) {
      absent.forEach(resource -> tried.missing("the jar's " + resource + ": not there"));
      return Optional.empty();
    }
    Path temporary = Path.of(System.getProperty("java.io.tmpdir"));
    if (!Files.isDirectory(temporary)) {
      tried.failed(
          "the jar: its libraries are unpacked into the temporary folder, and there is no "
              + temporary
              + "; name another with -Djava.io.tmpdir");
      return Optional.empty();
    }
    try {
      return unpackAndLoad(folder, temporary);
    } catch (IOException e) {
      tried.failed("the jar: its libraries cannot be unpacked into " + temporary + ": " + e);
      return Optional.empty();
    }
  }

  /** That the jar has nothing for this platform, and what it has. */
  private static String noneInside() {
    String none = "it holds no libraries for " + platform();
    Set<String> others = new TreeSet<>();
    try {
      URL own = NativeLibraries.class.getResource("NativeLibraries.class");
      if (own.openConnection() instanceof JarURLConnection connection) {
        connection.setUseCaches(false);
        try (JarFile jar = connection.getJarFile()) {
          jar.stream()
              .map(entry -> INSIDE.matcher(entry.getName()))
              .filter(Matcher::matches)
              .forEach(inside -> others.add(inside.group(1)));
        }
      }
    } catch (IOException e) {
      // What it has instead is told where it can be.
    }
    return others.isEmpty() ? none : none + ", only for " + String.join(" and ", others);
  }

  /** The virtual machine removes the copy at its end, or this does where the copy is of no use. */
  private Optional<EngineLibrary> unpackAndLoad(String folder, Path temporary) throws IOException {
    if (onWindows()) {
      removeCopiesLeftBehind(temporary);
    }
    // Only this user may enter it, on Windows as far as that holds for every temporary file.
    Path directory =
        Files.createTempDirectory(temporary, "velk-" + ProcessHandle.current().pid() + "-");
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

  /**
   * On Windows a process cannot delete what it has loaded, not even at its end: the next one does.
   */
  private static void removeCopiesLeftBehind(Path temporary) {
    try (DirectoryStream<Path> copies = Files.newDirectoryStream(temporary, "velk-*")) {
      for (Path copy : copies) {
        if (isLeftBehind(copy)) {
          delete(copy);
        }
      }
    } catch (IOException | DirectoryIteratorException e) {
      // They do no harm but take room: another process will find them.
    }
  }

  /** Whether the process that made a copy has ended; another one may have its number by now. */
  static boolean isLeftBehind(Path copy) throws IOException {
    Matcher name = COPY.matcher(copy.getFileName().toString());
    if (!name.matches()) {
      return false;
    }
    Optional<ProcessHandle> process = ProcessHandle.of(Long.parseLong(name.group(1)));
    if (process.isEmpty()) {
      return true;
    }
    Instant made = Files.getLastModifiedTime(copy).toInstant();
    return process.get().info().startInstant().filter(made::isBefore).isPresent();
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
      if (source == Source.LIBRARY_PATH) {
        tried.nothingIn(place);
      } else {
        tried.missing(place + ": " + e.getMessage());
      }
      return Optional.empty();
    }
    if (!tried.isNew(directory) || !isComplete(directory, source) || !loadAll(directory)) {
      return Optional.empty();
    }
    return Optional.of(new EngineLibrary(identify(directory), directory, source));
  }

  private boolean isComplete(Path directory, Source source) {
    List<Path> absent =
        NAMES.stream()
            .map(name -> directory.resolve(System.mapLibraryName(name)))
            .filter(file -> !Files.isRegularFile(file))
            .toList();
    if (absent.size() == NAMES.size() && source == Source.LIBRARY_PATH) {
      tried.nothingIn(directory.toString());
    } else {
      absent.forEach(file -> tried.missing(file + ": not there"));
    }
    return absent.isEmpty();
  }

  /** Libraries of two places are never mixed: a failure behind the first one ends every search. */
  private boolean loadAll(Path directory) {
    for (String name : NAMES) {
      Path file = directory.resolve(System.mapLibraryName(name));
      try {
        System.load(file.toString());
      } catch (UnsatisfiedLinkError | IllegalCallerException e) {
        String why = e.getMessage();
        tried.failed(why.startsWith(file + ": ") ? why : file + ": " + why);
        if (!name.equals(NAMES.get(0))) {
          brokenOff = new EngineLoadException(tried.toString());
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
    return (onWindows() ? "windows" : system) + "-" + System.getProperty("os.arch");
  }

  static boolean onWindows() {
    return System.getProperty("os.name").startsWith("Windows");
  }
}
