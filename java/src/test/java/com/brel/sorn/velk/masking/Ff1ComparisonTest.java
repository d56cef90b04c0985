package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.Random;
import org.bouncycastle.crypto.fpe.FPEFF1Engine;
import org.bouncycastle.crypto.params.FPEParameters;
import org.bouncycastle.crypto.params.KeyParameter;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The engine's FF1 against an independent implementation of the same standard. */
class Ff1ComparisonTest {
  private static final String DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz";
  private static final int FEWEST_VALUES = 1_000_000;

  record Input(byte[] key, int radix, byte[] tweak, byte[] numerals) {
    String line() {
      HexFormat hex = HexFormat.of();
      String shownTweak = tweak.length == 0 ? "-" : hex.formatHex(tweak);
      return String.join(
          " ", hex.formatHex(key), Integer.toString(radix), shownTweak, text(numerals));
    }

    String encryptedElsewhere() {
      FPEFF1Engine engine = new FPEFF1Engine();
      engine.init(true, new FPEParameters(new KeyParameter(key), radix, tweak));
      byte[] result = new byte[numerals.length];
      engine.processBlock(numerals, 0, numerals.length, result, 0);
      return text(result);
    }
  }

  @Test
  void aThousandRandomInputsAreEncryptedAlike(@TempDir Path folder) throws Exception {
    Random random = new Random(9);
    List<Input> inputs = new ArrayList<>();
    while (inputs.size() < 1000) {
      inputs.add(randomInput(random));
    }
    List<String> results = encrypted(inputs.stream().map(Input::line).toList(), folder);
    assertEquals(inputs.stream().map(Input::encryptedElsewhere).toList(), results);
    assertTrue(results.stream().distinct().count() > 990);
  }

  private static Input randomInput(Random random) {
    int radix = 2 + random.nextInt(35);
    int fewest = (int) Math.ceil(Math.log(FEWEST_VALUES) / Math.log(radix));
    byte[] numerals = new byte[fewest + random.nextInt(60)];
    for (int i = 0; i < numerals.length; i++) {
      numerals[i] = (byte) random.nextInt(radix);
    }
    byte[] key = bytes(random, random.nextBoolean() ? 16 : 32);
    return new Input(key, radix, bytes(random, random.nextInt(33)), numerals);
  }

  private static byte[] bytes(Random random, int length) {
    byte[] bytes = new byte[length];
    random.nextBytes(bytes);
    return bytes;
  }

  private static String text(byte[] numerals) {
    StringBuilder text = new StringBuilder();
    for (byte numeral : numerals) {
      text.append(DIGITS.charAt(numeral));
    }
    return text.toString();
  }

  /** What the engine's own FF1 makes of the lines; its tool stands beside the native libraries. */
  private static List<String> encrypted(List<String> lines, Path folder)
      throws IOException, InterruptedException {
    Path tool = Path.of(System.getProperty("velk.library.dir")).resolveSibling("bin/ff1_tool");
    Path input = folder.resolve("input");
    Path output = folder.resolve("output");
    Files.write(input, lines, StandardCharsets.US_ASCII);
    Process process =
        new ProcessBuilder(tool.toString())
            .redirectInput(input.toFile())
            .redirectOutput(output.toFile())
            .redirectError(ProcessBuilder.Redirect.INHERIT)
            .start();
    assertEquals(0, process.waitFor());
    return Files.readAllLines(output, StandardCharsets.US_ASCII);
  }
}
