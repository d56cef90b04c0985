package com.brel.sorn.velk.examples;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.regex.MatchResult;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Test;

class ReadmeTest {
  private static final Pattern JAVA_BLOCK =
      Pattern.compile("^```java\\n(.*?)^```$", Pattern.DOTALL | Pattern.MULTILINE);

  @Test
  void theReadmeShowsTheExampleThatIsCompiled() throws Exception {
    String readme = Files.readString(Example.file("../README.md"));
    List<String> blocks =
        JAVA_BLOCK
            .matcher(readme)
            .results()
            .map((MatchResult block) -> block.group(1))
            .filter(block -> block.contains("class ReadmeExample"))
            .toList();
    Path source = Example.file("src/main/java/com/brel/sorn/velk/examples/ReadmeExample.java");
    String example = Files.readString(source).replaceFirst("\\Apackage .*;\\n\\n", "");
    assertEquals(List.of(example), blocks);
    assertTrue(example.lines().count() <= 20, example);
  }

  @Test
  void theExampleMasks() throws Throwable {
    String output = Example.outputOf(() -> ReadmeExample.main(new String[0]));
    List<String> lines = output.lines().toList();
    assertTrue(
        lines
            .get(0)
            .matches(
                "\\[\\p{Lu}\\p{Ll}{2} \\p{Lu}\\p{Ll}{5}, #{15}1881, [a-z][a-z0-9]+@example\\.com]"),
        output);
    assertTrue(lines.get(1).startsWith("row 2, column \"name\": 7502 "), output);
    assertFalse(output.contains("Zoë Martín"), output);
    assertFalse(output.contains("zoe@"), output);
  }
}
