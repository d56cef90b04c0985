package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.EngineLibrary.Source;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/** What a user can do where a library is there and does not load. */
final class Remedy {
  private static final Path MOUNTS = Path.of("/proc/self/mounts");

  private Remedy() {}

  /** Empty where nothing is known to help, else ready to be appended to the reason. */
  static String of(Throwable refusal, Path directory, Source source) {
    if (refusal instanceof IllegalCallerException) {
      Module module = Remedy.class.getModule();
      String name = module.isNamed() ? module.getName() : "ALL-UNNAMED";
      return "; allow it by starting Java with --enable-native-access=" + name;
    }
    if (!forbidsExecuting(directory)) {
      return "";
    }
    String forbidden = "; the file system of " + directory + " forbids executing (noexec): ";
    return source == Source.JAR
        ? forbidden
            + "name another temporary folder with -Djava.io.tmpdir, or a folder that holds the"
            + " libraries with -Dvelk.library.dir"
        : forbidden + "put the libraries somewhere else";
  }

  private static boolean forbidsExecuting(Path directory) {
    if (NativeLibraries.onWindows() || !Files.exists(MOUNTS)) {
      return false;
    }
    try {
      return forbidsExecuting(Files.readAllLines(MOUNTS), directory.toRealPath());
    } catch (IOException e) {
      return false;
    }
  }

  /**
   * Reads a table of mounts in their order: device, folder, type and options of each.
   *
   * @param directory a path without links
   */
  static boolean forbidsExecuting(List<String> mounts, Path directory) {
    String options = "";
    for (String mount : mounts) {
      String[] parts = mount.split(" ");
      // A later mount hides what an earlier one shows in its folder.
      if (directory.startsWith(unescape(parts[1]))) {
        options = parts[3];
      }
    }
    return List.of(options.split(",")).contains("noexec");
  }

  private static String unescape(String folder) {
    return folder
        .replace("\\040", " ")
        .replace("\\011", "\t")
        .replace("\\012", "\n")
        .replace("\\134", "\\");
  }
}
