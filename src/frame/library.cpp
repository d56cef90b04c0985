// The library's entry point. Nothing else happens at load: the class cache is empty until VELK.init0 runs.

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    // Only a saving: where the compiler's start-up code gives the library thread-local storage, as
    // mingw-w64's does, the system refuses, and the notifications that go on coming are ignored here.
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}

#endif
