// SPDX-License-Identifier: MIT
// A saved file belongs to whom it belonged, and everybody may do with it what they could do before.

#include "config/save_safety.hpp"
#include "support/failing_calls.hpp"

#include <gmock/gmock.h>
#include <sys/xattr.h>

using namespace kt3::tests;
using testing::ElementsAre;

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr const char* kDefaultList = "system.posix_acl_default";

// An access control list as the kernel stores it: its version, then one row for each right.
std::string access_list(unsigned char other) {
    struct Row {
        unsigned char tag;
        unsigned char rights;
        std::uint32_t id;
    };
    // The owner, the user 65534, the group, the most that the last two may do, everybody else.
    const Row rows[] = {
        {1, 6, UINT32_MAX}, {2, 6, kNobody}, {4, 4, UINT32_MAX}, {16, 6, UINT32_MAX}, {32, other, UINT32_MAX}};
    std::string bytes{2, 0, 0, 0};
    for (const Row& row : rows) {
        bytes += {static_cast<char>(row.tag), 0, static_cast<char>(row.rights), 0};
        bytes.append(reinterpret_cast<const char*>(&row.id), sizeof row.id);
    }
    return bytes;
}

std::string attribute(const std::string& path, const char* name) {
    char value[512];
    const ssize_t size = ::getxattr(path.c_str(), name, value, sizeof value);
    return size < 0 ? "none" : std::string(value, static_cast<std::size_t>(size));
}

bool set_attribute(const std::string& path, const char* name, const std::string& value) {
    return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

struct KeptRights : SaveSafety {
    KeptRights() { home.write(kOld); }

    // Saves in a child that `prepare` put into its place; the file must be written in place.
    void save_in_place_after(const std::function<bool()>& prepare) {
        const ino_t before = inode(home.file());
        expect_clean_end(in_child([&] {
            if (!prepare()) {
                ::_exit(3);
            }
            LogCapture::lines().clear();
            savefile_INI(home.file().c_str());
            ::_exit(LogCapture::lines() == saved_lines() ? 0 : 1);
        }));
        EXPECT_EQ(home.text(), new_text());
        EXPECT_EQ(inode(home.file()), before);
        EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini"));
    }
};

} // namespace

TEST_F(KeptRights, AnAccessControlListIsCarriedOver) {
    if (!set_attribute(home.file(), kAccessList, access_list(0))) {
        GTEST_SKIP() << "no access control lists here";
    }
    const ino_t before = inode(home.file());
    const mode_t mode_before = mode(home.file());
    savefile_INI(home.file().c_str());
    EXPECT_NE(inode(home.file()), before);
    EXPECT_EQ(attribute(home.file(), kAccessList), access_list(0));
    EXPECT_EQ(mode(home.file()), mode_before);
}

TEST_F(KeptRights, ExtendedAttributesAreCarriedOver) {
    if (!set_attribute(home.file(), "user.origin", "somewhere") || !set_attribute(home.file(), "user.empty", "")) {
        GTEST_SKIP() << "no extended attributes here";
    }
    const ino_t before = inode(home.file());
    savefile_INI(home.file().c_str());
    EXPECT_NE(inode(home.file()), before);
    EXPECT_EQ(attribute(home.file(), "user.origin"), "somewhere");
    EXPECT_EQ(attribute(home.file(), "user.empty"), "");
}

TEST_F(KeptRights, AFileWithoutAnAccessControlListGetsNoneFromItsFolder) {
    if (!set_attribute(home.folder(), kDefaultList, access_list(4))) {
        GTEST_SKIP() << "no access control lists here";
    }
    ::chmod(home.file().c_str(), 0600);
    savefile_INI(home.file().c_str());
    EXPECT_EQ(home.text(), new_text());
    EXPECT_EQ(attribute(home.file(), kAccessList), "none");
    EXPECT_EQ(mode(home.file()), 0600U);
}

TEST_F(KeptRights, ANewFileGetsTheAccessControlListOfItsFolder) {
    if (!set_attribute(home.folder(), kDefaultList, access_list(4))) {
        GTEST_SKIP() << "no access control lists here";
    }
    std::filesystem::remove(home.file());
    savefile_INI(home.file().c_str());
    EXPECT_EQ(attribute(home.file(), kAccessList), access_list(4));
}

TEST_F(KeptRights, AnAttributeThatCannotBeSetIsKeptByWritingInPlace) {
    if (!calls_can_be_made_to_fail() || !set_attribute(home.file(), "user.origin", "somewhere")) {
        GTEST_SKIP() << "no extended attributes, or no calls that fail on demand";
    }
    save_in_place_after([] { return make_fail(SYS_fsetxattr, {EPERM}); });
    EXPECT_EQ(attribute(home.file(), "user.origin"), "somewhere");
}

TEST_F(KeptRights, AnAttributeThatCannotBeReadIsKeptByWritingInPlace) {
    if (!calls_can_be_made_to_fail() || !set_attribute(home.file(), "user.origin", "somewhere")) {
        GTEST_SKIP() << "no extended attributes, or no calls that fail on demand";
    }
    save_in_place_after([] { return make_fail(SYS_fgetxattr, {EACCES}); });
    save_in_place_after([] { return make_fail(SYS_fgetxattr, {ERANGE}); }); // larger than anybody needs
    EXPECT_EQ(attribute(home.file(), "user.origin"), "somewhere");
}

TEST_F(KeptRights, AFileSystemWithoutExtendedAttributesSavesByRenaming) {
    if (!calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
    }
    const ino_t before = inode(home.file());
    EXPECT_EQ(in_child([&] {
                  const bool prepared = make_fail(SYS_flistxattr, {ENOTSUP});
                  savefile_INI(home.file().c_str());
                  ::_exit(prepared ? 0 : 3);
              }),
              0);
    EXPECT_NE(inode(home.file()), before);
    EXPECT_EQ(home.text(), new_text());
}

TEST_F(KeptRights, AFileOfAnotherOwnerIsWrittenInPlaceByAnOrdinaryUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to prepare";
    }
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.folder().c_str(), 0777);
    ::chmod(home.file().c_str(), 0666);
    save_in_place_after([] {
        become_ordinary();
        return true;
    });
}

TEST_F(KeptRights, AGroupThatAnOrdinaryUserIsNotInStaysBecauseTheFileIsWrittenInPlace) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to prepare";
    }
    constexpr gid_t kOtherGroup = 4242;
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.folder().c_str(), 0777);
    ASSERT_EQ(::chown(home.file().c_str(), kNobody, kOtherGroup), 0);
    save_in_place_after([] {
        become_ordinary();
        return true;
    });
    struct stat status {};
    ASSERT_EQ(::stat(home.file().c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, kOtherGroup);
}

TEST_F(KeptRights, TheModeOfAnotherUsersFileStaysWhenRootMayNotChangeIt) {
    if (::geteuid() != 0 || !calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "needs root, and calls that fail on demand";
    }
    ASSERT_EQ(::chown(home.file().c_str(), kNobody, kNobody), 0);
    ::chmod(home.file().c_str(), 0664);
    save_in_place_after([] { return make_fail(SYS_fchmod, {EPERM}); });
    struct stat status {};
    ASSERT_EQ(::stat(home.file().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody);
    EXPECT_EQ(mode(home.file()), 0664U);
}
