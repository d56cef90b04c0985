package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.internal.FieldDefinition;
import com.brel.sorn.velk.internal.FrameworkDefinition;
import com.brel.sorn.velk.internal.InitializationOperand;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.Collectors;
import org.jspecify.annotations.Nullable;

/** Definitions in the form that crosses into native code, their records, and the end of those. */
final class Definitions {
  /** The parameter id of what speaks of the whole; column k has id k, counted from 1. */
  static final int WHOLE = 0;

  private Definitions() {}

  static FrameworkDefinition framework(@Nullable Trace trace) {
    FrameworkDefinition definition = new FrameworkDefinition();
    if (trace != null) {
      definition.initializationOperands.add(operand(WHOLE, "trace", trace.mask()));
      definition.initializationOperands.add(operand(WHOLE, "trace_file", trace.file().toString()));
    }
    return definition;
  }

  static InitializationOperand operand(int id, String name, String value) {
    InitializationOperand operand = new InitializationOperand();
    operand.parameterId = id;
    operand.parameterName = name;
    operand.sValue = value;
    return operand;
  }

  /** Adds a column with its rule and its type. */
  static void add(ServiceDefinition definition, Column column) {
    Type type = column.rule().type();
    Rule rule = column.rule().rule();
    FieldDefinition field = new FieldDefinition();
    field.id = Column.EXCHANGE_TYPE;
    field.length = column.limit();
    field.precision = type.precision();
    field.scale = type.scale();
    field.columnName = column.name();
    definition.fieldDefinitions.add(field);

    int id = definition.fieldDefinitions.size();
    List<InitializationOperand> operands = definition.initializationOperands;
    operands.add(operand(id, rule.function(), rule.arguments()));
    operands.add(operand(id, "type", type.toString()));
    if (column.rule().unique()) {
      operands.add(operand(id, "unique", "true"));
    }
  }

  /**
   * Gives a column of a definition without records another type. Of {@code text} the length is that
   * of the longest result, which is left as it is.
   *
   * @param column counted from 0
   */
  static void retype(ServiceDefinition definition, int column, Type type) {
    FieldDefinition field = definition.fieldDefinitions.get(column);
    field.length = type.limit() > 0 ? type.limit() : field.length;
    field.precision = type.precision();
    field.scale = type.scale();
    int id = column + 1;
    definition.initializationOperands.removeIf(
        operand ->
            operand.parameterId == id
                && (operand.parameterName.equals("type")
                    || operand.parameterName.equals("unique")));
    definition.initializationOperands.add(operand(id, "type", type.toString()));
  }

  /** The operands of the whole and of each column, in their order. */
  static Map<Integer, List<InitializationOperand>> byId(ServiceDefinition definition) {
    return definition.initializationOperands.stream()
        .collect(Collectors.groupingBy(operand -> operand.parameterId));
  }

  /**
   * Copies a definition without its records.
   *
   * @param columns the column that each of the copy's is one of; one may be there several times
   */
  static ServiceDefinition copy(ServiceDefinition definition, List<Integer> columns) {
    Map<Integer, List<InitializationOperand>> operands = byId(definition);
    ServiceDefinition copy = new ServiceDefinition();
    copy.serviceId = definition.serviceId;
    copyOperands(operands, WHOLE, copy);
    for (int column : columns) {
      copy.fieldDefinitions.add(copy(definition.fieldDefinitions.get(column)));
      copyOperands(operands, column + 1, copy);
    }
    return copy;
  }

  /** Copies the operands of the whole, or of the column whose copy was added last. */
  private static void copyOperands(
      Map<Integer, List<InitializationOperand>> operands, int id, ServiceDefinition copy) {
    int newId = copy.fieldDefinitions.size();
    for (InitializationOperand operand : operands.getOrDefault(id, List.of())) {
      copy.initializationOperands.add(copy(operand, newId));
    }
  }

  private static FieldDefinition copy(FieldDefinition field) {
    FieldDefinition copy = new FieldDefinition();
    copy.id = field.id;
    copy.length = field.length;
    copy.precision = field.precision;
    copy.scale = field.scale;
    copy.columnName = field.columnName;
    return copy;
  }

  private static InitializationOperand copy(InitializationOperand operand, int id) {
    InitializationOperand copy = operand(id, operand.parameterName, operand.sValue);
    copy.iValue = operand.iValue;
    return copy;
  }

  /** The text of an operand of the whole, empty where there is none. */
  static Optional<String> find(ServiceDefinition definition, String name) {
    return definition.initializationOperands.stream()
        .filter(operand -> operand.parameterId == WHOLE)
        .filter(operand -> name.equals(operand.parameterName))
        .map(operand -> operand.sValue)
        .findFirst();
  }

  static void toC(FrameworkDefinition definition) {
    toC(definition.initializationOperands);
    Bridge.check(definition.toC(), "FrameworkDefinition.toC");
  }

  static void toC(ServiceDefinition definition) {
    toC(definition.initializationOperands);
    for (FieldDefinition field : definition.fieldDefinitions) {
      Bridge.check(field.toC(), "FieldDefinition.toC");
    }
    Bridge.check(definition.toC(), "ServiceDefinition.toC");
  }

  /** Makes the objects of a definition that came as records, and fills them; once only. */
  static void toJava(ServiceDefinition definition) {
    Bridge.check(definition.toJava(), "ServiceDefinition.toJava");
    for (InitializationOperand operand : definition.initializationOperands) {
      Bridge.check(operand.toJava(), "InitializationOperand.toJava");
    }
    for (FieldDefinition field : definition.fieldDefinitions) {
      Bridge.check(field.toJava(), "FieldDefinition.toJava");
    }
  }

  /** Takes an operand of the whole out of a definition, and frees its record where it has one. */
  static void remove(ServiceDefinition definition, String name) {
    for (InitializationOperand operand : List.copyOf(definition.initializationOperands)) {
      if (operand.parameterId == WHOLE && name.equals(operand.parameterName)) {
        definition.initializationOperands.remove(operand);
        if (definition.pointer() != 0) {
          // Links the records that are left, so that none leads to the one that goes.
          Bridge.check(definition.toC(), "ServiceDefinition.toC");
        }
        operand.free();
      }
    }
  }

  private static void toC(List<InitializationOperand> operands) {
    for (InitializationOperand operand : operands) {
      Bridge.check(operand.toC(), "InitializationOperand.toC");
    }
  }

  static void free(FrameworkDefinition definition) {
    definition.initializationOperands.forEach(InitializationOperand::free);
    definition.free();
  }

  static void free(ServiceDefinition definition) {
    definition.initializationOperands.forEach(InitializationOperand::free);
    definition.fieldDefinitions.forEach(FieldDefinition::free);
    definition.free();
  }
}
