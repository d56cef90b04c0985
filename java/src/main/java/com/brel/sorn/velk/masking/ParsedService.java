package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.FieldDefinition;
import com.brel.sorn.velk.internal.InitializationOperand;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;

/**
 * A service as a masking string describes it. It holds native records until it is opened, which
 * hands them to the running service, or closed.
 */
public final class ParsedService implements AutoCloseable {
  /** The code of a masking string that came back as no service that this API knows. */
  public static final int INCOMPLETE = -104;

  private static final String ON_ERROR = "on_error";

  private final Engine engine;
  private final ServiceDefinition definition;
  private final List<ColumnRule> rules;
  private OnError onError;
  private boolean closed;

  private ParsedService(Engine engine, ServiceDefinition definition) {
    this.engine = engine;
    this.definition = definition;
    this.rules = rules(definition);
    this.onError =
        Definitions.find(definition, ON_ERROR).map(OnError::parse).orElse(OnError.UNSAID);
  }

  /** Parses into a definition of its own; whatever fails, nothing native stays behind. */
  static ParsedService parse(Engine engine, String maskingString) {
    ServiceDefinition definition = new ServiceDefinition();
    try {
      int status = Bridge.VELK.parseVELKSyntaxString(maskingString, definition);
      Bridge.check(status, "parseVELKSyntaxString");
      Definitions.toJava(definition);
      requireComplete(definition);
      return new ParsedService(engine, definition);
    } catch (RuntimeException | Error e) {
      Definitions.free(definition);
      throw e;
    }
  }

  /** An engine that reports success and gives no service must not be taken at its word. */
  static void requireComplete(ServiceDefinition definition) {
    if (definition.serviceId == null || definition.serviceId.isEmpty()) {
      throw new VELKException("the masking string came back without a service id", INCOMPLETE);
    }
    if (definition.fieldDefinitions.isEmpty()) {
      throw new VELKException("the masking string came back without columns", INCOMPLETE);
    }
  }

  private static List<ColumnRule> rules(ServiceDefinition definition) {
    List<ColumnRule> rules = new ArrayList<>();
    for (int i = 0; i < definition.fieldDefinitions.size(); i++) {
      rules.add(rule(definition, i + 1, definition.fieldDefinitions.get(i)));
    }
    return List.copyOf(rules);
  }

  private static ColumnRule rule(ServiceDefinition definition, int id, FieldDefinition field) {
    String type = Type.text().toString();
    boolean unique = false;
    InitializationOperand rule = null;
    for (InitializationOperand operand : definition.initializationOperands) {
      if (operand.parameterId != id) {
        continue;
      }
      switch (operand.parameterName) {
        case "type" -> type = operand.sValue;
        case "unique" -> unique = "true".equals(operand.sValue);
        default -> rule = operand;
      }
    }
    if (rule == null) {
      throw new VELKException(
          "column \"" + field.columnName + "\" came back without a rule", INCOMPLETE);
    }
    return new ColumnRule(field.columnName, type(type, field), rule(rule), unique);
  }

  /** The length of a text column is that of the longest result, of any other its limit. */
  private static Type type(String declaration, FieldDefinition field) {
    int limit = declaration.equals(Type.text().toString()) ? 0 : field.length;
    return Type.declared(declaration, limit, field.precision, field.scale);
  }

  private static Rule rule(InitializationOperand operand) {
    String arguments = operand.sValue == null ? "" : operand.sValue;
    return Rule.function(operand.parameterName, arguments);
  }

  /**
   * Names the service.
   *
   * @return its id
   */
  public String id() {
    return definition.serviceId;
  }

  /**
   * Tells where the engine finds the masking key.
   *
   * @return {@code env:NAME} or {@code file:PATH}, empty where the string names no key
   */
  public Optional<String> key() {
    return Definitions.find(definition, "key");
  }

  /**
   * Tells what becomes of a value that cannot be masked.
   *
   * @return the string's choice; {@link OnError.Way#ERROR} where it makes none
   */
  public OnError onError() {
    return onError;
  }

  /**
   * Lists the columns with their rules.
   *
   * @return the columns in the order of the string
   */
  public List<ColumnRule> columns() {
    return rules;
  }

  /**
   * Sets the string's choice aside: a value that cannot be masked is an error of its field, and
   * nothing takes its place.
   *
   * @return this
   * @throws IllegalStateException if this was opened or closed
   */
  public ParsedService tellErrors() {
    Bridge.LOCK.lock();
    try {
      requireUnused();
      Definitions.remove(definition, ON_ERROR);
      onError = OnError.UNSAID;
      return this;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  /**
   * Starts the service, which then holds the native records; this can be opened once.
   *
   * @return the running service
   * @throws IllegalStateException if this was opened or closed before
   * @throws VELKException if the engine does not start the service, for want of its key for
   *     instance
   */
  public MaskingService open() {
    Bridge.LOCK.lock();
    try {
      requireUnused();
      List<Column> columns = measured();
      if (onError.way() == OnError.Way.FAILURE) {
        // A batch is stopped here, where its rows are counted.
        Definitions.remove(definition, ON_ERROR);
      }
      closed = true;
      engine.forget(this);
      return engine.start(new MaskingService(engine, columns, definition, onError, true));
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private void requireUnused() {
    if (closed) {
      throw new IllegalStateException("the masking string was opened or closed already");
    }
  }

  private List<Column> measured() {
    List<Column> columns = new ArrayList<>();
    for (int i = 0; i < rules.size(); i++) {
      columns.add(Column.of(rules.get(i), longestResult(i), onError));
    }
    return List.copyOf(columns);
  }

  /** The string told it of a column without a limit; of others the engine is asked if need be. */
  private int longestResult(int index) {
    Type type = rules.get(index).type();
    return type.limit() > 0 && BufferSize.dependsOnResult(type)
        ? engine.longestResult(rules.get(index), key().orElse(null))
        : definition.fieldDefinitions.get(index).length;
  }

  /** The longest result in code points of the first column, which has no limit. */
  int longestResult() {
    return longestResult(0);
  }

  /** Frees the native records, unless a running service holds them; a second call does nothing. */
  @Override
  public void close() {
    Bridge.LOCK.lock();
    try {
      release();
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  void release() {
    if (!closed) {
      closed = true;
      engine.forget(this);
      Definitions.free(definition);
    }
  }
}
