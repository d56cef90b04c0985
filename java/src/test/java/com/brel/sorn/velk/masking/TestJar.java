package com.brel.sorn.velk.masking;

import java.io.File;
import java.io.IOException;
import java.io.OutputStream;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.jar.JarEntry;
import java.util.jar.JarOutputStream;
import java.util.stream.Stream;

/** The classes under test in a jar, as a build packs them. */
final class TestJar {
  private TestJar() {}

  /**
   * Makes a jar in a folder, in place of an earlier one.
   *
   * @param natives where the libraries are, as many as there are of them; null for a jar without
   */
  static Path make(Path folder, Path natives) throws IOException {
    Path jar = folder.resolve("velk.jar");
    Path classes = codeOf(Engine.class);
    try (OutputStream file = Files.newOutputStream(jar);
        JarOutputStream out = new JarOutputStream(file);
        Stream<Path> tree = Files.walk(classes)) {
      for (Path entry : tree.filter(path -> path.toString().endsWith(".class")).toList()) {
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

  /** The folder that a class was loaded from. */
  static Path codeOf(Class<?> type) {
    try {
      return Path.of(type.getProtectionDomain().getCodeSource().getLocation().toURI());
    } catch (URISyntaxException e) {
      throw new IllegalStateException(e);
    }
  }
}
