package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.FieldDefinition;
import com.brel.sorn.velk.internal.InitializationOperand;
import com.brel.sorn.velk.internal.ServiceDefinition;
import com.brel.sorn.velk.masking.MaskingStringReader.Place;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.IntStream;
import org.jspecify.annotations.Nullable;

/**
 * A service as a masking string describes it. It holds native records until it is opened, which
 * hands them to the running service, or closed.
 */
public final class ParsedService implements AutoCloseable {
  /** The code of a masking string that came back as no service that this API knows. */
  public static final int INCOMPLETE = -104;

  private static final String ON_ERROR = "on_error";

  private final Engine engine;
  private final String maskingString;
  private final ServiceDefinition definition;
  private List<ColumnRule> rules;

  /** For each column what the string calls it: its name, a pattern or a position. */
  private final List<String> entries;

  /** The columns of the table that it is for; null where it is for any that has its columns. */
  private final @Nullable List<String> table;

  private OnError onError;
  private boolean closed;

  private ParsedService(
      Engine engine,
      String maskingString,
      ServiceDefinition definition,
      List<ColumnRule> rules,
      List<String> entries,
      @Nullable List<String> table) {
    this.engine = engine;
    this.maskingString = maskingString;
    this.definition = definition;
    this.rules = rules;
    this.entries = entries;
    this.table = table;
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
      List<ColumnRule> rules = rules(definition);
      return new ParsedService(engine, maskingString, definition, rules, names(rules), null);
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
    Map<Integer, List<InitializationOperand>> operands = Definitions.byId(definition);
    List<ColumnRule> rules = new ArrayList<>();
    for (FieldDefinition field : definition.fieldDefinitions) {
      rules.add(rule(field, operands.getOrDefault(rules.size() + 1, List.of())));
    }
    return List.copyOf(rules);
  }

  private static List<String> names(List<ColumnRule> rules) {
    return rules.stream().map(ColumnRule::name).toList();
  }

