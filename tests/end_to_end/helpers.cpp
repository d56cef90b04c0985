// Preloaded into the virtual machine, before the bridge: it counts what the bridge and the engine allocate
// and free, fails trace scopes on demand, and looks into a field's record.

#include "records/rowdata.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <jni.h>
#include <link.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void __libc_free(void* block);

namespace {

// A library's code, and the blocks that calls from there took and gave back.
struct Watched {
    const char* name;
    std::atomic<std::uintptr_t> begin{0};
    std::atomic<std::uintptr_t> end{0};
    std::atomic<jlong> allocations{0};
    std::atomic<jlong> releases{0};
};

Watched libraries[] = {
    {"libVELKJNI."}, {"libVELKProvider."}, {"libVELKDataCnvLib."}, {"libVELKParser."}, {"libVELKAdapter."}};
constexpr int library_count = static_cast<int>(std::size(libraries));

std::atomic<jint> scopes_before_failure{0};
std::atomic<jint> scopes_to_fail{0};
std::atomic<jint> failure_status{0};

// The library that holds the code at an address, or null.
Watched* library_of(const void* code)
{
    const auto address = reinterpret_cast<std::uintptr_t>(code);
    for (Watched& library : libraries)
        if (address >= library.begin.load(std::memory_order_relaxed) &&
            address < library.end.load(std::memory_order_relaxed))
            return &library;
    return nullptr;
}

void note_allocation(const void* caller, const void* block)
{
    if (block == nullptr) return;
    if (Watched* library = library_of(caller)) ++library->allocations;
}

void note_release(const void* caller, const void* block)
{
    if (block == nullptr) return;
    if (Watched* library = library_of(caller)) ++library->releases;
}

int note_code(dl_phdr_info* loaded, std::size_t, void* found)
{
    for (Watched& library : libraries) {
        if (std::strstr(loaded->dlpi_name, library.name) == nullptr) continue;
        for (int i = 0; i < loaded->dlpi_phnum; ++i) {
            const ElfW(Phdr)& segment = loaded->dlpi_phdr[i];
            if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
            library.begin = loaded->dlpi_addr + segment.p_vaddr;
            library.end = loaded->dlpi_addr + segment.p_vaddr + segment.p_memsz;
            ++*static_cast<int*>(found);
        }
    }
    return 0;
}

using TraceBegin = std::int32_t (*)(void*, void*);

TraceBegin engine_trace_begin()
{
    void* engine = dlopen("libVELKProvider.so", RTLD_NOW | RTLD_NOLOAD);
    return engine == nullptr ? nullptr : reinterpret_cast<TraceBegin>(dlsym(engine, "Provider_TraceBegin"));
}

} // namespace

extern "C" {

JNIEXPORT void* malloc(std::size_t size)
{
    void* block = __libc_malloc(size);
    note_allocation(__builtin_return_address(0), block);
    return block;
}

JNIEXPORT void* calloc(std::size_t count, std::size_t size)
{
    void* block = __libc_calloc(count, size);
    note_allocation(__builtin_return_address(0), block);
    return block;
}

JNIEXPORT void* realloc(void* block, std::size_t size)
{
    note_release(__builtin_return_address(0), block);
    void* grown = __libc_realloc(block, size);
    note_allocation(__builtin_return_address(0), grown);
    return grown;
}

JNIEXPORT void free(void* block)
{
    note_release(__builtin_return_address(0), block);
    __libc_free(block);
}

JNIEXPORT std::int32_t Provider_TraceBegin(void* context, void* block)
{
    static const TraceBegin begin = engine_trace_begin();
    if (begin == nullptr) std::abort();
    if (scopes_to_fail == 0) return begin(context, block);
    if (scopes_before_failure > 0) {
        --scopes_before_failure;
        return begin(context, block);
    }
    --scopes_to_fail;
    return failure_status;
}

// Counts from here on; false unless all five libraries are loaded.
JNIEXPORT jboolean JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_watchLibraries(JNIEnv*, jclass)
{
    int found = 0;
    dl_iterate_phdr(note_code, &found);
    return found == library_count;
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_bridgeAllocations(JNIEnv*, jclass)
{
    return libraries[0].allocations;
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_bridgeReleases(JNIEnv*, jclass)
{
    return libraries[0].releases;
}

// The engine's four libraries together.
JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_engineAllocations(JNIEnv*, jclass)
{
    jlong sum = 0;
    for (int i = 1; i < library_count; ++i) sum += libraries[i].allocations;
    return sum;
}

JNIEXPORT jlong JNICALL Java_com_brel_sorn_velk_masking_NativeHelpers_engineReleases(JNIEnv*, jclass)
{
    jlong sum = 0;
    for (int i = 1; i < library_count; ++i) sum += libraries[i].releases;
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
