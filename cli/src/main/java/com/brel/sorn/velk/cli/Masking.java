package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.TableException;
import com.brel.sorn.velk.masking.Trace;
import com.brel.sorn.velk.masking.Type;
import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Optional;

/** The engine with a masking string read. */
final class Masking implements AutoCloseable {
  private static final String FINGERPRINT_SCOPE = "velk key fingerprint";
  private static final String FINGERPRINT_TEXT = "velk";
  private static final int FINGERPRINT_LENGTH = 16;

  private final Engine engine;
  private final ParsedService parsed;

  Masking(String maskingString) {
    this(maskingString, Engine.open());
  }

  /** With an engine that traces nothing. */
  static Masking untraced(String maskingString) {
    return new Masking(maskingString, untracedEngine());
  }

  /** An engine that traces nothing, whatever the environment says. */
  static Engine untracedEngine() {
    return Engine.open(new Trace("0", Path.of("-")));
  }

  private Masking(String maskingString, Engine opened) {
    engine = opened;
    try {
      parsed = parse(maskingString);
    } catch (RuntimeException e) {
      engine.close();
      throw e;
    }
  }

  private ParsedService parse(String maskingString) {
    try {
      return engine.parse(maskingString);
    } catch (IllegalArgumentException e) {
      throw Failure.usage(e.getMessage());
    } catch (VELKException e) {
      if (e.kind() == VELKException.Kind.ENGINE) {
        throw e;
      }
      throw Failure.usage(e.getMessage());
    }
  }

  Engine engine() {
    return engine;
  }

  /** The rules as the masking string has them. */
  List<ColumnRule> rules() {
    return parsed.columns();
  }

  /** What the masking string says of errors. */
  ErrorPolicy errorPolicy(long most) {
    return ErrorPolicy.of(parsed.onError(), most);
  }

  /**
   * The rules of a table's columns, in their order; an error is told, and nothing takes the place
   * of its value.
   *
   * @throws TableException if rules and columns do not fit
   */
  ParsedService rulesOf(CsvInput table) throws IOException {
    table.requireNames(parsed.columns());
    return parsed.forTable(table.reader().names()).tellErrors();
  }

  /** What may make values of columns equal that are to stay unique. */
  static List<String> warnings(List<ColumnRule> rules) {
    return rules.stream()
        .filter(rule -> rule.unique() && rule.rule().isLossy())
        .map(
            rule ->
                "column "
                    + Show.quoted(rule.name())
                    + " is to stay unique, and "
                    + rule.rule().function()
                    + " may give two values the same result")
        .toList();
  }

  String engineName() {
    return engine.library().identification();
  }

  /** Where the key is, as the masking string says it. */
  Optional<String> keyPlace() {
    return parsed.key();
  }

  /** Says which key was used without saying the key: null where there is none. */
  String keyFingerprint() {
    return keyFingerprint(engine, parsed.key().orElse(null));
  }

  /**
   * Tells keys apart without telling a key.
   *
   * @param place where the key is, null where there is none
   * @return its fingerprint, null where there is none
   */
  static String keyFingerprint(Engine engine, String place) {
    if (place == null) {
      return null;
    }
    try (MaskingService service =
        engine
            .service("velk-key")
            .key(place)
            .column("key", Type.text(), Rule.hash(FINGERPRINT_LENGTH).scope(FINGERPRINT_SCOPE))
            .open()) {
      return service.mask(List.of(List.of(FINGERPRINT_TEXT))).value(0, 0);
    }
  }

  @Override
  public void close() {
    try {
      engine.close();
    } catch (VELKException e) {
      throw Tracing.told(e);
    }
  }
}
