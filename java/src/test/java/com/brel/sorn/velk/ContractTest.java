package com.brel.sorn.velk;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import com.brel.sorn.velk.internal.FieldDefinition;
import com.brel.sorn.velk.internal.FrameworkDefinition;
import com.brel.sorn.velk.internal.InitializationOperand;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The members that the native library looks up by name. */
class ContractTest {
  private static final List<Class<?>> MIRRORS =
      List.of(
          FrameworkDefinition.class,
          ServiceDefinition.class,
          InitializationOperand.class,
          FieldDefinition.class,
          RowSet.class,
          Row.class,
          com.brel.sorn.velk.Field.class);

  @Test
  void theMirrorsHaveExactlyTheFieldsThatNativeCodeUses() {
    assertEquals(
        Set.of("long pointer", "ArrayList initializationOperands"),
        fields(FrameworkDefinition.class));
    assertEquals(
        Set.of(
            "long pointer",
            "boolean copyToDestination",
            "ArrayList initializationOperands",
            "ArrayList fieldDefinitions",
            "String serviceId"),
        fields(ServiceDefinition.class));
    assertEquals(
        Set.of(
            "long pointer",
            "int parameterId",
            "String parameterName",
            "int iValue",
            "String sValue"),
        fields(InitializationOperand.class));
    assertEquals(
        Set.of(
            "long pointer",
            "int id",
            "int length",
            "int precision",
            "int scale",
            "String columnName"),
        fields(FieldDefinition.class));
    assertEquals(
        Set.of("long pointer", "Row[] rows", "boolean rowSetHasInfo"), fields(RowSet.class));
    assertEquals(Set.of("long pointer", "boolean hasError", "Field[] fields"), fields(Row.class));
    assertEquals(
        Set.of(
            "long pointer",
            "int id",
            "int sourceSize",
            "Object source",
            "int destinationSize",
            "Object destination",
            "int errorCode",
            "String errorMessage"),
        fields(com.brel.sorn.velk.Field.class));
    assertEquals(Set.of("boolean debug"), fields(VELK.class));
  }

  @Test
  void theNativesAreInstanceMethodsWithTheirSignatures() {
    assertEquals(
        Set.of(
            "void init0()",
            "int initializeFramework0(FrameworkDefinition)",
            "int parseVELKSyntaxString(String, ServiceDefinition)",
            "int terminateFramework0()",
            "int destroy0()"),
        natives(VELK.class));
    assertEquals(
        Set.of(
            "int initializeProvider0(String, ServiceDefinition, boolean)",
            "int serviceProvider0(int, ServiceDefinition, RowSet)",
            "int terminateProvider0(int)"),
        natives(NativeProvider.class));
    for (Class<?> mirror : MIRRORS) {
      assertEquals(
          Set.of("int toC()", "int toJava()", "void free()"), natives(mirror), mirror.getName());
    }
  }

  @ParameterizedTest
  @ValueSource(classes = {InitializationOperand.class, FieldDefinition.class})
  void nativeCodeCanMakeTheObjectsOfADefinition(Class<?> mirror) throws Exception {
    assertEquals(mirror, mirror.getDeclaredConstructor().newInstance().getClass());
  }

  @Test
  void anExceptionCarriesItsCode() throws Exception {
    VELKException failure =
        VELKException.class.getConstructor(String.class, int.class).newInstance("text", -1);
    assertEquals("text", failure.getMessage());
    assertEquals(-1, failure.code());
  }

  private static Set<String> fields(Class<?> mirror) {
    Set<String> fields = new TreeSet<>();
    for (Field field : mirror.getDeclaredFields()) {
      assertFalse(Modifier.isStatic(field.getModifiers()), field.getName());
      fields.add(field.getType().getSimpleName() + " " + field.getName());
    }
    return fields;
  }

  private static Set<String> natives(Class<?> mirror) {
    Set<String> natives = new TreeSet<>();
    for (Method method : mirror.getDeclaredMethods()) {
      if (Modifier.isNative(method.getModifiers())) {
        assertFalse(Modifier.isStatic(method.getModifiers()), method.getName());
        List<String> types = new ArrayList<>();
        Arrays.stream(method.getParameterTypes()).forEach(type -> types.add(type.getSimpleName()));
        natives.add(
            method.getReturnType().getSimpleName()
                + " "
                + method.getName()
                + "("
                + String.join(", ", types)
                + ")");
      }
    }
    return natives;
  }
}