  private static ColumnRule rule(FieldDefinition field, List<InitializationOperand> operands) {
    String type = Type.text().toString();
    boolean unique = false;
    InitializationOperand rule = null;
    for (InitializationOperand operand : operands) {
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
   * Lists the columns with their rules. A name may be a pattern, such as {@code addr_*}, or a
   * position, such as {@code $3}, unless this is for a table.
   *
   * @return the columns in the order of the string, or of the table
   */
  public List<ColumnRule> columns() {
    return rules;
  }

  /**
   * Tells where the string gives a column its rule, for messages about it.
   *
   * @param column the column, counted from 0
   * @return its line and its column in code points, both counted from 1, such as {@code line 2,
   *     column 1}; empty where they are not known
   * @throws IndexOutOfBoundsException if there is no such column
   */
  public Optional<String> place(int column) {
    String entry = entries.get(column);
    return Optional.ofNullable(MaskingStringReader.places(maskingString).get(entry))
        .map(Place::toString);
  }

  /**
   * Gives each column of a table its rule, with its type and all else that the string says there:
   * that of its name or its position, else that of the pattern with the most characters beside its
   * stars, {@code *} alone last. A column without a name, or with one that another has too, is
   * known by its position only, and so is the result's.
   *
   * <p>The result opens a service of the table's columns in their order, for tables with this very
   * header or none. This service stays as it is.
   *
   * @param names what the table calls its columns, in their order; a name may be empty
   * @return the service for that table, which holds no native records until it is opened
   * @throws TableException if a column has no rule or two that are equally exact, or a rule has no
   *     column: with all of them
   * @throws IllegalArgumentException if there are no columns, or more than 65,535
   * @throws IllegalStateException if this was opened or closed, or is for a table already
   */
  public ParsedService forTable(List<String> names) {
    List<String> header = List.copyOf(names);
    if (header.isEmpty() || header.size() > ServiceBuilder.MOST_COLUMNS) {
      throw new IllegalArgumentException(
          "a table has 1 to " + ServiceBuilder.MOST_COLUMNS + " columns, not " + header.size());
    }
    Bridge.LOCK.lock();
    try {
      requireUnused();
      if (table != null) {
        throw new IllegalStateException("the rules are those of a table already");
      }
      TableColumns columns = new TableColumns(header);
      int[] entryOf = TableRules.match(rules, columns, maskingString);
      List<String> said = Arrays.stream(entryOf).mapToObj(entries::get).toList();
      ParsedService service =
          new ParsedService(
              engine,
              maskingString,
              definition(entryOf, columns),
              rules(entryOf, columns),
              said,
              header);
      service.onError = onError;
      return service;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private List<ColumnRule> rules(int[] entryOf, TableColumns columns) {
    return IntStream.range(0, entryOf.length)
        .mapToObj(column -> rules.get(entryOf[column]).named(columns.label(column)))
        .toList();
  }

  private ServiceDefinition definition(int[] entryOf, TableColumns columns) {
    ServiceDefinition copy = Definitions.copy(definition, Arrays.stream(entryOf).boxed().toList());
    for (int column = 0; column < entryOf.length; column++) {
      copy.fieldDefinitions.get(column).columnName = columns.engineNames().get(column);
    }
    for (InitializationOperand operand : copy.initializationOperands) {
      if (operand.parameterId != Definitions.WHOLE && operand.sValue != null) {
        operand.sValue = TableRules.forEngine(operand.sValue, columns);
      }
    }
    return copy;
  }

  /**
   * Tells how long a column's results may be, however short its values are.
   *
   * @param column the column, counted from 0
   * @return the longest result in code points where it may exceed its value, else 0; of a column
   *     whose type is no text, the longest text of the type
   * @throws VELKException if the engine refuses the rule
   */
  public int longestResult(int column) {
    Type type = rules.get(column).type();
    FieldDefinition field = definition.fieldDefinitions.get(column);
    if (type.limit() == 0 || !type.takesAnyText()) {
      return field.length;
    }
    return engine.longestResult(rules.get(column).named(field.columnName), key().orElse(null));
  }

  /**
   * Gives the columns of a table the types that its database declares, those aside whose type the
   * string says, and leaves it to the database to keep columns unique: repeated results are not
   * counted.
   *
   * @param types a type for each column, in the order of the table
   * @return this
   * @throws IllegalArgumentException if their number is not that of the columns
   * @throws IllegalStateException if this was opened or closed, or is not for a table
   */
  public ParsedService typed(List<Type> types) {
    Bridge.LOCK.lock();
    try {
      requireUnused();
      if (table == null) {
        throw new IllegalStateException("types are given to the columns of a table");
      }
      if (types.size() != rules.size()) {
        throw new IllegalArgumentException(
            types.size() + " types for " + rules.size() + " columns");
      }
      List<ColumnRule> typed = new ArrayList<>();
      for (int i = 0; i < rules.size(); i++) {
        ColumnRule rule = rules.get(i);
        Type type = rule.type().equals(Type.text()) ? types.get(i) : rule.type();
        typed.add(new ColumnRule(rule.name(), type, rule.rule(), false));
        Definitions.retype(definition, i, type);
      }
      rules = List.copyOf(typed);
      return this;
    } finally {
      Bridge.LOCK.unlock();
    }
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
      return engine.start(new MaskingService(engine, columns, definition, onError, table));
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
      columns.add(Column.of(rules.get(i), bufferFor(i), onError));
    }
    return List.copyOf(columns);
  }

  /** The string told it of a column without a limit; of others the engine is asked if need be. */
  private int bufferFor(int index) {
    Type type = rules.get(index).type();
    FieldDefinition field = definition.fieldDefinitions.get(index);
    return type.limit() > 0 && BufferSize.dependsOnResult(type)
        ? engine.longestResult(rules.get(index).named(field.columnName), key().orElse(null))
        : field.length;
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
