// The library's entry point, which only Windows calls.

#if defined(_WIN32)

#include <gtest/gtest.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace velk::test {

TEST(LibraryEntryPoint, ReturnsTrueForEveryReason)
{
    const HINSTANCE module = GetModuleHandleW(nullptr);
    for (const DWORD reason :
         {DLL_PROCESS_ATTACH, DLL_THREAD_ATTACH, DLL_THREAD_DETACH, DLL_PROCESS_DETACH, 77})
        EXPECT_EQ(DllMain(module, reason, nullptr), TRUE) << reason;
}

// It sets no error where there is nothing to do: nothing else is called then.
TEST(LibraryEntryPoint, CallsTheSystemAtProcessAttachAlone)
{
    HINSTANCE const no_module = reinterpret_cast<HINSTANCE>(1);
    SetLastError(ERROR_SUCCESS);
    for (const DWORD reason : {DLL_THREAD_ATTACH, DLL_THREAD_DETACH, DLL_PROCESS_DETACH})
        EXPECT_EQ(DllMain(no_module, reason, nullptr), TRUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(DllMain(no_module, DLL_PROCESS_ATTACH, nullptr), TRUE);
    EXPECT_NE(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS)) << "that module's calls were not disabled";
}

} // namespace velk::test

#endif
