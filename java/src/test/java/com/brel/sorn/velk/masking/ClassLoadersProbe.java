package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.io.PrintStream;
import java.lang.reflect.Field;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.locks.ReentrantLock;

/**
 * Opens the engine in two class loaders of one virtual machine and says what came of it:
 * ClassLoadersProbe WAY JAR..., a jar for each class loader or one for both.
 */
final class ClassLoadersProbe {
  private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);

  private ClassLoadersProbe() {}

  public static void main(String[] arguments) throws Exception {
    Path jar = Path.of(arguments[1]);
    Path other = arguments.length > 2 ? Path.of(arguments[2]) : jar;
    try (URLClassLoader first = loader(jar);
        URLClassLoader second = loader(other)) {
      switch (arguments[0]) {
        case "one after the other" -> oneAfterTheOther(first, second);
        case "one ended" -> oneEnded(first, second, loader(jar));
        case "one lost its files" -> oneLostItsFiles(first, jar, second);
        case "one is masking" -> oneIsMasking(first, second);
        default -> throw new IllegalArgumentException(arguments[0]);
      }
    }
  }

  private static URLClassLoader loader(Path jar) throws IOException {
    return new URLClassLoader(
        new URL[] {jar.toUri().toURL()}, ClassLoader.getPlatformClassLoader());
  }

  private static void oneAfterTheOther(ClassLoader first, ClassLoader second) throws Exception {
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

  /** Applications end without closing their engines, and some of the first goes on all the same. */
  private static void oneEnded(URLClassLoader first, URLClassLoader second, ClassLoader third)
      throws Exception {
    AutoCloseable engine = open("first", first);
    open("second, beside it", second);
    first.close();
    AutoCloseable next = open("second, after its end", second);
    OUT.println("of the first: " + service(engine));
    engine.close();
    OUT.println("of the second: " + service(next));
    second.close();
    open("third, after both", third).close();
  }

  private static void oneLostItsFiles(ClassLoader first, Path folder, ClassLoader second)
      throws Exception {
    AutoCloseable engine = open("first", first);
    Files.move(folder, folder.resolveSibling("moved"));
    open("second, beside it", second);
    OUT.println("of the first: " + service(engine));
  }

  /** Its lock is held, as over a batch. */
  private static void oneIsMasking(URLClassLoader first, ClassLoader second) throws Exception {
    open("first", first);
    Field field =
        Class.forName("com.brel.sorn.velk.masking.Bridge", true, first).getDeclaredField("LOCK");
    field.setAccessible(true);
    ReentrantLock lock = (ReentrantLock) field.get(null);
    first.close();
    Thread masking = new Thread(lock::lock);
    masking.start();
    masking.join();
    open("second, meanwhile", second);
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

  /** What an engine says when it is to read a masking string. */
  private static String service(AutoCloseable engine) throws Exception {
    Method parse = engine.getClass().getMethod("parse", String.class);
    try {
      ((AutoCloseable) parse.invoke(engine, "service=s a=null")).close();
      return "parsed";
    } catch (InvocationTargetException e) {
      return e.getCause().toString();
    }
  }
}
