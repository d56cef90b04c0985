package com.brel.sorn.velk.masking;

import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;

/** Opens the engine in two class loaders of one virtual machine and says what came of it. */
final class ClassLoadersProbe {
  private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);

  private ClassLoadersProbe() {}

  public static void main(String[] arguments) throws Exception {
    URL[] jar = {Path.of(arguments[0]).toUri().toURL()};
    ClassLoader platform = ClassLoader.getPlatformClassLoader();
    try (URLClassLoader first = new URLClassLoader(jar, platform);
        URLClassLoader second = new URLClassLoader(jar, platform)) {
      AutoCloseable engine = open("first", first);
      open("second, beside it", second);
      engine.close();
      engine = open("second, after it", second);
      if (engine != null) {
        open("first, beside it", first);
        engine.close();
      }
      open("first, after it", first).close();
    }
  }

  private static AutoCloseable open(String name, ClassLoader loader) throws Exception {
    Class<?> type = Class.forName("com.brel.sorn.velk.masking.Engine", true, loader);
    try {
      Object engine = type.getMethod("open").invoke(null);
      OUT.println(name + ": open");
      return (AutoCloseable) engine;
    } catch (InvocationTargetException e) {
      OUT.println(name + ": " + e.getCause());
      return null;
    }
  }
}
