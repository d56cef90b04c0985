package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What a run reads is never written over by it, whatever name it is given by. */
class RunFilesTest {
  private static final String KEY = "0123456789abcdef0123456789abcdef\n";
  private static final String ENTRIES = "Anna\nBert\nCarl\nDora\nEmil\nFranz\nGina\nHans\n";

  @TempDir Path folder;
  private Path in;
  private Path rules;
  private Path key;
  private Path dictionary;

  @BeforeEach
  void writeFiles() throws IOException {
    in = Files.writeString(folder.resolve("in.csv"), "a\nx\n");
    key = Files.writeString(folder.resolve("key"), KEY);
    if (folder.getFileSystem().supportedFileAttributeViews().contains("posix")) {
      Files.setPosixFilePermissions(key, PosixFilePermissions.fromString("rw-------"));
    }
    dictionary = Files.writeString(folder.resolve("it's, a list.txt"), ENTRIES);
    rules =
        Files.writeString(
            folder.resolve("rules"),
            "service=s key='file:" + key + "' a=dict(" + file("'", "''") + ")");
  }

  /** The argument that names the dictionary, between quotes. */
  private String file(String quote, String inside) {
    return "file=" + quote + dictionary.toString().replace("'", inside) + quote;
  }

  private Path victim(String what) {
    return Map.of("input", in, "rules file", rules, "key file", key, "dictionary", dictionary)
        .get(what);
  }

  private Path named(String way, Path file) throws IOException {
    return switch (way) {
      case "spelling" -> Files.createDirectory(folder.resolve("x")).resolve("..").resolve(file);
      case "other spelling" ->
          Files.createDirectory(folder.resolve("x")).resolve("..").resolve(file.getFileName());
      case "hard link" -> Files.createLink(folder.resolve("hard"), file);
      case "link" -> {
        assumeTrue(folder.getFileSystem().supportedFileAttributeViews().contains("posix"));
        yield Files.createSymbolicLink(folder.resolve("link"), file);
      }
      case "link of a folder" -> {
        assumeTrue(folder.getFileSystem().supportedFileAttributeViews().contains("posix"));
        yield Files.createSymbolicLink(folder.resolve("link"), folder).resolve(file.getFileName());
      }
      default -> file;
    };
  }

  @ParameterizedTest
  @ValueSource(
      strings = {"name", "spelling", "other spelling", "hard link", "link", "link of a folder"})
  void nothingThatIsReadIsWrittenOver(String way) throws IOException {
    for (String what : List.of("input", "rules file", "key file", "dictionary")) {
      Path file = victim(what);
      byte[] before = Files.readAllBytes(file);
      String name = named(way, file).toString();
      String article = what.equals("dictionary") ? "a " : "the ";
      String told = " would take the place of " + article + what + "\n";
      String out = folder.resolve("out.csv").toString();
      Run output = Run.velk("mask", "-r", rules.toString(), in.toString(), name);
      assertEquals("velk: the output" + told, output.expect(ExitCode.USAGE).err());
      Run report = Run.velk("mask", "-r", rules.toString(), "--report", name, in.toString(), out);
      assertEquals("velk: the report" + told, report.expect(ExitCode.USAGE).err());
      assertArrayEquals(before, Files.readAllBytes(file));
      assertFalse(Files.exists(Path.of(out)));
      for (String made : List.of("x", "hard", "link")) {
        Files.deleteIfExists(folder.resolve(made));
      }
    }
  }

  @Test
  void aCopyWritesOverNothingThatItReads() throws IOException {
    Path sections =
        Files.writeString(
            folder.resolve("sections"),
            "service=s\n[public.other] = keep\n[public.wrong]\n= =\n[public.t]\nkey='file:"
                + key
                + "' a=dict("
                + file("'", "''")
                + ")\n");
    Path driver = Files.writeString(folder.resolve("driver.jar"), "x");
    Map<String, Path> files =
        Map.of(
            "the rules file", sections,
            "the key file", key,
            "a dictionary", dictionary,
            "a driver", driver);
    for (Map.Entry<String, Path> file : files.entrySet()) {
      byte[] before = Files.readAllBytes(file.getValue());
      Run run = copy(sections, driver, named("hard link", file.getValue()));
      String told = "velk: the report would take the place of " + file.getKey() + "\n";
      assertEquals(told, run.expect(ExitCode.USAGE).err());
      assertArrayEquals(before, Files.readAllBytes(file.getValue()));
      Files.delete(folder.resolve("hard"));
    }
  }

