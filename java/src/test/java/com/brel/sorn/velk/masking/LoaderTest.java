package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.io.OutputStream;
import java.io.RandomAccessFile;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.time.Duration;
import java.time.Instant;
import java.util.List;
import java.util.jar.JarEntry;
import java.util.jar.JarOutputStream;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.EnabledForJreRange;
import org.junit.jupiter.api.io.TempDir;

class LoaderTest {
  private static final Path NATIVES =
      Path.of(System.getProperty("velk.library.dir")).toAbsolutePath().normalize();

  @TempDir Path folder;

  @Test
  void thePropertyNamesTheDirectory() throws Exception {
    ChildJvm child = probe(bareJar(), "-Dvelk.library.dir=" + NATIVES);
    assertLoaded(child, "PROPERTY", NATIVES);
  }

  @Test
  void theDirectoryMayHaveANameInAnyLanguageOfTheMachine() throws Exception {
    Path natives = copyOfNatives("Bücher à lire");
    ChildJvm child = probe(bareJar(), "-Dvelk.library.dir=" + natives);
    assertLoaded(child, "PROPERTY", natives);
  }

  @Test
  void thereIsNoFallbackBehindTheProperty() throws Exception {
    Path empty = Files.createDirectory(folder.resolve("empty"));
    ChildJvm child =
        probe(jarWithNatives(), "-Dvelk.library.dir=" + empty, "-Djava.library.path=" + NATIVES);
    assertSays(child, "attempt 0: the native libraries could not be loaded:");
    for (String name : NativeLibraries.NAMES) {
      assertSays(child, empty.resolve(System.mapLibraryName(name)) + ": not there");
    }
    assertFalse(child.output().contains(NATIVES.toString()));
    assertFalse(child.output().contains("source:"));
  }

  @Test
  void anEmptyPropertyNamesNoDirectory() throws Exception {
    ChildJvm child = probe(jarWithNatives(), "-Dvelk.library.dir=");
    assertSays(child, "loaded:\n  the property velk.library.dir names no directory\n");
    assertFalse(child.output().contains("source:"));
  }

  @Test
  @EnabledForJreRange(minVersion = 24)
  void aVirtualMachineThatForbidsNativeCodeIsNamedAsTheReason() throws Exception {
    ChildJvm child = probe(jarWithNatives(), "--illegal-native-access=deny");
    String first = System.mapLibraryName(NativeLibraries.NAMES.get(0));
    assertSays(child, "attempt 0: the native libraries could not be loaded:\n");
    assertTrue(child.output().matches("(?s).*" + first + ": .*native access.*"), child.output());
  }

  @Test
  void theLibraryPathIsSearchedForADirectoryThatHasAllFive() throws Exception {
    Path partial = copyOfNatives("partial");
    Files.delete(partial.resolve(System.mapLibraryName("VELKAdapter")));
    String path = folder.resolve("missing") + File.pathSeparator + partial + File.pathSeparator;
    ChildJvm child = probe(bareJar(), "-Djava.library.path=" + path + NATIVES);
    assertLoaded(child, "LIBRARY_PATH", NATIVES);
  }

  @Test
  void theLibraryPathGoesBeforeTheJar() throws Exception {
    assertLoaded(
        probe(jarWithNatives(), "-Djava.library.path=" + NATIVES), "LIBRARY_PATH", NATIVES);
  }

  @Test
  void theCopyInTheJarIsUnpackedPrivatelyAndRemoved() throws Exception {
    Path temporary = Files.createDirectory(folder.resolve("temporary"));
    String jar = jarWithNatives().toString();
    List<Path> left = unpackAndMask(jar, temporary);
    if (!NativeLibraries.onWindows()) {
      assertEquals(List.of(), left);
      return;
    }
    // There the next process removes it.
    assertEquals(1, left.size());
    List<Path> leftNext = unpackAndMask(jar, temporary);
    assertEquals(1, leftNext.size());
    assertNotEquals(left, leftNext);
  }

  /** What a process that loads the copy in the jar leaves in its temporary folder. */
  private List<Path> unpackAndMask(String jar, Path temporary) throws Exception {
    ChildJvm child =
        probe(
            Path.of(jar),
            "-Djava.io.tmpdir=" + temporary,
            "-Djava.library.path=" + folder.resolve("missing"));
    assertSays(child, "source: JAR");
    String permissions =
        NativeLibraries.onWindows() ? "those of the folder around it" : "rwx------";
    assertSays(child, "permissions: " + permissions + "\n");
    assertSays(child, "directory: " + temporary.resolve("velk-"));
    assertSays(child, "masked: ok");
    try (Stream<Path> left = Files.list(temporary)) {
      return left.toList();
    }
  }

