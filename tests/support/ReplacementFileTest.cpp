#include "support/ReplacementFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "support/Endian.h"
#include "tests/kit/Files.h"

using WEKU::FileIO;

namespace {

constexpr char accessList[] = "system.posix_acl_access";

/// An access list of the owner, a named user, the group, the mask and all others.
std::string listOf(std::uint16_t user, std::uint16_t group, std::uint16_t mask) {
    std::string bytes{"\2\0\0\0", 4};
    const auto add = [&bytes](std::uint16_t tag, std::uint16_t may, std::uint32_t id) {
        char entry[8];
        WEKU::storeLittle(entry, tag);
        WEKU::storeLittle(entry + 2, may);
        WEKU::storeLittle(entry + 4, id);
        bytes.append(entry, sizeof entry);
    };
    add(1, 6, UINT32_MAX);
    add(2, user, 1234);
    add(4, group, UINT32_MAX);
    add(16, mask, UINT32_MAX);
    add(32, 0, UINT32_MAX);
    return bytes;
}

bool set(const std::string& path, const char* name, const std::string& value) {
    return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

std::string valueOf(const std::string& path, const char* name) {
    char bytes[256];
    const ssize_t size = ::getxattr(path.c_str(), name, bytes, sizeof bytes);
    return {bytes, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

struct stat factsOf(const std::string& path) {
    struct stat facts {};
    ::stat(path.c_str(), &facts);
    return facts;
}

bool replace(const std::wstring& path) {
    bool done = false;
    FileIO::open(path, [&](FileIO& old) {
        WEKU::ReplacementFile made(path, path);
        made.resemble(old);
        done = made.takePlace(old.stamp());
    });
    return done;
}

}  // namespace

TEST(ReplacementFile, IsForThoseWhoMightUseTheOldOne) {
    const kit::TempFolder folder;
    const std::wstring path = folder.write("f", "x");
    const std::string name = (folder.path() / "f").string();
    ::chmod(name.c_str(), 0640);
    // Whoever the folder's default list names comes in to neither.
    const std::string list = listOf(6, 0, 6);
    if (!set(folder.path(), "system.posix_acl_default", listOf(7, 7, 7)) ||
        !set(name, "user.note", "kept")) {
        GTEST_SKIP() << "the file system has no access lists or attributes";
    }
    EXPECT_TRUE(replace(path));
    EXPECT_EQ(factsOf(name).st_mode & 07777, 0640U);
    EXPECT_EQ(valueOf(name, accessList), "");
    EXPECT_EQ(valueOf(name, "user.note"), "kept");
    ASSERT_TRUE(set(name, accessList, list));
    // Rights of the old contents are not those of the new.
    set(name, "security.capability", std::string("\0\0\0\2\1", 5) + std::string(15, '\0'));
    EXPECT_TRUE(replace(path));
    EXPECT_EQ(valueOf(name, "security.capability"), "");
    EXPECT_EQ(valueOf(name, accessList), list);
}

TEST(ReplacementFile, KeepsOwnerAndGroupOrTheirRightsFromOthers) {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
    const kit::TempFolder folder;
    const std::wstring path = folder.write("f", "x");
    const std::string name = (folder.path() / "f").string();
    ASSERT_EQ(::chown(name.c_str(), 3456, 2345), 0);
    ::chmod(name.c_str(), 06664);
    EXPECT_TRUE(replace(path));
    EXPECT_TRUE(factsOf(name).st_uid == 3456 && factsOf(name).st_gid == 2345);
    EXPECT_EQ(factsOf(name).st_mode & 07777, 06664U);

    // Somebody else: the group is another, and gets no more than all others had.
    ::chmod(folder.path().c_str(), 0777);
    const std::wstring listed = folder.write("listed", "x");
    const std::string listedName = (folder.path() / "listed").string();
    const bool lists = set(listedName, accessList, listOf(6, 6, 6));
    const pid_t child = ::fork();
    if (child == 0) {
        const bool changed = ::setgid(4567) == 0 && ::setuid(1234) == 0;
        ::_exit(changed && replace(path) && (!lists || replace(listed)) ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(factsOf(name).st_uid == 1234 && factsOf(name).st_gid == 4567);
    EXPECT_EQ(factsOf(name).st_mode & 07777, 0644U);
    EXPECT_TRUE(!lists || valueOf(listedName, accessList) == listOf(6, 0, 6));
}
