// Where a key comes from, what is no key, and that nothing of it stays behind.

#include "support.h"

#include "masking/key.h"
#include "memory_search.h"
#include "text/unicode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#if defined(_WIN32)
#include <windows.h>

#include <sddl.h>
#endif

namespace velk::test {
namespace {

class Keys : public FrameworkTest {
protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        path_ = std::filesystem::path(testing::TempDir()) / u8"velk key test 日本";
    }

    void TearDown() override
    {
        std::filesystem::remove(path_);
        FrameworkTest::TearDown();
    }

    void write(const std::string& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }

    std::string source() const { return "file:" + utf8(path_); }

    std::filesystem::path path_;
};

std::int32_t start_with(const std::string& source)
{
    Service service;
    service.operand(0, "key", source);
    service.column("name", "hash", "", 32);
    return try_start(service);
}

std::u16string masked_with(const std::string& source)
{
    Service service;
    service.operand(0, "key", source);
    service.column("name", "hash", "", 32);
    Rows rows(1);
    rows.add({u"Anna"});
    const std::int32_t handle = start(service);
    EXPECT_EQ(run(handle, service, rows), 0);
    EXPECT_EQ(Provider_Term(handle), 0);
    return rows.text(0);
}

TEST_F(Keys, lose_one_line_end_wherever_they_come_from)
{
    const std::u16string expected = masked_with("env:VELK_TEST_KEY");
    for (const std::string end : {"", "\n", "\r\n"}) {
        const std::string bytes = test_key + end;
        write(bytes);
        EXPECT_EQ(masked_with(source()), expected);
        set_environment("VELK_TEST_KEY", bytes.c_str());
        EXPECT_EQ(masked_with("env:VELK_TEST_KEY"), expected);
    }
    for (const std::string end : {"\n\n", "\r", " ", "\n\r"}) {
        const std::string bytes = test_key + end;
        write(bytes);
        const std::u16string other = masked_with(source());
        EXPECT_NE(other, expected);
        set_environment("VELK_TEST_KEY", bytes.c_str());
        EXPECT_EQ(masked_with("env:VELK_TEST_KEY"), other);
    }
}

TEST_F(Keys, may_be_as_long_as_a_variable_of_several_blocks)
{
    const std::string bytes = "0123456789" + std::string(1000, 'x');
    write(bytes);
    set_environment("VELK_TEST_KEY", bytes.c_str());
    EXPECT_EQ(masked_with("env:VELK_TEST_KEY"), masked_with(source()));
}

TEST_F(Keys, start_with_no_byte_order_mark)
{
    const std::string bytes = std::string("\xEF\xBB\xBF") + test_key;
    write(bytes);
    expect_code(start_with(source()), key_with_byte_order_mark);
#if !defined(_WIN32) // where the test's own narrow text would become other characters
    set_environment("VELK_TEST_KEY", bytes.c_str());
    expect_code(start_with("env:VELK_TEST_KEY"), key_with_byte_order_mark);
    EXPECT_TRUE(contains(texts_of(key_with_byte_order_mark).heading, u"\"env:VELK_TES***\""));
#endif
}

TEST_F(Keys, are_more_than_one_byte_repeated)
{
    for (const std::string& bytes :
         {std::string(16, '0'), std::string(64, 'x'), std::string(32, '\0'), std::string(16, 'a') + "\r\n"}) {
        write(bytes);
        expect_code(start_with(source()), key_of_one_byte);
    }
    set_environment("VELK_TEST_KEY", "0000000000000000");
    expect_code(start_with("env:VELK_TEST_KEY"), key_of_one_byte);
    write(std::string(15, '0') + "1");
    EXPECT_EQ(start_with(source()), 0);
}

TEST_F(Keys, have_16_bytes)
{
    write("fifteen letters\n");
    expect_code(start_with(source()), key_too_short);
    write("");
    expect_code(start_with(source()), key_too_short);
    write("sixteen letters!\n");
    EXPECT_EQ(start_with(source()), 0);
}

TEST_F(Keys, stand_in_a_file_of_64_kibibytes_at_most)
{
    write("0" + std::string(65534, 'x') + "\n");
    EXPECT_EQ(start_with(source()), 0);
    write("0" + std::string(65535, 'x') + "\n");
    expect_code(start_with(source()), key_file_unreadable);
}

TEST_F(Keys, stand_in_a_regular_file_or_behind_a_link_to_one)
{
    expect_code(start_with("file:" + testing::TempDir()), key_file_unreadable);
    expect_code(start_with("file:" + testing::TempDir() + "no such key"), key_file_unreadable);
    expect_code(start_with("file:/dev/zero"), key_file_unreadable); // a device, or not there at all
#if !defined(_WIN32)
    write(test_key);
    const std::filesystem::path link = path_.string() + ".link";
    std::filesystem::create_symlink(path_, link);
    EXPECT_EQ(start_with("file:" + link.string()), 0);
    std::filesystem::remove(path_);
    expect_code(start_with("file:" + link.string()), key_file_unreadable);
    std::filesystem::remove(link);
#endif
}

#if defined(_WIN32)

// The entries of the access list, in the system's own notation.
void allow(const std::filesystem::path& path, const wchar_t* entries)
{
    PSECURITY_DESCRIPTOR rights = nullptr;
    ASSERT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(entries, SDDL_REVISION_1, &rights, nullptr));
    EXPECT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, rights));
    LocalFree(rights);
}

