// On Linux this library is preloaded into the virtual machine: the bridge and the engine find these functions
// before those that they mean, and whose call it is shows in the address that it returns to.

#include "helpers.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void __libc_free(void* block);

namespace helpers {

namespace {

struct Code {
    std::atomic<std::uintptr_t> begin{0};
    std::atomic<std::uintptr_t> end{0};
};

Code code_of[library_count];

// The library that holds the code at an address, or none.
int library_at(const void* code)
{
    const auto address = reinterpret_cast<std::uintptr_t>(code);
    for (int i = 0; i < library_count; ++i)
        if (address >= code_of[i].begin.load(std::memory_order_relaxed) &&
            address < code_of[i].end.load(std::memory_order_relaxed))
            return i;
    return none;
}

bool is_file_of(const char* path, const char* library)
{
    const char* slash = std::strrchr(path, '/');
    const char* file = slash == nullptr ? path : slash + 1;
    const std::size_t length = std::strlen(library);
    return std::strncmp(file, "lib", 3) == 0 && std::strncmp(file + 3, library, length) == 0 &&
           file[3 + length] == '.';
}

int note_code(dl_phdr_info* loaded, std::size_t, void* found)
{
    for (int i = 0; i < library_count; ++i) {
        if (!is_file_of(loaded->dlpi_name, library_names[i])) continue;
        for (int k = 0; k < loaded->dlpi_phnum; ++k) {
            const ElfW(Phdr)& segment = loaded->dlpi_phdr[k];
            if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
            code_of[i].begin = loaded->dlpi_addr + segment.p_vaddr;
            code_of[i].end = loaded->dlpi_addr + segment.p_vaddr + segment.p_memsz;
            ++*static_cast<int*>(found);
        }
    }
    return 0;
}

TraceBegin engine_trace_begin()
{
    void* engine = dlopen("libVELKProvider.so", RTLD_NOW | RTLD_NOLOAD);
    return engine == nullptr ? nullptr : reinterpret_cast<TraceBegin>(dlsym(engine, "Provider_TraceBegin"));
}

} // namespace

bool watch_libraries()
{
    int found = 0;
    dl_iterate_phdr(note_code, &found);
    return found == library_count;
}

} // namespace helpers

extern "C" {

void* malloc(std::size_t size)
{
    void* block = __libc_malloc(size);
    helpers::note_allocation(helpers::library_at(__builtin_return_address(0)), block);
    return block;
}

void* calloc(std::size_t count, std::size_t size)
{
    void* block = __libc_calloc(count, size);
    helpers::note_allocation(helpers::library_at(__builtin_return_address(0)), block);
    return block;
}

void* realloc(void* block, std::size_t size)
{
    const int library = helpers::library_at(__builtin_return_address(0));
    helpers::note_release(library, block);
    void* grown = __libc_realloc(block, size);
    helpers::note_allocation(library, grown);
    return grown;
}

void free(void* block)
{
    helpers::note_release(helpers::library_at(__builtin_return_address(0)), block);
    __libc_free(block);
}

std::int32_t Provider_TraceBegin(void* context, void* block)
{
    static const helpers::TraceBegin begin = helpers::engine_trace_begin();
    if (begin == nullptr) std::abort();
    return helpers::begin_or_fail(begin, context, block);
}
}
