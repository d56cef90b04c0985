package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Option;

/** Where the masking string comes from. */
final class MaskingStringSource {
  private static final int LARGEST_FILE = 1 << 20;

  @ArgGroup(exclusive = true, multiplicity = "1")
  private Choice choice;

  private static final class Choice {
    @Option(
        names = {"-r", "--rules"},
        paramLabel = "FILE",
        description = "The masking string is the text of this file.")
    private Path rules;

    @Option(
        names = {"-s", "--string"},
        paramLabel = "TEXT",
        description = {
          "The masking string itself. On Windows a character that the machine's code page lacks"
              + " becomes a question mark on its way: put such a string into a file."
        })
    private String text;
  }

  /** The rules file's name, null where there is none. */
  String file() {
    return choice.rules == null ? null : choice.rules.toString();
  }

  String read() {
    return choice.text != null ? choice.text : read(choice.rules);
  }

  /** The folder where it is that which lets nobody in. */
  private static String unreadable(Path file, IOException e) {
    return (e instanceof AccessDeniedException ? Reason.denied(file) : file).toString();
  }

  private static String read(Path file) {
    try (InputStream in = Files.newInputStream(file)) {
      byte[] bytes = in.readNBytes(LARGEST_FILE + 1);
      if (bytes.length > LARGEST_FILE) {
        throw Failure.usage("far too long for a masking string");
      }
      return Utf8.decode(bytes);
    } catch (Failure e) {
      throw Failure.usage(Show.text(file.toString()) + ": " + e.getMessage());
    } catch (IOException e) {
      throw Failure.inputOutput(
          "cannot read " + Show.text(unreadable(file, e)) + ": " + Reason.of(e));
    }
  }
}
