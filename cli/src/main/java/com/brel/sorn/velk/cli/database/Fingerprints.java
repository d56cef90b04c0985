package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.Type;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.DigestInputStream;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.SecureRandom;
import java.util.Collection;
import java.util.HexFormat;
import java.util.List;

/** Digests by which a copy knows that it is the same. */
final class Fingerprints {
  private static final int LONGEST_HASH = 64;
  private static final int CHECKSUM_KEY = 16;
  private static final String TEXT = "velk";

  private Fingerprints() {}

  static byte[] digest(String text) {
    return sha256().digest(text.getBytes(StandardCharsets.UTF_8));
  }

  private static MessageDigest sha256() {
    try {
      return MessageDigest.getInstance("SHA-256");
    } catch (NoSuchAlgorithmException e) {
      throw new IllegalStateException(e);
    }
  }

  static String hex(String text) {
    return HexFormat.of().formatHex(digest(text));
  }

  /**
   * What is masked and how, with what dictionaries hold: by others one copy would be masked twice.
   */
  static String ofRules(CopySettings settings) {
    StringBuilder all = new StringBuilder(settings.rules()).append('\n').append(settings.tables());
    settings.dictionaries().forEach(file -> all.append('\n').append(ofFile(file)));
    return hex(all.toString());
  }

  /** A pipe is read by the engine, and by nobody else. */
  private static String ofFile(Path file) {
    if (!Files.isRegularFile(file)) {
      return "";
    }
    MessageDigest digest = sha256();
    try (InputStream in = new DigestInputStream(Files.newInputStream(file), digest)) {
      in.transferTo(OutputStream.nullOutputStream());
    } catch (IOException e) {
      throw CopyException.failed("a dictionary cannot be read again");
    }
    return HexFormat.of().formatHex(digest.digest());
  }

  /**
   * A number that nobody knows who has not the keys, another one for each use.
   *
   * @param places where the keys are, in an order that is always the same
   */
  static byte[] ofKeys(Engine engine, Collection<String> places, String use) {
    StringBuilder all = new StringBuilder(use);
    places.forEach(place -> all.append('\n').append(ofKey(engine, place, use)));
    return digest(all.toString());
  }

  /**
   * What nobody makes a checksum of clear rows without. Where nothing is masked the target has them
   * as they are; where something is and no key is named, nothing else is secret either, and no
   * later run takes a piece for done.
   */
  static byte[] ofChecksums(Engine engine, Plan plan) {
    if (plan.keys().isEmpty() && plan.steps().stream().anyMatch(Step::isMasked)) {
      byte[] random = new byte[CHECKSUM_KEY];
      new SecureRandom().nextBytes(random);
      return random;
    }
    return ofKeys(engine, plan.keys(), "velk copy checksum");
  }

  private static String ofKey(Engine engine, String place, String use) {
    Rule rule = Rule.hash(LONGEST_HASH).scope(use);
    try (MaskingService service =
        engine.service("velk-copy").key(place).column("key", Type.text(), rule).open()) {
      return service.mask(List.of(List.of(TEXT))).value(0, 0);
    }
  }
}
