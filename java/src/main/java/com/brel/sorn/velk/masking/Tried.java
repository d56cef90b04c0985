package com.brel.sorn.velk.masking;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.jspecify.annotations.Nullable;

/** Where the libraries were sought, told so that the likeliest reason comes first. */
final class Tried {
  private final List<String> failed = new ArrayList<>();
  private final List<String> missing = new ArrayList<>();
  private final List<String> empty = new ArrayList<>();
  private final Set<Path> directories = new HashSet<>();
  private @Nullable Throwable cause;

  /** Whether a directory is new here; none is searched twice. */
  boolean isNew(Path directory) {
    return directories.add(directory);
  }

  /** Something is there and does not load; the first reason is the cause of the failure. */
  void failed(String what, @Nullable Throwable reason) {
    failed.add(what);
    cause = cause == null ? reason : cause;
  }

  void missing(String what) {
    missing.add(what);
  }

  /** One of many directories, and with none of the libraries. */
  void nothingIn(String directory) {
    empty.add(directory);
  }

  /** An exception for each caller: a shared one would tell of another's calls. */
  EngineLoadException failure() {
    return new EngineLoadException(text(), cause);
  }

  private String text() {
    StringBuilder text = new StringBuilder("the native libraries could not be loaded:");
    failed.forEach(what -> text.append("\n  ").append(what));
    missing.forEach(what -> text.append("\n  ").append(what));
    if (!empty.isEmpty()) {
      text.append("\nnone of them is in these directories of java.library.path:");
      empty.forEach(directory -> text.append("\n  ").append(directory));
    }
    return text.toString();
  }
}
