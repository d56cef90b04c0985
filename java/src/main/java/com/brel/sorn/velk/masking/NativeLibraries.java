package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.EngineLibrary.Source;
import java.io.File;
import java.io.IOException;
import java.lang.System.Logger.Level;
import java.net.JarURLConnection;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.Set;
import java.util.TreeSet;
import java.util.jar.JarFile;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/**
 * Loads the engine's four libraries, the bridge and the bulk lane, all from one place: the
 * directory that {@code velk.library.dir} names and no other, else a directory of {@code
 * java.library.path}, else the one that {@code velk.library.packaged} names, else the copy in the
 * jar.
 */
final class NativeLibraries {
  /** The engine's libraries stand first, so that the others find these and none else. */
  static final List<String> NAMES =
      List.of("VELKDataCnvLib", "VELKProvider", "VELKParser", "VELKAdapter", "VELKJNI", "VELKBulk");

  private static final String MARK = "@(#)";
  private static final String KNOWN_ENGINE = MARK + "VELK reference engine ";

  /** The jar's folder of a platform's libraries. */
  private static final Pattern INSIDE = Pattern.compile("native/([^/]+)/.+");

  private static @Nullable EngineLibrary loaded;

  /** What was tried when some of the libraries of a place were loaded and others were not. */
  private static @Nullable Tried brokenOff;

  private final Tried tried = new Tried();

  private NativeLibraries() {}

  static synchronized EngineLibrary load() {
    if (brokenOff != null) {
      throw brokenOff.failure();
    }
    EngineLibrary library = loaded;
    if (library == null) {
      library = new NativeLibraries().search();
      loaded = library;
      String what = library.identification() + " from " + library.directory();
      System.getLogger("com.brel.sorn.velk").log(Level.DEBUG, "loaded {0}", what);
    }
    return library;
  }

  private EngineLibrary search() {
    String explicit = System.getProperty("velk.library.dir");
    Optional<EngineLibrary> found =
        explicit != null
            ? loadFromProperty(explicit)
            : searchLibraryPath().or(this::loadFromPackage).or(this::loadFromJar);
    return found.orElseThrow(tried::failure);
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

  private Optional<EngineLibrary> loadFromPackage() {
    return Optional.ofNullable(System.getProperty("velk.library.packaged"))
        .flatMap(directory -> loadFrom(directory, Source.PACKAGE));
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
              + "; name another with -Djava.io.tmpdir",
          null);
      return Optional.empty();
    }
    try {
      return unpackAndLoad(folder, temporary);
    } catch (IOException e) {
      tried.failed("the jar: its libraries cannot be unpacked into " + temporary + ": " + e, e);
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

  /** A library that is loaded needs its file no longer, except on Windows. */
  private Optional<EngineLibrary> unpackAndLoad(String folder, Path temporary) throws IOException {
    UnpackedCopy copy = UnpackedCopy.make(temporary);
    try {
      copy.unpack(folder, NAMES.stream().map(System::mapLibraryName).toList());
      return loadFrom(copy.directory().toString(), Source.JAR);
    } finally {
      copy.remove();
    }
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
    if (!tried.isNew(directory) || !isComplete(directory, source) || !loadAll(directory, source)) {
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
  private boolean loadAll(Path directory, Source source) {
    for (String name : NAMES) {
      Path file = directory.resolve(System.mapLibraryName(name));
      try {
        System.load(file.toString());
      } catch (UnsatisfiedLinkError | IllegalCallerException e) {
        String why = e.getMessage();
        String what = why.startsWith(file + ": ") ? why : file + ": " + why;
        tried.failed(what + Remedy.of(e, directory, source), e);
        if (!name.equals(NAMES.get(0))) {
          brokenOff = tried;
          throw tried.failure();
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