TEST_F(Keys, of_a_file_whose_access_list_lets_others_write_are_refused)
{
    write(test_key);
    allow(path_, L"D:P(A;;FA;;;BA)(A;;FA;;;WD)");
    expect_code(start_with(source()), key_file_writable);
    EXPECT_TRUE(contains(texts_of(key_file_writable).trailing, u"icacls"));
}

TEST_F(Keys, of_a_file_whose_access_list_lets_others_read_are_told)
{
    write(test_key);
    allow(path_, L"D:P(A;;FA;;;BA)(A;;FR;;;WD)");
    EXPECT_EQ(start_with(source()), 0);
    EXPECT_TRUE(others_may_read_key(source()));
    allow(path_, L"D:P(A;;FA;;;BA)(A;;FA;;;SY)");
    EXPECT_EQ(start_with(source()), 0);
    EXPECT_FALSE(others_may_read_key(source()));
}

#else

TEST_F(Keys, of_a_file_that_others_may_write_are_refused)
{
    using std::filesystem::perms;
    write(test_key);
    for (const perms others : {perms::group_write, perms::others_write, perms::group_all, perms::all}) {
        std::filesystem::permissions(path_, perms::owner_read | perms::owner_write | others);
        expect_code(start_with(source()), key_file_writable);
        EXPECT_TRUE(contains(texts_of(key_file_writable).trailing, u"chmod 600"));
    }
    for (const perms others : {perms::none, perms::group_read, perms::others_read, perms::others_exec}) {
        std::filesystem::permissions(path_, perms::owner_read | perms::owner_write | others);
        EXPECT_EQ(start_with(source()), 0);
    }
}

TEST_F(Keys, of_a_file_that_others_may_read_are_told)
{
    using std::filesystem::perms;
    write(test_key);
    std::filesystem::permissions(path_, perms::owner_read);
    EXPECT_FALSE(others_may_read_key(source()));
    for (const perms others : {perms::group_read, perms::others_read}) {
        std::filesystem::permissions(path_, perms::owner_read | others);
        EXPECT_TRUE(others_may_read_key(source()));
    }
    EXPECT_FALSE(others_may_read_key("env:VELK_TEST_KEY"));
    EXPECT_FALSE(others_may_read_key("file:" + testing::TempDir()));
    EXPECT_FALSE(others_may_read_key("topsecret"));
}

TEST_F(Keys, of_a_pipe_are_not_waited_for)
{
    const std::string pipe = path_.string() + ".pipe";
    ASSERT_EQ(std::system(("mkfifo '" + pipe + "'").c_str()), 0);
    expect_code(start_with("file:" + pipe), key_file_unreadable);
    std::filesystem::remove(pipe);
}

#endif

#if VELK_MEMORY_CAN_BE_SEARCHED

// Made anew in each test, so that no earlier copy of it can be there, and never held as it is.
class HiddenKey {
public:
    HiddenKey()
    {
        for (char& byte : masked_) byte = static_cast<char>(byte_made_by_chance() ^ pattern);
    }

