// SPDX-License-Identifier: MIT
#include "kt3/output_target.hpp"

#include "cli/scratch.hpp"
#include "observe/failure.hpp"

#include <fcntl.h>
#include <sys/stat.h>

using kt3::cli::Output;
using kt3::observe::ExitStatus;
using kt3::observe::Failure;
using kt3::support::Fd;
using kt3::tests::file_text;
using kt3::tests::Scratch;

namespace {

struct OutputFile : ::testing::Test {
    Scratch scratch;
    Fd none;
    std::filesystem::path file = scratch.folder / "data";

    [[nodiscard]] std::ptrdiff_t files_in_folder() const {
        return std::distance(std::filesystem::directory_iterator(scratch.folder), {});
    }
};

} // namespace

TEST_F(OutputFile, AppearsWholeWhenFinished) {
    Output output(none, file);
    output.write("one ");
    EXPECT_FALSE(std::filesystem::exists(file));
    output.write("two\n");
    output.finish();
    EXPECT_EQ(file_text(file), "one two\n");
    EXPECT_EQ(files_in_folder(), 1);
}

TEST_F(OutputFile, KeepsTheOlderContentWhenNeverFinished) {
    std::ofstream(file) << "older";
    {
        Output output(none, file);
        output.write("half");
    }
    EXPECT_EQ(file_text(file), "older");
    EXPECT_EQ(files_in_folder(), 1) << "the unfinished file is gone";
}

TEST_F(OutputFile, IsNotTouchedWhenThereIsNoData) {
    Output output(none, file);
    output.finish();
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(OutputFile, KeepsItsModeAndStaysBehindItsLink) {
    std::ofstream(file) << "older";
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    const auto link = scratch.folder / "link";
    std::filesystem::create_symlink(file, link);
    Output output(none, link);
    output.write("newer");
    output.finish();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(file_text(file), "newer");
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(OutputFile, AppearsWhereADanglingLinkLeads) {
    std::filesystem::create_directory(scratch.folder / "sub");
    const auto link = scratch.folder / "link";
    std::filesystem::create_symlink("sub/other", link);
    std::filesystem::create_symlink(file, scratch.folder / "sub" / "other");
    Output output(none, link);
    output.write("data");
    output.finish();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::is_symlink(scratch.folder / "sub" / "other"));
    EXPECT_EQ(file_text(file), "data");
}

TEST_F(OutputFile, IsRefusedWhenItsLinksLeadInCircles) {
    const auto link = scratch.folder / "link";
    std::filesystem::create_symlink("link", link);
    Output output(none, link);
    try {
        output.write("x");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.message, ::testing::HasSubstr("Too many levels of symbolic links"));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(OutputFile, IsTheDescriptorThatItsNameStandsFor) {
    const Fd opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(::write(opened.get(), "before\n", 7), 7);
    for (const std::string& name :
         {std::string("/dev/stdout"), std::string("/proc/self/fd/1"), "/dev/fd/" + std::to_string(opened.get())}) {
        Output output(opened, name);
        output.write("data\n");
        output.finish();
    }
    EXPECT_EQ(file_text(file), "before\ndata\ndata\ndata\n");
}

TEST_F(OutputFile, IsWrittenInPlaceWhenItIsADevice) {
    Output output(none, "/dev/null");
    output.write("gone");
    output.finish();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(OutputFile, IsRefusedWithItsNameWhenItsFolderIsMissing) {
    Output output(none, scratch.folder / "absent" / "data");
    try {
        output.write("x");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, ExitStatus::failure);
        EXPECT_THAT(failure.message, ::testing::HasSubstr("absent/data: No such file or directory"));
    }
}
