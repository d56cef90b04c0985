package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;

/** Why an input or output failed, in words for people. */
final class Reason {
  private Reason() {}

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
    boolean hasReason = failure instanceof FileSystemException e && e.getReason() != null;
    return hasReason ? ((FileSystemException) failure).getReason() : failure.getMessage();
  }
}
