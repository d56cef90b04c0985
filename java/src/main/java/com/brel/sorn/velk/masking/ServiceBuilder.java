package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/**
 * Describes a service column by column; {@link #toString()} writes it as a masking string. Names,
 * types and texts are checked as they are given; what only the engine knows, such as its functions
 * and the key, when the service is opened. A builder belongs to one thread.
 */
public final class ServiceBuilder {
  private static final Pattern ID = Pattern.compile("[A-Za-z0-9_-]{1,9}");
  private static final Pattern KEY = Pattern.compile("(env|file):.+", Pattern.DOTALL);
  static final int MOST_COLUMNS = 65_535;

  private final Engine engine;
  private final String id;
  private final Map<String, ColumnRule> columns = new LinkedHashMap<>();
  private @Nullable String key;
  private OnError onError = OnError.UNSAID;
  private boolean masksNulls;

  ServiceBuilder(Engine engine, String id) {
    if (!ID.matcher(Objects.requireNonNull(id, "id")).matches()) {
      throw new IllegalArgumentException(
          "\"" + id + "\" is no service id: 1 to 9 ASCII letters, digits, '_' and '-'");
    }
    this.engine = engine;
    this.id = id;
  }

  /**
   * Says where the engine finds the masking key; the key itself is never given here.
   *
   * @param place {@code env:NAME} or {@code file:PATH}
   * @return this
   * @throws IllegalArgumentException if it is neither
   */
  public ServiceBuilder key(String place) {
    if (!KEY.matcher(Objects.requireNonNull(place, "place")).matches()) {
      throw new IllegalArgumentException("a key is named as env:NAME or file:PATH");
    }
    key = Text.requireFit("place of the key", place);
    return this;
  }

  /**
   * Says what becomes of a value that cannot be masked.
   *
   * @param choice the choice
   * @return this
   */
  public ServiceBuilder onError(OnError choice) {
    onError = Objects.requireNonNull(choice, "choice");
    return this;
  }

  /**
   * Has null values masked like any other; unless this is said, null stays null.
   *
   * @return this
   */
  public ServiceBuilder maskNulls() {
    masksNulls = true;
    return this;
  }

  /**
   * Adds a column.
   *
   * @param name the column's name
   * @param type its declared type
   * @param rule how it is masked
   * @return this
   * @throws IllegalArgumentException if the name is empty, not well-formed or taken
   */
  public ServiceBuilder column(String name, Type type, Rule rule) {
    return column(new ColumnRule(name, type, rule, false));
  }

  /**
   * Adds a column whose values must stay different from each other.
   *
   * @param name the column's name
   * @param type its declared type
   * @param rule how it is masked
   * @return this
   * @throws IllegalArgumentException if the name is empty, not well-formed or taken
   */
  public ServiceBuilder uniqueColumn(String name, Type type, Rule rule) {
    return column(new ColumnRule(name, type, rule, true));
  }

  /**
   * Adds a column, such as one of another service.
   *
   * @param column the column
   * @return this
   * @throws IllegalArgumentException if the name is taken
   */
  public ServiceBuilder column(ColumnRule column) {
    String name = Objects.requireNonNull(column, "column").name();
    if (columns.containsKey(name)) {
      throw new IllegalArgumentException("there is a column \"" + name + "\" already");
    }
    if (columns.size() == MOST_COLUMNS) {
      throw new IllegalArgumentException("a service has at most " + MOST_COLUMNS + " columns");
    }
    columns.put(name, column);
    return this;
  }

  /**
   * Starts the service.
   *
   * @return the running service, to be closed by the caller or with its engine
   * @throws IllegalStateException if the engine is closed, or the service has no columns
   * @throws IllegalArgumentException if a rule's longest result is too long for any buffer
   * @throws com.brel.sorn.velk.VELKException if the engine refuses the description
   */
  public MaskingService open() {
    if (columns.isEmpty()) {
      throw new IllegalStateException("the service \"" + id + "\" has no columns");
    }
    List<Column> all = columns.values().stream().map(this::measured).toList();
    return engine.start(new MaskingService(engine, all, definition(all), onError, null));
  }

  private Column measured(ColumnRule column) {
    int longest = column.rule().longestResult();
    if (longest == Rule.UNKNOWN) {
      longest = BufferSize.dependsOnResult(column.type()) ? engine.longestResult(column, key) : 0;
    }
    return Column.of(column, longest, onError);
  }

  private ServiceDefinition definition(List<Column> all) {
    ServiceDefinition definition = new ServiceDefinition();
    definition.serviceId = id;
    add(definition, "key", key);
    // A batch is stopped here, where its rows are counted.
    boolean sent = onError.way() == OnError.Way.REPLACEMENT;
    add(definition, "on_error", sent ? onError.toString() : null);
    add(definition, "on_null", masksNulls ? "mask" : null);
    all.forEach(column -> Definitions.add(definition, column));
    return definition;
  }

  private static void add(ServiceDefinition definition, String name, @Nullable String value) {
    if (value != null) {
      definition.initializationOperands.add(Definitions.operand(Definitions.WHOLE, name, value));
    }
  }

  /**
   * Writes the service as a masking string, of which {@link Engine#parse} makes the same service.
   *
   * @return the masking string as far as the service is described; a key is named, never shown
   */
  @Override
  public String toString() {
    return MaskingString.of(id, key, onError, masksNulls, columns.values());
  }
}
