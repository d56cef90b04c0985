// The trace file is its owner's alone, and never another file than the one that is named.

#include "support.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>

namespace velk::test {
namespace {

class TraceFile : public testing::Test {
protected:
    void SetUp() override
    {
        folder_ = std::filesystem::path(testing::TempDir()) / "velk_trace_file_test";
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
        file_ = folder_ / "trace.json";
        set_environment("VELK_TRACE", "all");
        set_environment("VELK_TRACE_FILE", file_.c_str());
        mask_ = umask(0);
    }

    void TearDown() override
    {
        umask(mask_);
        set_environment("VELK_TRACE", nullptr);
        set_environment("VELK_TRACE_FILE", nullptr);
        std::filesystem::remove_all(folder_);
    }

    void expect_written()
    {
        EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
        EXPECT_EQ(Provider_FrmwTerm(), 0);
        EXPECT_EQ(text_of(file_), "[\n]\n");
        struct stat status{};
        EXPECT_EQ(stat(file_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u);
    }

    void expect_refused() { expect_code(Provider_FrmwInit(nullptr), trace_file_not_opened); }

    static std::string text_of(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::filesystem::path folder_;
    std::filesystem::path file_;
    mode_t mask_ = 0;
};

TEST_F(TraceFile, is_made_for_its_owner_alone)
{
    expect_written();
}

TEST_F(TraceFile, is_closed_to_others_if_it_was_open_to_them)
{
    std::ofstream(file_) << "a former trace, longer than the new one";
    ASSERT_EQ(chmod(file_.c_str(), 0666), 0);
    expect_written();
}

TEST_F(TraceFile, is_never_written_through_a_link)
{
    const std::filesystem::path victim = folder_ / "victim";
    std::ofstream(victim) << "precious";
    std::filesystem::create_symlink(victim, file_);
    expect_refused();
    EXPECT_EQ(text_of(victim), "precious");
    std::filesystem::remove(victim);
    expect_refused();
    EXPECT_FALSE(std::filesystem::exists(victim)) << "a link to nothing makes nothing";
    std::filesystem::remove(file_);
    std::ofstream(victim) << "precious";
    std::filesystem::create_hard_link(victim, file_);
    expect_refused();
    EXPECT_EQ(text_of(victim), "precious");
}

TEST_F(TraceFile, is_no_file_of_someone_else)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can make a file someone else's";
    std::ofstream(file_) << "planted";
    ASSERT_EQ(chmod(file_.c_str(), 0666), 0);
    ASSERT_EQ(chown(file_.c_str(), 12345, 12345), 0);
    expect_refused();
    EXPECT_EQ(text_of(file_), "planted");
}

TEST_F(TraceFile, is_not_waited_for)
{
    ASSERT_EQ(mkfifo(file_.c_str(), 0666), 0);
    expect_refused();
}

TEST_F(TraceFile, may_be_a_device)
{
    set_environment("VELK_TRACE_FILE", "/dev/null");
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

} // namespace
} // namespace velk::test
#endif