    // Runs something with the key in a buffer that is wiped afterwards.
    template <typename Work> void reveal(Work work) const
    {
        char bytes[sizeof masked_ + 1] = {};
        for (std::size_t i = 0; i < sizeof masked_; ++i) bytes[i] = static_cast<char>(masked_[i] ^ pattern);
        work(static_cast<const char*>(bytes));
        wipe(bytes, sizeof bytes);
    }

    // Of any third of it: memory that was given back has lost its first bytes.
    std::size_t copies() const
    {
        constexpr std::size_t third = sizeof masked_ / 3;
        std::size_t most = 0;
        for (std::size_t start = 0; start < sizeof masked_; start += third)
            most = std::max(most, copies_in_memory({masked_ + start, third}, pattern));
        return most;
    }

private:
    static constexpr char pattern = 0x25;
    char masked_[48];
};

// Runs something so deep in the stack that the search does not write over what it leaves there.
template <typename Work> void deep_in_the_stack(Work work)
{
    [[maybe_unused]] volatile char room[65536];
    room[0] = 0;
    work();
}

TEST_F(Keys, that_stay_in_memory_are_found)
{
    const HiddenKey key;
    EXPECT_EQ(key.copies(), 0u);
    std::vector<char> planted(48);
    key.reveal([&](const char* bytes) { std::copy_n(bytes, 48, planted.begin()); });
    EXPECT_EQ(key.copies(), 1u) << "on the heap";
    wipe(planted.data(), planted.size());
    EXPECT_EQ(key.copies(), 0u);
    key.reveal([&](const char* bytes) {
        EXPECT_EQ(key.copies(), 1u) << "on the stack";
        const std::string copy(bytes);
        EXPECT_EQ(key.copies(), 2u);
    });
    EXPECT_EQ(key.copies(), 1u) << "what the string has given back";
    const HiddenKey other;
    deep_in_the_stack([&] {
        char left[48];
        other.reveal([&](const char* bytes) { std::copy_n(bytes, 48, left); });
    });
    EXPECT_EQ(other.copies(), 1u) << "what a call has left on the stack";
}

// Before anything else could write over what a call has left on the stack and given back to the heap.
TEST_F(Keys, leave_nothing_in_memory_when_they_are_read)
{
    const HiddenKey key;
    key.reveal([&](const char* bytes) { write_unbuffered(path_, bytes); });
    const std::string file = source();
    ASSERT_EQ(key.copies(), 0u);
    deep_in_the_stack([&] { const HmacKey made = read_key(file); });
    EXPECT_EQ(key.copies(), 0u);
}

TEST_F(Keys, from_a_file_leave_nothing_in_memory)
{
    const HiddenKey key;
    key.reveal([&](const char* bytes) { write_unbuffered(path_, bytes); });
    ASSERT_EQ(key.copies(), 0u);
    deep_in_the_stack([&] { EXPECT_EQ(start_with(source()), 0); });
    EXPECT_EQ(key.copies(), 0u) << "while the provider is open";
}

TEST_F(Keys, from_the_environment_leave_nothing_in_memory)
{
    const HiddenKey key;
    static char variable[] = "VELK_SEARCHED_KEY=012345678901234567890123456789012345678901234567";
    char* const value = std::strchr(variable, '=') + 1;
    ASSERT_EQ(std::strlen(value), 48u);
    key.reveal([&](const char* bytes) { std::memcpy(value, bytes, 48); });
    ASSERT_EQ(::putenv(variable), 0);
    ASSERT_EQ(key.copies(), 1u) << "the environment's own";
    deep_in_the_stack([] { EXPECT_EQ(start_with("env:VELK_SEARCHED_KEY"), 0); });
    EXPECT_EQ(key.copies(), 1u);
    ::unsetenv("VELK_SEARCHED_KEY");
    wipe(value, 48);
    EXPECT_EQ(key.copies(), 0u);
}

TEST_F(Keys, that_are_refused_leave_nothing_in_memory)
{
    const HiddenKey key;
    key.reveal([&](const char* bytes) {
        char marked[64] = "\xEF\xBB\xBF";
        std::strcat(marked, bytes);
        write_unbuffered(path_, marked);
        wipe(marked, sizeof marked);
    });
    deep_in_the_stack([&] { EXPECT_EQ(start_with(source()), key_with_byte_order_mark); });
    EXPECT_EQ(key.copies(), 0u);
}

#endif

} // namespace
} // namespace velk::test
