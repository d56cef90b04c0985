package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.InputStream;
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

  String read() {
    return choice.text != null ? choice.text : read(choice.rules);
  }

  private static String read(Path file) {
    try (InputStream in = Files.newInputStream(file)) {
      byte[] bytes = in.readNBytes(LARGEST_FILE + 1);
      if (bytes.length > LARGEST_FILE) {
        throw Failure.usage("far too long for a masking string");
      }
      return Utf8.decode(bytes);
    } catch (Failure e) {
      throw Failure.usage(file + ": " + e.getMessage());
    } catch (IOException e) {
      throw Failure.inputOutput("cannot read " + file + ": " + Reason.of(e));
    }
  }
}
