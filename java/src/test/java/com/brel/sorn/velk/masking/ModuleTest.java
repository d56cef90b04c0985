package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.internal.FieldDefinition;
import java.io.File;
import java.io.StringWriter;
import java.lang.module.ModuleDescriptor;
import java.lang.module.ModuleDescriptor.Exports;
import java.lang.module.ModuleDescriptor.Requires;
import java.lang.module.ModuleFinder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import javax.tools.JavaCompiler;
import javax.tools.StandardJavaFileManager;
import javax.tools.ToolProvider;
import org.jspecify.annotations.NullMarked;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class ModuleTest {
  private static final Path NATIVES =
      Path.of(System.getProperty("velk.library.dir")).toAbsolutePath().normalize();

  private static final String CONSUMER =
      """
      package consumer;

      import com.brel.sorn.velk.masking.*;
      import java.util.List;

      public class Main {
        public static void main(String[] arguments) {
          try (Engine engine = Engine.open()) {
            ServiceBuilder service = engine.service("s");
            service.column("a", Type.text(), Rule.fixed("ok"));
            try (MaskingService running = service.open()) {
              System.out.println("masked: " + running.mask(List.of(List.of("x"))).row(0));
            }
            System.out.println("by: " + Engine.class.getModule());
            System.out.println("source: " + engine.library().source());
          }
        }
      }
      """;

  @TempDir Path folder;

  @Test
  void theModuleExportsWhatApplicationsUse() throws Exception {
    ModuleDescriptor module =
        ModuleFinder.of(TestJar.make(folder, null))
            .find("com.brel.sorn.velk")
            .orElseThrow()
            .descriptor();
    assertEquals(
        Set.of("com.brel.sorn.velk", "com.brel.sorn.velk.internal", "com.brel.sorn.velk.masking"),
        module.exports().stream().map(Exports::source).collect(Collectors.toSet()));
    // At run time it needs nothing but the virtual machine's own.
    Set<String> needed =
        module.requires().stream()
            .filter(one -> !one.modifiers().contains(Requires.Modifier.STATIC))
            .map(Requires::name)
            .collect(Collectors.toSet());
    Set<String> own =
        ModuleFinder.ofSystem().findAll().stream()
            .map(one -> one.descriptor().name())
            .collect(Collectors.toSet());
    assertTrue(own.containsAll(needed), needed.toString());
  }

  @Test
  void whatMayBeNullIsSaidInEveryPackage() {
    for (Class<?> type : List.of(Engine.class, Field.class, FieldDefinition.class)) {
      assertTrue(type.getPackage().isAnnotationPresent(NullMarked.class), type.getName());
    }
  }

  @Test
  void anApplicationOnTheModulePathMasks() throws Exception {
    JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
    assumeTrue(compiler != null, "this virtual machine has no compiler");
    Path jar = TestJar.make(folder, NATIVES);
    Path classes = compile(compiler, jar);
    Path temporary = Files.createDirectory(folder.resolve("temporary"));
    ChildJvm child =
        ChildJvm.run(
            builder -> {},
            List.of(
                "-Djava.library.path=",
                "-Djava.io.tmpdir=" + temporary,
                "--enable-native-access=com.brel.sorn.velk"),
            List.of("-p", jar + File.pathSeparator + classes, "-m", "consumer/consumer.Main"));
    assertEquals("masked: [ok]\nby: module com.brel.sorn.velk\nsource: JAR\n", child.output());
  }

  /** With every warning an error, and without the annotations at hand. */
  private Path compile(JavaCompiler compiler, Path jar) throws Exception {
    Path sources = Files.createDirectories(folder.resolve("sources/consumer")).getParent();
    Path module =
        Files.writeString(
            sources.resolve("module-info.java"),
            "module consumer { requires com.brel.sorn.velk; }");
    Path main = Files.writeString(sources.resolve("consumer/Main.java"), CONSUMER);
    Path classes = folder.resolve("consumer");
    StringWriter told = new StringWriter();
    try (StandardJavaFileManager files = compiler.getStandardFileManager(null, null, null)) {
      List<String> options =
          List.of("-Xlint:all", "-Werror", "-p", jar.toString(), "-d", classes.toString());
      boolean compiled =
          compiler
              .getTask(told, files, null, options, null, files.getJavaFileObjects(module, main))
              .call();
      assertTrue(compiled, told.toString());
    }
    return classes;
  }
}
