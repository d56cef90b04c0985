#include "support/repeated_memory.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace velk::test {

#if defined(_WIN32)

RepeatedMemory::RepeatedMemory()
{
    const HANDLE file =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, DWORD{chunk}, nullptr);
    EXPECT_NE(file, nullptr);
    // Found by reserving it whole, then filled piece by piece: only free room can be mapped.
    start = static_cast<char*>(VirtualAlloc(nullptr, size + page, MEM_RESERVE, PAGE_NOACCESS));
    EXPECT_NE(start, nullptr);
    EXPECT_TRUE(VirtualFree(start, 0, MEM_RELEASE));
    for (std::size_t offset = 0; offset < size; offset += chunk)
        EXPECT_EQ(MapViewOfFileEx(file, FILE_MAP_WRITE, 0, 0, chunk, start + offset), start + offset);
    EXPECT_EQ(VirtualAlloc(start + size, page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE), start + size);
    CloseHandle(file);
}

RepeatedMemory::~RepeatedMemory()
{
    for (std::size_t offset = 0; offset < size; offset += chunk) UnmapViewOfFile(start + offset);
    VirtualFree(start + size, 0, MEM_RELEASE);
}

#else

RepeatedMemory::RepeatedMemory()
{
    const int file = memfd_create("repeated", 0);
    EXPECT_EQ(ftruncate(file, chunk), 0);
    constexpr int access = PROT_READ | PROT_WRITE;
    start = static_cast<char*>(
        mmap(nullptr, size + page, access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    for (std::size_t offset = 0; offset < size; offset += chunk)
        EXPECT_NE(mmap(start + offset, chunk, access, MAP_SHARED | MAP_FIXED, file, 0), MAP_FAILED);
    close(file);
}

RepeatedMemory::~RepeatedMemory()
{
    munmap(start, size + page);
}

#endif

} // namespace velk::test
