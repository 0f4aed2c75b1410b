// SPDX-License-Identifier: MIT
// Symbolic links that other users placed where the preference file is looked for.

#include "config/save_safety.hpp"

#include <gmock/gmock.h>
#include <ostream>
#include <unistd.h>

using namespace kt3::tests;

namespace {

constexpr uid_t kFirst = 4001;
constexpr uid_t kSecond = 4002;
constexpr uid_t kThird = 4003;

struct Row {
    const char* says;
    uid_t self;
    uid_t link_owner;
    uid_t file_owner;
    bool followed;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.says;
}

constexpr Row kRows[] = {
    {"OnesOwnLinkToOnesOwnFile", kFirst, kFirst, kFirst, true},
    {"OnesOwnLinkToSomebodyElsesFile", kFirst, kFirst, kSecond, true},
    {"SomebodyElsesLinkToTheirOwnFile", kFirst, kSecond, kSecond, true},
    {"SomebodyElsesLinkToAFileOfAThirdOwner", kFirst, kSecond, kThird, false},
    {"SomebodyElsesLinkToOnesOwnFile", kFirst, kSecond, kFirst, false},
    {"RootsLinkToOnesOwnFile", kFirst, 0, kFirst, true},
    {"RootsLinkToAFileOfAThirdOwner", kFirst, 0, kThird, false},
    {"RootFollowsALinkToAFileOfItsOwner", 0, kSecond, kSecond, true},
    {"RootFollowsNoLinkToAFileOfAThirdOwner", 0, kSecond, kThird, false},
    {"RootFollowsNobodysLinkToItsOwnFile", 0, kSecond, 0, false},
};

struct ForeignLink : SaveSafety {
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to give links to others";
        }
        ::chmod(home.root().c_str(), 0755);
        ::chmod(home.folder().c_str(), 0777);
        std::filesystem::create_directory(target_folder());
        ::chmod(target_folder().c_str(), 0777);
    }

    [[nodiscard]] std::filesystem::path target_folder() const { return home.root() / "target"; }
    [[nodiscard]] std::string target() const { return target_folder() / "file"; }

    void link_to_target(const std::string& link, uid_t owner) const {
        std::filesystem::create_symlink(target(), link);
        ASSERT_EQ(::lchown(link.c_str(), owner, owner), 0);
    }

    // Runs the work as that user; it must return true.
    static void as_user(uid_t user, const std::function<bool()>& work) {
        expect_clean_end(in_child([&] {
            if (::setresuid(user, user, user) != 0) {
                ::_exit(4);
            }
            ::_exit(work() ? 0 : 1);
        }));
    }
};

struct EachForeignLink : ForeignLink, testing::WithParamInterface<Row> {};

} // namespace

TEST_P(EachForeignLink, IsFollowedToAFileOfItsOwnerOnly) {
    const Row row = GetParam();
    HomeFolder::write_to(target(), kOld);
    ::chmod(target().c_str(), 0666);
    ASSERT_EQ(::chown(target().c_str(), row.file_owner, row.file_owner), 0);
    link_to_target(home.file(), row.link_owner);
    as_user(row.self, [&] {
        const bool read = parseINI(home.file().c_str()) == 1;
        LogCapture::lines().clear();
        fill(1);
        savefile_INI(home.file().c_str());
        return read == row.followed && LogCapture::lines() == (row.followed ? saved_lines() : not_opened_lines());
    });
    EXPECT_EQ(HomeFolder::text_of(target()), row.followed ? new_text() : kOld);
    EXPECT_TRUE(std::filesystem::is_symlink(home.file()));
    struct stat status {};
    ASSERT_EQ(::stat(target().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, row.file_owner);
}

INSTANTIATE_TEST_SUITE_P(Rows, EachForeignLink, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.says); });

TEST_F(ForeignLink, ToNothingMakesNoFile) {
    link_to_target(home.file(), kSecond);
    as_user(kFirst, [&] {
        savefile_INI(home.file().c_str());
        return LogCapture::lines() == not_opened_lines();
    });
    EXPECT_FALSE(std::filesystem::exists(target()));
    as_user(kSecond, [&] {
        savefile_INI(home.file().c_str());
        return true;
    });
    EXPECT_EQ(HomeFolder::text_of(target()), new_text());
}

TEST_F(ForeignLink, IsNotFollowedEitherWhenOnesOwnLinkLeadsToIt) {
    HomeFolder::write_to(target(), kOld);
    ::chmod(target().c_str(), 0666);
    const auto middle = home.folder() / "middle";
    link_to_target(middle, kSecond);
    std::filesystem::create_symlink(middle, home.file());
    as_user(0, [&] {
        savefile_INI(home.file().c_str());
        return LogCapture::lines() == not_opened_lines();
    });
    EXPECT_EQ(HomeFolder::text_of(target()), kOld);
}

TEST_F(ForeignLink, ThatIsNotFollowedCountsAsAFileThatCannotBeRead) {
    HomeFolder::write_to(target(), kOld);
    ASSERT_EQ(::chown(target().c_str(), kThird, kThird), 0);
    link_to_target(home.file(), kSecond);
    as_user(0, [&] {
        interface_config_list.clear();
        const auto added = entry("added", "/bin/added");
        set_gpu_preference(&added);
        const std::vector<std::string> expected{"parseINI fail to open " + home.file() + "\n", not_opened_lines()[0]};
        return LogCapture::lines() == expected;
    });
    EXPECT_EQ(HomeFolder::text_of(target()), kOld);
}
