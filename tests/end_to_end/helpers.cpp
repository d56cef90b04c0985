// Natives of the tests: what the bridge and the engine allocated and freed, trace scopes that fail on demand,
// and a look into a field's record.

#include "helpers.h"

#include "records/rowdata.h"

#include <algorithm>
#include <atomic>
#include <jni.h>

namespace helpers {

namespace {

// The blocks that a library's calls took and gave back.
struct Blocks {
    std::atomic<jlong> taken{0};
    std::atomic<jlong> given_back{0};
};

Blocks blocks[library_count];

std::atomic<jint> scopes_before_failure{0};
std::atomic<jint> scopes_to_fail{0};
std::atomic<jint> failure_status{0};

} // namespace

void note_allocation(int library, void* block)
{
    if (library != none && block != nullptr) ++blocks[library].taken;
}

void note_release(int library, void* block)
{
    if (library != none && block != nullptr) ++blocks[library].given_back;
}

std::int32_t begin_or_fail(TraceBegin begin, void* context, void* block)
{
    if (scopes_to_fail == 0) return begin(context, block);
    if (scopes_before_failure > 0) {
        --scopes_before_failure;
        return begin(context, block);
    }
    --scopes_to_fail;
    return failure_status;
}

} // namespace helpers

using namespace helpers;

extern "C" {

// Counts from here on; false unless all five libraries are loaded.
JNIEXPORT jboolean JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_watchLibraries(JNIEnv*, jclass)
{
    return watch_libraries();
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_bridgeAllocations(JNIEnv*, jclass)
{
    return blocks[bridge].taken;
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_bridgeReleases(JNIEnv*, jclass)
{
    return blocks[bridge].given_back;
}

// The engine's four libraries together.
JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_engineAllocations(JNIEnv*, jclass)
{
    jlong sum = 0;
    for (int i = bridge + 1; i < library_count; ++i) sum += blocks[i].taken;
    return sum;
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_engineReleases(JNIEnv*, jclass)
{
    jlong sum = 0;
    for (int i = bridge + 1; i < library_count; ++i) sum += blocks[i].given_back;
    return sum;
}

// So many scopes fail with the status, from the one with this number on, counted from 1.
JNIEXPORT void JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_failTraceScope(JNIEnv*, jclass,
                                                                                    jint from, jint count,
                                                                                    jint status)
{
    failure_status = status;
    scopes_before_failure = from - 1;
    scopes_to_fail = count;
}

// Whether failures that were asked for are still to come.
JNIEXPORT jboolean JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_failureIsPending(JNIEnv*, jclass)
{
    return scopes_to_fail > 0;
}

// Whether a field's record holds a byte of a value.
JNIEXPORT jboolean JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_holdsValue(JNIEnv*, jclass,
                                                                                    jlong pointer)
{
    const auto* record = reinterpret_cast<const velk::DATA*>(pointer);
    if (record == nullptr || record->buffer == nullptr) return JNI_FALSE;
    const auto* bytes = static_cast<const unsigned char*>(record->buffer);
    return std::any_of(bytes, bytes + record->bufferSize, [](unsigned char byte) { return byte != 0; });
}
}
