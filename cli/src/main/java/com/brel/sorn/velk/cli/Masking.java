package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.Trace;
import com.brel.sorn.velk.masking.Type;
import java.nio.file.Path;
import java.util.List;
import java.util.Optional;

/** The engine with a masking string read. */
final class Masking implements AutoCloseable {
  private static final String FINGERPRINT_SCOPE = "velk key fingerprint";
  private static final String FINGERPRINT_TEXT = "velk";
  private static final int FINGERPRINT_LENGTH = 16;

  private final String text;
  private final Engine engine;
  private final ParsedService parsed;

  Masking(String maskingString) {
    this(maskingString, Engine.open());
  }

  /** With an engine that traces nothing, whatever the environment says. */
  static Masking untraced(String maskingString) {
    return new Masking(maskingString, Engine.open(new Trace("0", Path.of("-"))));
  }

  private Masking(String maskingString, Engine opened) {
    text = maskingString;
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

  /** The masking string, which may have come from a pipe and cannot be read again. */
  String text() {
    return text;
  }

  List<ColumnRule> rules() {
    return parsed.columns();
  }

  /** What the masking string says of errors. */
  ErrorPolicy errorPolicy(long most) {
    return ErrorPolicy.of(parsed.onError(), most);
  }

  /** The service, which tells errors and puts nothing in the place of a value. */
  MaskingService open() {
    return parsed.tellErrors().open();
  }

  String engineName() {
    return engine.library().identification();
  }

  /** Where the key is, as the masking string says it. */
  Optional<String> keyPlace() {
    return parsed.key();
  }

  /** What should be said of the key before it is used, if anything. */
  Optional<String> keyWarning() {
    return parsed.key().flatMap(KeyFile::warning);
  }

  /** Says which key was used without saying the key: null where there is none. */
  String keyFingerprint() {
    return parsed.key().map(this::fingerprint).orElse(null);
  }

  private String fingerprint(String place) {
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
