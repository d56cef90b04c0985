package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Holds a copy in the folder that it is given, says where, and waits to be killed. */
final class CopyProbe {
  private CopyProbe() {}

  public static void main(String[] arguments) throws IOException {
    UnpackedCopy copy = UnpackedCopy.make(Path.of(arguments[0]));
    Files.writeString(copy.directory().resolve(System.mapLibraryName("VELKJNI")), "a library");
    System.out.println(copy.directory());
    System.in.read();
    copy.remove();
  }
}