  @Test
  void aCopyIsLeftBehindWhenTheProcessThatMadeItHasEnded() throws Exception {
    assertFalse(isLeftBehind("velk-" + ProcessHandle.current().pid() + "-1", Instant.now()));
    // A process of the past had the same number.
    Instant past = Instant.now().minus(Duration.ofDays(1));
    assertTrue(isLeftBehind("velk-" + ProcessHandle.current().pid() + "-2", past));
    assertTrue(isLeftBehind("velk-" + Integer.MAX_VALUE + "-3", Instant.now()));
    for (String other :
        List.of("velk-4", "velk-x-4", "velk-4-x", "velk-" + "9".repeat(30) + "-4")) {
      assertFalse(isLeftBehind(other, past), other);
    }
  }

  private boolean isLeftBehind(String name, Instant made) throws IOException {
    Path copy = Files.createDirectory(folder.resolve(name));
    Files.setLastModifiedTime(copy, FileTime.from(made));
    return NativeLibraries.isLeftBehind(copy);
  }

  @Test
  void aCopyOfTheJarThatDoesNotLoadIsRemovedAtOnce() throws Exception {
    for (String name : List.of(NativeLibraries.NAMES.get(0), "VELKJNI")) {
      Path temporary = Files.createDirectory(folder.resolve("temporary of " + name));
      Path natives = copyOfNatives("broken " + name);
      damage(natives.resolve(System.mapLibraryName(name)));
      ChildJvm child =
          probe(
              jar(natives),
              "-Djava.io.tmpdir=" + temporary,
              "-Djava.library.path=" + folder.resolve("missing"));
      assertSays(child, "attempt 0: the native libraries could not be loaded:\n");
      // On Windows what was loaded before the broken one stays until the next process.
      boolean stays = NativeLibraries.onWindows() && name.equals("VELKJNI");
      assertEquals(stays, !child.output().contains("temporary files: []\n"), child.output());
    }
  }

  @Test
  void aFailureListsEachPlaceOnceAndItsReasonsFirst() throws Exception {
    Path missing = folder.resolve("missing");
    Path empty = Files.createDirectory(folder.resolve("empty"));
    Path partial = copyOfNatives("partial");
    Path absent = partial.resolve(System.mapLibraryName("VELKAdapter"));
    Files.delete(absent);
    Path broken = copyOfNatives("broken");
    Path first = broken.resolve(System.mapLibraryName(NativeLibraries.NAMES.get(0)));
    damage(first);
    List<Path> path = List.of(missing, empty, partial, broken, empty, broken, partial);
    ChildJvm child =
        probe(
            bareJar(),
            "-Djava.library.path="
                + path.stream()
                    .map(Path::toString)
                    .collect(Collectors.joining(File.pathSeparator)));
    assertSays(
        child,
        "attempt 0: the native libraries could not be loaded:\n  "
            + whyNot(first)
            + "\n  "
            + absent
            + ": not there\n  the jar: it holds no libraries for "
            + NativeLibraries.platform()
            + "\nnone of them is in these directories of java.library.path:\n  "
            + missing
            + "\n  "
            + empty
            + "\ntemporary files:");
  }

  @Test
  void aJarForOtherPlatformsSaysWhichTheyAre() throws Exception {
    ChildJvm child = probe(jarWithNatives(), "-Dos.arch=vax", "-Djava.library.path=");
    String os = NativeLibraries.platform().replace(System.getProperty("os.arch"), "vax");
    assertSays(
        child,
        "could not be loaded:\n  the jar: it holds no libraries for "
            + os
            + ", only for "
            + NativeLibraries.platform()
            + "\n");
  }

  @Test
  void aJarThatLacksSomeOfTheLibrariesNamesThem() throws Exception {
    Path natives = copyOfNatives("partial");
    String adapter = System.mapLibraryName("VELKAdapter");
    Files.delete(natives.resolve(adapter));
    ChildJvm child = probe(jar(natives), "-Djava.library.path=");
    String resource = "/native/" + NativeLibraries.platform() + "/" + adapter;
    assertSays(child, "could not be loaded:\n  the jar's " + resource + ": not there\n");
  }

  @Test
  void aTemporaryFolderThatIsNotThereIsNamed() throws Exception {
    Path missing = folder.resolve("missing");
    ChildJvm child =
        probe(jarWithNatives(), "-Dvelk.probe.tmpdir=" + missing, "-Djava.library.path=");
    assertSays(
        child,
        "could not be loaded:\n  the jar: its libraries are unpacked into the temporary folder,"
            + " and there is no "
            + missing
            + "; name another with -Djava.io.tmpdir\n");
  }

