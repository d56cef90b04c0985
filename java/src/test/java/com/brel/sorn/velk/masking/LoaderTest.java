package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
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
    assertSays(child, "; allow it by starting Java with --enable-native-access=ALL-UNNAMED\n");
    assertSays(child, "cause: java.lang.IllegalCallerException\n");
  }

  @Test
  void aFolderThatForbidsExecutingIsNamedWithTheRemedy() throws Exception {
    Path forbidden = Files.createDirectory(folder.resolve("no exec"));
    String advice =
        "; the file system of %s forbids executing (noexec): name another temporary folder with"
            + " -Djava.io.tmpdir, or a folder that holds the libraries with -Dvelk.library.dir\n";
    ChildJvm child =
        probeOnMountWithoutExecution(
            forbidden, jarWithNatives(), "-Djava.library.path=", "-Djava.io.tmpdir=" + forbidden);
    String copy = forbidden.resolve("velk-") + "[0-9]+-[0-9]+";
    String pattern = Pattern.quote(advice).replace("%s", "\\E" + copy + "\\Q");
    assertTrue(Pattern.compile(pattern).matcher(child.output()).find(), child.output());
    assertSays(child, "cause: java.lang.UnsatisfiedLinkError\n");
    assertSays(child, "temporary files: []\n");
  }

  @Test
  void librariesOnAMountThatForbidsExecutingAreToBePutElsewhere() throws Exception {
    Path forbidden = Files.createDirectory(folder.resolve("no exec"));
    ChildJvm child =
        probeOnMountWithoutExecution(
            forbidden, bareJar(), "-Dvelk.library.dir=" + forbidden.resolve("lib"));
    assertSays(
        child,
        "; the file system of "
            + forbidden.resolve("lib")
            + " forbids executing (noexec): put the libraries somewhere else\n");
  }

  /** The mount is seen by the probe alone and has a copy of the libraries in its folder lib. */
  private static ChildJvm probeOnMountWithoutExecution(Path place, Path jar, String... options)
      throws Exception {
    String mount = "mount -t tmpfs -o noexec tmpfs \"$0\"";
    List<String> alone = List.of("unshare", "--map-root-user", "--mount", "sh", "-c");
    assumeTrue(mayMount(alone, mount, place), "mounting is not allowed here");
    String script = mount + " && cp -rL \"$1\" \"$0/lib\" && shift && exec \"$@\"";
    return ChildJvm.run(
        builder -> {
          List<String> command = new ArrayList<>(alone);
          command.addAll(List.of(script, place.toString(), NATIVES.toString()));
          command.addAll(builder.command());
          builder.command(command);
        },
        List.of(options),
        jar + File.pathSeparator + TestJar.codeOf(LoaderProbe.class),
        LoaderProbe.class.getName(),
        "1");
  }

  private static boolean mayMount(List<String> alone, String mount, Path place) throws Exception {
    List<String> command = new ArrayList<>(alone);
    command.addAll(List.of(mount, place.toString()));
    try {
      return new ProcessBuilder(command).start().waitFor() == 0;
    } catch (IOException e) {
      return false;
    }
  }

  @Test
  void theLibraryPathIsSearchedForADirectoryThatHasThemAll() throws Exception {
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
  void thePackagesFolderGoesBeforeTheJarAndBehindTheLibraryPath() throws Exception {
    Path packaged = copyOfNatives("packaged");
    String option = "-Dvelk.library.packaged=" + packaged;
    Path temporary = Files.createDirectory(folder.resolve("temporary"));
    ChildJvm child =
        probe(
            jarWithNatives(),
            option,
            "-Djava.library.path=" + temporary,
            "-Djava.io.tmpdir=" + temporary);
    assertLoaded(child, "PACKAGE", packaged);
    assertEquals(List.of(), filesOf(temporary));
    Path jar = jarWithNatives();
    assertLoaded(probe(jar, option, "-Djava.library.path=" + NATIVES), "LIBRARY_PATH", NATIVES);
    assertLoaded(probe(jar, option, "-Dvelk.library.dir=" + NATIVES), "PROPERTY", NATIVES);
  }

  @Test
  void aPackageThatLacksALibraryIsPassedOver() throws Exception {
    Path packaged = copyOfNatives("packaged");
    Files.delete(packaged.resolve(System.mapLibraryName("VELKBulk")));
    ChildJvm child =
        probe(
            jarWithNatives(),
            "-Dvelk.library.packaged=" + packaged,
            "-Djava.library.path=",
            "-Djava.io.tmpdir=" + folder);
    assertSays(child, "source: JAR\n");
    assertSays(child, "masked: ok\n");
  }

  @Test
  void aLineOfTheLogSaysOnceWhichEngineWasLoaded() throws Exception {
    Path config = folder.resolve("logging.properties");
    Files.writeString(
        config,
        """
        handlers=java.util.logging.ConsoleHandler
        java.util.logging.ConsoleHandler.level=FINE
        com.brel.sorn.velk.level=FINE
        """);
    String library = "-Dvelk.library.dir=" + NATIVES;
    ChildJvm child = probeTwice(bareJar(), library, "-Djava.util.logging.config.file=" + config);
    String line = "FINE: loaded " + engineOf(child) + " from " + NATIVES + "\n";
    assertEquals(2, child.output().split(Pattern.quote(line), -1).length, child.output());
    assertFalse(probe(bareJar(), library).output().contains("loaded "));
  }

  private static String engineOf(ChildJvm child) {
    Matcher said = Pattern.compile("identification: (VELK .*)").matcher(child.output());
    assertTrue(said.find(), child.output());
    return said.group(1);
  }

  @Test
  void theCopyInTheJarIsRemovedOnceItIsLoaded() throws Exception {
    assertCopiesGo(false);
  }

  @Test
  void aKilledProcessLeavesNoCopyForGood() throws Exception {
    assertCopiesGo(true);
  }

  /** Windows keeps what is loaded: there the next process removes it. */
  private void assertCopiesGo(boolean killed) throws Exception {
    Path temporary = Files.createDirectory(folder.resolve("temporary"));
    List<Path> left = unpackAndMask(temporary, killed);
    if (!NativeLibraries.onWindows()) {
      assertEquals(List.of(), left);
      return;
    }
    assertEquals(1, left.size());
    List<Path> leftNext = unpackAndMask(temporary, killed);
    assertEquals(1, leftNext.size());
    assertNotEquals(left, leftNext);
  }

  /** What a process that loads the copy in the jar leaves in its temporary folder. */
  private List<Path> unpackAndMask(Path temporary, boolean killed) throws Exception {
    ChildJvm child =
        probe(
            jarWithNatives(),
            "-Djava.io.tmpdir=" + temporary,
            "-Djava.library.path=" + folder.resolve("missing"),
            "-Dvelk.probe.killed=" + killed);
    assertSays(child, "source: JAR");
    assertSays(child, "directory: " + temporary.resolve("velk-"));
    boolean stays = NativeLibraries.onWindows();
    assertEquals(stays, !child.output().contains("while it is open: []\n"), child.output());
    assertSays(child, "masked: ok");
    return filesOf(temporary);
  }

  private static List<Path> filesOf(Path directory) throws IOException {
    try (Stream<Path> files = Files.list(directory)) {
      return files.toList();
    }
  }

  @Test
  void processesThatStartAtOnceDoNotTakeEachOthersCopies() throws Exception {
    Path temporary = Files.createDirectory(folder.resolve("temporary"));
    Path jar = jarWithNatives();
    ExecutorService threads = Executors.newFixedThreadPool(3);
    try {
      List<Future<ChildJvm>> children = new ArrayList<>();
      for (int i = 0; i < 6; i++) {
        children.add(
            threads.submit(
                () ->
                    probe(jar, "-Djava.io.tmpdir=" + temporary, "-Djava.library.path=" + folder)));
      }
      for (Future<ChildJvm> child : children) {
        assertSays(child.get(), "masked: ok");
      }
    } finally {
      threads.shutdown();
    }
    if (!NativeLibraries.onWindows()) {
      assertEquals(List.of(), filesOf(temporary));
    }
  }

  @Test
  void aCopyOfTheJarThatDoesNotLoadIsRemovedAtOnce() throws Exception {
    for (String name : List.of(NativeLibraries.NAMES.get(0), "VELKJNI", "VELKBulk")) {
      Path temporary = Files.createDirectory(folder.resolve("temporary of " + name));
      Path natives = copyOfNatives("broken " + name);
      damage(natives.resolve(System.mapLibraryName(name)));
      ChildJvm child =
          probe(
              TestJar.make(folder, natives),
              "-Djava.io.tmpdir=" + temporary,
              "-Djava.library.path=" + folder.resolve("missing"));
      assertSays(child, "attempt 0: the native libraries could not be loaded:\n");
      // On Windows what was loaded before the broken one stays until the next process.
      boolean stays = NativeLibraries.onWindows() && !name.equals(NativeLibraries.NAMES.get(0));
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
            + "\ntold before: false\ncause: java.lang.UnsatisfiedLinkError\n");
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
    ChildJvm child = probe(TestJar.make(folder, natives), "-Djava.library.path=");
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
    ChildJvm child = classLoaders("one after the other", jarWithNatives());
    assertSays(child, "first: open\nsecond, beside it: java.lang.IllegalStateException: another");
    assertSays(child, "\nsecond, after it: open\nfirst, beside it: java.lang.IllegalState");
    assertSays(child, "\nfirst, after it: open\n");
  }

  @Test
  void librariesOfAFolderAreThoseOfOneClassLoader() throws Exception {
    ChildJvm child =
        classLoaders("one after the other", jarWithNatives(), "-Dvelk.library.dir=" + NATIVES);
    String refusal = EngineLoadException.class.getName() + ": ";
    assertSays(child, "\nsecond, after it: " + refusal);
    assertSays(child, "already loaded in another classloader");
    assertSays(child, "\nfirst, after it: open\n");
  }

  @Test
  void anEngineThatAnEndedApplicationLeftOpenIsClosedByTheNext() throws Exception {
    ChildJvm child = classLoaders("one ended", jarWithNatives());
    // As long as its class loader is not closed, it has not ended.
    assertSays(child, "first: open\nsecond, beside it: java.lang.IllegalStateException: another");
    assertSays(child, "\nsecond, after its end: open\n");
    // What is left of the first reaches no service of the second, and does not end it.
    String closed = "java.lang.IllegalStateException: the engine is closed";
    assertSays(child, "\nof the first: " + closed + "\nof the second: parsed\n");
    assertSays(child, "\nthird, after both: open\n");
  }

  @Test
  void anEngineIsNotClosedOnlyBecauseItsFilesAreGone() throws Exception {
    Path classes = unpack(jarWithNatives(), folder.resolve("classes"));
    ChildJvm child = classLoaders("one lost its files", List.of(classes, jarWithNatives()));
    assertSays(child, "first: open\nsecond, beside it: java.lang.IllegalStateException: another");
    assertSays(child, "\nof the first: parsed\n");
  }

  @Test
  void anEngineThatIsMaskingIsNotClosed() throws Exception {
    ChildJvm child = classLoaders("one is masking", jarWithNatives());
    assertSays(child, "first: open\nsecond, meanwhile: java.lang.IllegalStateException: another");
  }

  private ChildJvm classLoaders(String way, Path jar, String... options) throws Exception {
    return classLoaders(way, List.of(jar), options);
  }

  private ChildJvm classLoaders(String way, List<Path> jars, String... more) throws Exception {
    List<String> options =
        new ArrayList<>(List.of("-Djava.library.path=", "-Djava.io.tmpdir=" + folder));
    options.addAll(List.of(more));
    List<String> arguments = new ArrayList<>(List.of(way));
    jars.forEach(jar -> arguments.add(jar.toString()));
    ChildJvm child =
        ChildJvm.run(
            options,
            TestJar.codeOf(ClassLoadersProbe.class).toString(),
            ClassLoadersProbe.class.getName(),
            arguments.toArray(String[]::new));
    assertEquals(0, child.exitCode(), child.output());
    return child;
  }

  private static Path unpack(Path jar, Path target) throws IOException {
    try (JarFile file = new JarFile(jar.toFile())) {
      for (JarEntry entry : Collections.list(file.entries())) {
        Path copy = target.resolve(entry.getName());
        Files.createDirectories(copy.getParent());
        Files.copy(file.getInputStream(entry), copy);
      }
    }
    return target;
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
    Path last = broken.resolve(System.mapLibraryName("VELKBulk"));
    damage(last);
    ChildJvm child =
        probeTwice(bareJar(), "-Djava.library.path=" + broken + File.pathSeparator + NATIVES);
    String tried = "the native libraries could not be loaded:\n  " + whyNot(last) + "\n";
    assertSays(child, "attempt 0: " + tried);
    assertSays(child, "attempt 1: " + tried);
    assertFalse(child.output().contains("told before: true"), child.output());
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
            bareJar() + File.pathSeparator + TestJar.codeOf(LoaderProbe.class),
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
    String classPath = jar + File.pathSeparator + TestJar.codeOf(LoaderProbe.class);
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
    return TestJar.make(folder, null);
  }

  private Path jarWithNatives() throws Exception {
    return TestJar.make(folder, NATIVES);
  }
}