  /** Nobody is asked where these databases are. */
  private static Run copy(Path rules, Path driver, Path report) {
    String nowhere = "postgresql://127.0.0.1:1/";
    return Run.velk(
        "copy",
        "--from",
        nowhere + "a",
        "--to",
        nowhere + "b",
        "--rules",
        rules.toString(),
        "--driver-path",
        driver.toString(),
        "--report",
        report.toString());
  }

  @Test
  void theSameRunToAnotherPlaceIsMasked() throws IOException {
    Path out = folder.resolve("out.csv");
    Run.velk("mask", "-r", rules.toString(), in.toString(), out.toString()).expect(ExitCode.DONE);
    Run.velk("mask", "-r", rules.toString(), in.toString(), out.toString()).expect(ExitCode.DONE);
    assertFalse(Files.readString(out).contains("x"));
  }

  @Test
  void aDictionaryIsKnownHoweverItIsQuoted() throws IOException {
    String escaped = dictionary.toString().replace("\\", "\\\\").replace("s", "\\u{73}");
    String key = "service=s key=env:MASK_KEY ";
    for (String argument : List.of(file("'", "''"), "file = \"" + escaped + "\" ")) {
      String string = key + "a=dict(" + argument + ", scope='file=b, \"(')";
      Run run = Run.velk("mask", "-s", string, in.toString(), dictionary.toString());
      assertEquals(
          "velk: the output would take the place of a dictionary\n",
          run.expect(ExitCode.USAGE).err());
    }
    assertEquals(ENTRIES, Files.readString(dictionary));
  }

  @Test
  void theRulesThatInitWritesAreNotTheInputByAnyName() throws IOException {
    Path hard = Files.createLink(folder.resolve("hard"), in);
    Run run = Run.velk("init", "--force", in.toString(), hard.toString());
    assertEquals(
        "velk: the rules file would take the place of the input\n",
        run.expect(ExitCode.USAGE).err());
    assertEquals("a\nx\n", Files.readString(in));
  }

  @ParameterizedTest
  @CsvSource({"out.csv,out.csv", "out.csv,./out.csv", "x/../out.csv,out.csv"})
  void theOutputAndTheReportAreNotOnePlaceToBe(String out, String report) throws IOException {
    Files.createDirectory(folder.resolve("x"));
    Run run =
        Run.velk(
            "mask",
            "-s",
            "service=s a=keep",
            "--report",
            folder + "/" + report,
            in.toString(),
            folder + "/" + out);
    assertEquals(
        "velk: the output and the report would go to the same place\n",
        run.expect(ExitCode.USAGE).err());
    assertFalse(Files.exists(folder.resolve("out.csv")));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "it has neither such links nor such devices")
  void aLinkToTheOutputIsNoPlaceForTheReport() throws IOException {
    Path out = folder.resolve("out.csv");
    Path report = Files.createSymbolicLink(folder.resolve("report"), Path.of("out.csv"));
    String[] keep = {"mask", "-s", "service=s a=keep", "--report"};
    assertSamePlace(keep, report.toString(), out.toString());
    assertFalse(Files.exists(out));
    assertSamePlace(keep, "-", "/dev/stdout");
    assertSamePlace(keep, "/dev/stdout", "-");
    String nowhere = "/dev/null";
    Run.velk(keep[0], keep[1], keep[2], keep[3], nowhere, in.toString(), nowhere)
        .expect(ExitCode.DONE);
  }

  private void assertSamePlace(String[] start, String report, String out) {
    Run run = Run.velk(start[0], start[1], start[2], start[3], report, in.toString(), out);
    assertEquals(
        "velk: the output and the report would go to the same place\n",
        run.expect(ExitCode.USAGE).err());
  }

  @ParameterizedTest
  @CsvSource(
      nullValues = "none",
      value = {
        "none, t, none",
        "'', t, none",
        "0, t, none",
        "0x0, t, none",
        "all, none, velk-trace.json",
        "all, '', velk-trace.json",
        "'entry,data', t, t",
        "' 0 ,\tmessage', t, t",
        "0x2, t, t",
        "3, t, t",
        "all, -, none"
      })
  void theFileOfATraceIsKnown(String mask, String file, String expected) {
    Map<String, String> variables = new HashMap<>();
    variables.put("VELK_TRACE", mask);
    variables.put("VELK_TRACE_FILE", file);
    variables.values().removeIf(Objects::isNull);
    assertEquals(Optional.ofNullable(expected).map(Path::of), Tracing.file(variables));
  }
}
