#pragma once

// Linking child records under their parent: the parent points at the first child, each child's first word
// at the next one, the last one's is null, in the order of the Java list or array.

#include "frame/call.h"

#include <jni.h>

namespace velk::chain {

// Which children a parent has, and where they hang.
struct Children {
    const char* name;             // of the parent's field, for messages
    jfieldID field;               // of the parent: the list or array
    void* first = nullptr;        // address of the parent's first-child pointer; null: only read
    const char* native = nullptr; // that makes a child's record, for messages
    jfieldID pointer = nullptr;   // of a child
};

// The list or array as Java holds it.
struct Container {
    jobject object = nullptr;
    jint count = 0;
};

// Read the list or array and count it. False after throwing, or with a Java exception pending. Where there
// is no list or array, the first-child pointer is set to null.
bool read_list(Call& call, const Children& children, Container& list);
bool read_array(Call& call, const Children& children, Container& array);

// Link all children, whatever the width of the parent's count; without any, the first-child pointer stays
// as it was. False after throwing, or with a Java exception pending: what is linked so far ends with null.
//
// A list child without a record puts a null link into the chain, and the child behind it becomes the first
// one again; only the last child must have a record. An array child without a record always throws: what
// it holds would come back unmasked.
bool link_list(Call& call, const Children& children, const Container& list);
bool link_array(Call& call, const Children& children, const Container& array);

} // namespace velk::chain
