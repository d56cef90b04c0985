package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;

/** Why an input or output failed, in words for people. */
final class Reason {
  private Reason() {}

  /** The folder on the way to a file, or the file, that lets nobody in. */
  static Path denied(Path file) {
    Path absolute = file.toAbsolutePath();
    for (int i = 1; i < absolute.getNameCount(); i++) {
      Path folder = absolute.getRoot().resolve(absolute.subpath(0, i));
      if (Files.isDirectory(folder) && !Files.isExecutable(folder)) {
        return folder;
      }
    }
    return file;
  }

  /** What failed and why; what failed is said where the failure knows it. */
  static String told(IOException failure) {
    if (!(failure instanceof FileSystemException e) || e.getFile() == null) {
      return of(failure);
    }
    String file = e.getFile();
    if (e instanceof AccessDeniedException) {
      file = denied(Path.of(file)).toString();
    }
    return Show.text(file) + ": " + of(failure);
  }

  static String of(IOException failure) {
    if (failure instanceof NoSuchFileException) {
      return "there is no such file or directory";
    }
    if (failure instanceof AccessDeniedException) {
      return "permission denied";
    }
    if (failure instanceof FileAlreadyExistsException) {
      return "it exists already";
    }
    String reason = failure instanceof FileSystemException e ? e.getReason() : failure.getMessage();
    return reason == null ? "it failed" : reason;
  }
}
