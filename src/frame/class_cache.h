#pragma once

// The Java classes, fields and methods that the natives use, looked up once by VELK.init0. Classes are
// global references. Written by fill alone, read without locks: a native that finds its field ID null
// (the cache is not filled) does none of its work.

#include <jni.h>

namespace velk {

struct ClassCache {
    struct {
        jclass clazz;
    } String, Integer, NativeProvider;
    struct {
        jclass clazz;
        jmethodID init, add, get, size;
    } ArrayList;
    struct {
        jclass clazz;
        jmethodID init;
    } VELKException;
    struct {
        jclass clazz;
        jfieldID debug;
    } VELK;
    struct {
        jclass clazz;
        jfieldID pointer, initializationOperands;
    } FrameworkDefinition;
    struct {
        jclass clazz;
        jfieldID pointer, copyToDestination, initializationOperands, fieldDefinitions, serviceId;
    } ServiceDefinition;
    struct {
        jclass clazz;
        jfieldID pointer, parameterId, parameterName, iValue, sValue;
        jmethodID init;
    } InitializationOperand;
    struct {
        jclass clazz;
        jfieldID pointer, id, length, precision, scale, columnName;
        jmethodID init;
    } FieldDefinition;
    struct {
        jclass clazz;
        jfieldID pointer, rows, rowSetHasInfo;
    } RowSet;
    struct {
        jclass clazz;
        jfieldID pointer, hasError, fields;
    } Row;
    struct {
        jclass clazz;
        jfieldID pointer, id, sourceSize, source, destinationSize, destination, errorCode, errorMessage;
    } Field;
    bool failed; // the latest fill stopped at a lookup
};

extern ClassCache cache;

namespace class_cache {

// Looks everything up, in a fixed order; references of an earlier fill are not released. False: a lookup
// failed, the JVM's own exception is pending and every field and method ID is null, so that each native takes
// its way for a cache that is not filled. The classes behind that lookup are null too.
bool fill(JNIEnv* env);

// Deletes the global class references. The entries keep their values.
void release(JNIEnv* env);

} // namespace class_cache
} // namespace velk
