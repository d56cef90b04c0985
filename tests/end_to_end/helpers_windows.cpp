// On Windows nothing can be put before the functions that a library imports, but the addresses that it calls
// them by stand in a table of its own: each of the libraries is given these functions in their place.

#include "helpers.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <windows.h>

namespace helpers {

namespace {

constexpr WORD trace_begin_ordinal = 12;
TraceBegin engine_trace_begin;

std::int32_t trace_begin(void* context, void* block)
{
    return begin_or_fail(engine_trace_begin, context, block);
}

// All five libraries and this one have the same C runtime, so its functions are the ones meant.
template <int library> struct Counting {
    static void* malloc(std::size_t size)
    {
        void* block = std::malloc(size);
        note_allocation(library, block);
        return block;
    }

    static void* calloc(std::size_t count, std::size_t size)
    {
        void* block = std::calloc(count, size);
        note_allocation(library, block);
        return block;
    }

    static void* realloc(void* block, std::size_t size)
    {
        note_release(library, block);
        void* grown = std::realloc(block, size);
        note_allocation(library, grown);
        return grown;
    }

    static void free(void* block)
    {
        note_release(library, block);
        std::free(block);
    }
};

template <typename T> T* at(HMODULE library, DWORD offset)
{
    return reinterpret_cast<T*>(reinterpret_cast<std::byte*>(library) + offset);
}

// The place of the address by which a library calls what it imports from another one; null if it does not.
template <typename Wanted> void** import_of(HMODULE library, const char* exporter, Wanted is_wanted)
{
    const auto* dos = at<IMAGE_DOS_HEADER>(library, 0);
    const auto* headers = at<IMAGE_NT_HEADERS>(library, static_cast<DWORD>(dos->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto* table = at<IMAGE_IMPORT_DESCRIPTOR>(library, directory.VirtualAddress);
    for (; table->Name != 0; ++table) {
        if (_stricmp(at<char>(library, table->Name), exporter) != 0) continue;
        const auto* asked = at<IMAGE_THUNK_DATA>(library, table->OriginalFirstThunk);
        auto* found = at<IMAGE_THUNK_DATA>(library, table->FirstThunk);
        for (; asked->u1.AddressOfData != 0; ++asked, ++found)
            if (is_wanted(*asked)) return reinterpret_cast<void**>(&found->u1.Function);
    }
    return nullptr;
}

void** import_of(HMODULE library, const char* exporter, const char* name)
{
    return import_of(library, exporter, [=](const IMAGE_THUNK_DATA& asked) {
        return !IMAGE_SNAP_BY_ORDINAL(asked.u1.Ordinal) &&
               std::strcmp(
                   at<IMAGE_IMPORT_BY_NAME>(library, static_cast<DWORD>(asked.u1.AddressOfData))->Name,
                   name) == 0;
    });
}

void** import_of(HMODULE library, const char* exporter, WORD ordinal)
{
    return import_of(library, exporter, [=](const IMAGE_THUNK_DATA& asked) {
        return IMAGE_SNAP_BY_ORDINAL(asked.u1.Ordinal) && IMAGE_ORDINAL(asked.u1.Ordinal) == ordinal;
    });
}

// What stood there before; null if there is no such place.
template <typename Function> Function* replace(void** place, Function* function)
{
    DWORD protection = 0;
    if (place == nullptr || !VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection))
        return nullptr;
    void* former = std::exchange(*place, reinterpret_cast<void*>(function));
    VirtualProtect(place, sizeof *place, protection, &protection);
    return reinterpret_cast<Function*>(former);
}

template <int library> bool count()
{
    HMODULE module = GetModuleHandleA(library_names[library]);
    const char* runtime = "msvcrt.dll";
    using Functions = Counting<library>;
    return module != nullptr && replace(import_of(module, runtime, "malloc"), Functions::malloc) != nullptr &&
           replace(import_of(module, runtime, "calloc"), Functions::calloc) != nullptr &&
           replace(import_of(module, runtime, "realloc"), Functions::realloc) != nullptr &&
           replace(import_of(module, runtime, "free"), Functions::free) != nullptr;
}

template <int... libraries> bool count_all(std::integer_sequence<int, libraries...>)
{
    return (count<libraries>() && ...);
}

bool replace_imports()
{
    if (!count_all(std::make_integer_sequence<int, library_count>())) return false;
    void** place =
        import_of(GetModuleHandleA(library_names[bridge]), "VELKProvider.dll", trace_begin_ordinal);
    engine_trace_begin = place == nullptr ? nullptr : reinterpret_cast<TraceBegin>(*place);
    return replace(place, trace_begin) != nullptr;
}

} // namespace

bool watch_libraries()
{
    static const bool watched = replace_imports();
    return watched;
}

} // namespace helpers