  @Test
  void anotherClassLoaderOpensTheEngineOnlyWhenTheFirstHasClosedIt() throws Exception {
    Path jar = jarWithNatives();
    ChildJvm child =
        ChildJvm.run(
            List.of("-Djava.library.path=", "-Djava.io.tmpdir=" + folder),
            codeOf(ClassLoadersProbe.class).toString(),
            ClassLoadersProbe.class.getName(),
            jar.toString());
    assertEquals(0, child.exitCode(), child.output());
    assertSays(child, "first: open\nsecond, beside it: java.lang.IllegalStateException: another");
    assertSays(child, "\nsecond, after it: open\nfirst, beside it: java.lang.IllegalState");
    assertSays(child, "\nfirst, after it: open\n");
  }

  @Test
  void librariesOfAFolderAreThoseOfOneClassLoader() throws Exception {
    ChildJvm child =
        ChildJvm.run(
            List.of("-Dvelk.library.dir=" + NATIVES),
            codeOf(ClassLoadersProbe.class).toString(),
            ClassLoadersProbe.class.getName(),
            jarWithNatives().toString());
    assertEquals(0, child.exitCode(), child.output());
    String refusal = EngineLoadException.class.getName() + ": ";
    assertSays(child, "\nsecond, after it: " + refusal);
    assertSays(child, "already loaded in another classloader");
    assertSays(child, "\nfirst, after it: open\n");
  }

  @Test
  void aProcessThatInheritsPropertiesOpensTheEngineAllTheSame() throws Exception {
    try (Engine engine = Engine.open()) {
      String inherited = "-D" + OpenMark.PROPERTY + "=" + System.getProperty(OpenMark.PROPERTY);
      assertEquals("true", System.getProperty(OpenMark.PROPERTY));
      assertEquals(NATIVES, engine.library().directory());
      assertLoaded(
          probe(jarWithNatives(), inherited, "-Dvelk.library.dir=" + NATIVES), "PROPERTY", NATIVES);
    }
    assertNull(System.getProperty(OpenMark.PROPERTY));
  }

  @Test
  void aBrokenLibraryIsPassedOverWhileNothingIsLoaded() throws Exception {
    Path broken = copyOfNatives("broken");
    Path first = broken.resolve(System.mapLibraryName(NativeLibraries.NAMES.get(0)));
    damage(first);
    ChildJvm child =
        probe(bareJar(), "-Djava.library.path=" + broken + File.pathSeparator + NATIVES);
    assertLoaded(child, "LIBRARY_PATH", NATIVES);
  }

  @Test
  void aLibraryThatIsThereAndDoesNotLoadIsListedWithTheReason() throws Exception {
    Path broken = copyOfNatives("broken");
    Path first = broken.resolve(System.mapLibraryName(NativeLibraries.NAMES.get(0)));
    damage(first);
    ChildJvm child = probe(bareJar(), "-Djava.library.path=" + broken);
    assertSays(child, "loaded:\n  " + whyNot(first) + "\n");
  }

  /** What the virtual machine says when it is asked to load a library, whose name comes first. */
  private static String whyNot(Path library) {
    String refusal =
        assertThrows(UnsatisfiedLinkError.class, () -> System.load(library.toString()))
            .getMessage();
    assertTrue(refusal.startsWith(library + ": "), refusal);
    return refusal;
  }

  @Test
  void librariesOfTwoPlacesAreNeverMixed() throws Exception {
    Path broken = copyOfNatives("broken");
    Path last = broken.resolve(System.mapLibraryName("VELKJNI"));
    damage(last);
    ChildJvm child =
        probeTwice(bareJar(), "-Djava.library.path=" + broken + File.pathSeparator + NATIVES);
    String tried = "the native libraries could not be loaded:\n  " + whyNot(last) + "\n";
    assertSays(child, "attempt 0: " + tried);
    assertSays(child, "attempt 1: " + tried);
    assertFalse(child.output().contains("source:"));
  }

  @Test
  void anEngineThatSaysNothingKnownOfItselfIsUnidentified() throws Exception {
    assertEquals("unidentified engine", identify("\u007fELF and so on\0"));
    assertEquals("unidentified engine", identify("@(#)VELK reference engine without an end"));
    assertEquals("unidentified engine", identify("@(#)another engine 1.0\0"));
    assertEquals("unidentified engine", NativeLibraries.identify(folder.resolve("missing")));
  }

  @Test
  void anEngineIsIdentifiedByItsMarkedTextUpToTheZeroByte() throws Exception {
    assertEquals(
        "VELK reference engine 1.2.3", identify("\u007fELF\0@(#)VELK reference engine 1.2.3\0x"));
  }

