package com.brel.sorn.velk.internal;

import java.util.ArrayList;

// What VELK.init0 looks up in this package, and nothing else.

class FrameworkDefinition {
  long pointer;
  ArrayList<InitializationOperand> initializationOperands;
}

class ServiceDefinition {
  long pointer;
  boolean copyToDestination;
  ArrayList<InitializationOperand> initializationOperands;
  ArrayList<FieldDefinition> fieldDefinitions;
  String serviceId;
}

class InitializationOperand {
  long pointer;
  int parameterId;
  String parameterName;
  int iValue;
  String sValue;
}

class FieldDefinition {
  long pointer;
  int id;
  int length;
  int precision;
  int scale;
  String columnName;
}
