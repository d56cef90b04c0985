package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.util.Set;
import java.util.TreeSet;
import org.junit.jupiter.api.Test;
import picocli.CommandLine;

/** A subcommand that was made alone is the one among all. */
class SubcommandsTest {
  private static final CommandLine WHOLE = new CommandLine(new Velk.Whole());

  private static CommandLine commandLine(String... arguments) {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    return Velk.commandLine(Run.streams(new byte[0], out, out, 0), arguments);
  }

  @Test
  void aSubcommandIsMadeAlone() {
    Velk.ALONE
        .keySet()
        .forEach(
            name ->
                assertEquals(Set.of(name), commandLine(name, "x").getSubcommands().keySet(), name));
  }

  @Test
  void noneIsMissing() {
    Set<String> names = new TreeSet<>(WHOLE.getSubcommands().keySet());
    assertTrue(names.removeAll(Set.of("help", "generate-completion")));
    assertEquals(names, new TreeSet<>(Velk.ALONE.keySet()));
  }

  @Test
  void itSaysTheSameOfItself() {
    Velk.ALONE.forEach(
        (name, type) -> {
          CommandLine alone = commandLine(name).getSubcommands().get(name);
          CommandLine among = WHOLE.getSubcommands().get(name);
          assertSame(type, alone.getCommandSpec().userObject().getClass());
          assertEquals(among.getUsageMessage(), alone.getUsageMessage());
        });
  }

  @Test
  void whoAsksForNoneOfThemGetsAll() {
    for (String[] arguments : new String[][] {{}, {"--help"}, {"help", "mask"}, {"mas"}}) {
      assertEquals(
          WHOLE.getSubcommands().keySet(), commandLine(arguments).getSubcommands().keySet());
    }
  }
}