  @Test
  void librariesOfTheSameNameElsewhereAreNotTaken() throws Exception {
    Path elsewhere = Files.createDirectory(folder.resolve("elsewhere"));
    for (String name : NativeLibraries.NAMES) {
      Files.writeString(elsewhere.resolve(System.mapLibraryName(name)), "taken, it would fail");
    }
    String path = NativeLibraries.onWindows() ? "PATH" : "LD_LIBRARY_PATH";
    ChildJvm child =
        ChildJvm.run(
            builder -> {
              builder.directory(elsewhere.toFile());
              builder
                  .environment()
                  .merge(path, elsewhere.toString(), (old, own) -> own + File.pathSeparator + old);
            },
            List.of("-Dvelk.library.dir=" + NATIVES),
            bareJar() + File.pathSeparator + codeOf(LoaderProbe.class),
            LoaderProbe.class.getName(),
            "1");
    assertLoaded(child, "PROPERTY", NATIVES);
  }

  /** Makes a library one of another machine. */
  private static void damage(Path library) throws IOException {
    try (RandomAccessFile file = new RandomAccessFile(library.toFile(), "rw")) {
      file.seek(NativeLibraries.onWindows() ? placeOfWindowsMachine(file) : 18);
      file.write(0xB7);
    }
  }

  /** Behind the four bytes that start the header proper, whose place is told in the first one. */
  private static long placeOfWindowsMachine(RandomAccessFile file) throws IOException {
    file.seek(0x3C);
    return Integer.toUnsignedLong(Integer.reverseBytes(file.readInt())) + 4;
  }

  private String identify(String content) throws IOException {
    Path file = folder.resolve(System.mapLibraryName("VELKProvider"));
    Files.write(file, content.getBytes(StandardCharsets.UTF_8));
    return NativeLibraries.identify(folder);
  }

  private static ChildJvm probe(Path jar, String... options) throws Exception {
    return run(jar, 1, options);
  }

  private static ChildJvm probeTwice(Path jar, String... options) throws Exception {
    return run(jar, 2, options);
  }

  private static ChildJvm run(Path jar, int attempts, String... options) throws Exception {
    String classPath = jar + File.pathSeparator + codeOf(LoaderProbe.class);
    ChildJvm child =
        ChildJvm.run(
            List.of(options), classPath, LoaderProbe.class.getName(), Integer.toString(attempts));
    assertEquals(0, child.exitCode(), child.output());
    return child;
  }

  private static void assertLoaded(ChildJvm child, String source, Path directory) {
    assertSays(child, "source: " + source + "\n");
    assertSays(child, "directory: " + directory + "\n");
    assertSays(child, "identification: VELK reference engine ");
    assertSays(child, "masked: ok\n");
  }

  private static void assertSays(ChildJvm child, String part) {
    assertTrue(child.output().contains(part), "\"" + part + "\" in:\n" + child.output());
  }

  private Path copyOfNatives(String name) throws IOException {
    Path copy = Files.createDirectory(folder.resolve(name));
    for (String library : NativeLibraries.NAMES) {
      String file = System.mapLibraryName(library);
      Files.copy(NATIVES.resolve(file), copy.resolve(file));
    }
    return copy;
  }

  private Path bareJar() throws Exception {
    return jar(null);
  }

  private Path jarWithNatives() throws Exception {
    return jar(NATIVES);
  }

  /** The classes under test in a jar, with the libraries of a directory or without any. */
  private Path jar(Path natives) throws Exception {
    Path jar = folder.resolve("velk.jar");
    Path classes = codeOf(Engine.class);
    try (OutputStream file = Files.newOutputStream(jar);
        JarOutputStream out = new JarOutputStream(file);
        Stream<Path> tree = Files.walk(classes.resolve("com"))) {
      for (Path entry : tree.filter(Files::isRegularFile).toList()) {
        add(out, classes.relativize(entry).toString(), entry);
      }
      for (String library : natives == null ? List.<String>of() : NativeLibraries.NAMES) {
        String name = System.mapLibraryName(library);
        if (Files.exists(natives.resolve(name))) {
          add(out, "native/" + NativeLibraries.platform() + "/" + name, natives.resolve(name));
        }
      }
    }
    return jar;
  }

  private static void add(JarOutputStream out, String name, Path content) throws IOException {
    out.putNextEntry(new JarEntry(name.replace(File.separatorChar, '/')));
    Files.copy(content, out);
    out.closeEntry();
  }

  private static Path codeOf(Class<?> type) throws URISyntaxException {
    return Path.of(type.getProtectionDomain().getCodeSource().getLocation().toURI());
  }
}
