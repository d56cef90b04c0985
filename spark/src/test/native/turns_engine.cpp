// A provider library that passes each call on to the real one, which lies in the folder "real" beside it, and
// fails a call that comes while another is under way. A call that masks waits for such another: a while where
// callers are to take turns, and where ALLOWS_THREADS is defined, so that it says that it allows threads,
// until there was one. Where REFUSES_ROWS is, the first row of each call is in error, and none of its values.

#include <atomic>
#include <cstdint>
#include <dlfcn.h>
#include <string>
#include <unistd.h>

#if defined(REFUSES_ROWS)
#include "records/rowdata.h"
#endif

namespace {

using Word = std::intptr_t;
using Operation = Word(Word, Word, Word, Word, Word, Word);

constexpr Word overlapped = 9001;

void* real_library()
{
    static void* const library = [] {
        Dl_info own{};
        dladdr(reinterpret_cast<void*>(&real_library), &own);
        const std::string path = own.dli_fname;
        const std::string name = "libVELKProvider.so";
        return dlopen((path.substr(0, path.size() - name.size()) + "real/" + name).c_str(), RTLD_NOW);
    }();
    return library;
}

Operation* real(const char* name)
{
    return reinterpret_cast<Operation*>(dlsym(real_library(), name));
}

std::atomic<int> under_way{0};
std::atomic<bool> met{false};

// In milliseconds. Tasks that are to meet may start far apart on a busy machine.
#if defined(ALLOWS_THREADS)
constexpr int patience = 60'000;
#else
constexpr int patience = 20;
#endif

void wait_for_another()
{
    for (int waited = 0; waited < patience && !met; ++waited) usleep(1000);
}

Word alone(const char* name, Word a, Word b, Word c, Word d, Word e, Word f, bool waits = false)
{
    const bool first = under_way.fetch_add(1) == 0;
    if (!first) met = true;
    if (first && waits) wait_for_another();
    const Word status = first ? real(name)(a, b, c, d, e, f) : overlapped;
    under_way.fetch_sub(1);
    return status;
}

Word serve(Word a, Word b, Word c, Word d, Word e, Word f)
{
    const Word status = alone("Provider_Service", a, b, c, d, e, f, true);
#if defined(REFUSES_ROWS)
    reinterpret_cast<velk::RWST*>(d)->firstRow->hasError = 1;
#endif
    return status;
}

} // namespace

// All arguments are whole numbers and addresses, at most six: they pass through as they came.
#define PASS_ON(name, how)                                                                                   \
    extern "C" Word name(Word a, Word b, Word c, Word d, Word e, Word f)                                     \
    {                                                                                                        \
        return how;                                                                                          \
    }
#define ALONE(name) PASS_ON(name, alone(#name, a, b, c, d, e, f))
#define ANY_TIME(name) PASS_ON(name, real(#name)(a, b, c, d, e, f))

ALONE(Provider_FrmwInit)
ALONE(Provider_FrmwTerm)
ALONE(Provider_Init)
PASS_ON(Provider_Service, serve(a, b, c, d, e, f))
ALONE(Provider_Term)
ANY_TIME(Provider_GetErrorMessage)
ANY_TIME(Provider_ListFile)
ANY_TIME(Provider_TraceBegin)
ANY_TIME(Provider_TraceEnd)
ANY_TIME(Provider_TraceWrite)
ANY_TIME(Provider_TraceRegister)

#if defined(ALLOWS_THREADS)
extern "C" std::int32_t Provider_AllowsThreads()
{
    return 1;
}
#endif
