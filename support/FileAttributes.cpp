#include "support/FileAttributes.h"

#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif

#include <cerrno>
#include <vector>

#include "support/Endian.h"

namespace WEKU {
namespace {

using Bytes = std::vector<unsigned char>;

#ifdef __linux__

constexpr char accessList[] = "system.posix_acl_access";

/// The value of an extended attribute; empty when there is none.
Bytes valueOf(int file, const char* name) {
    const ssize_t size = ::fgetxattr(file, name, nullptr, 0);
    Bytes value(size > 0 ? static_cast<std::size_t>(size) : 0);
    if (value.empty() || ::fgetxattr(file, name, value.data(), value.size()) != size) return {};
    return value;
}

bool setValue(int file, const char* name, const Bytes& value) {
    return ::fsetxattr(file, name, value.data(), value.size(), 0) == 0;
}

bool dropValue(int file, const char* name) {
    return ::fremovexattr(file, name) == 0 || errno == ENODATA || errno == ENOTSUP;
}

/// The lists of access are carried by name; these others vouch for contents or grant rights.
bool isBoundToFile(const std::string& name) {
    return name.starts_with("system.posix_acl_") || name == "security.capability" ||
           name == "security.ima" || name == "security.evm";
}

bool carryExtended(int from, int to) {
    const ssize_t size = ::flistxattr(from, nullptr, 0);
    std::string names(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    if (::flistxattr(from, names.data(), names.size()) != size) return size < 0;
    bool all = true;
    for (std::size_t at = 0; at < names.size();) {
        const std::string name = names.c_str() + at;
        at += name.size() + 1;
        if (name.empty() || isBoundToFile(name)) continue;
        const Bytes value = valueOf(from, name.c_str());
        // An empty value may be one, or none that can be read.
        if (!value.empty() && value == valueOf(to, name.c_str())) continue;
        all = setValue(to, name.c_str(), value) && all;
    }
    return all;
}

#else

constexpr char accessList[] = "";

Bytes valueOf(int, const char*) {
    return {};
}
bool setValue(int, const char*, const Bytes&) {
    return false;
}
bool dropValue(int, const char*) {
    return true;
}
bool carryExtended(int, int) {
    return true;
}

#endif

/// An access list in the system's form: a version word, then entries of tag, permission and id.
class AccessList {
  public:
    explicit AccessList(Bytes value) : value(std::move(value)) {}

    bool isEmpty() const { return value.size() < head + width; }
    const Bytes& bytes() const { return value; }

    /// What the owning group may: its own entry, as the mask lets it.
    unsigned group() { return permission(groupTag, 7) & permission(maskTag, 7); }
    void narrowGroup() {
        permission(groupTag, 7, static_cast<std::uint16_t>(permission(otherTag, 0)));
    }

  private:
    static constexpr std::size_t head = 4, width = 8;
    static constexpr std::uint16_t groupTag = 0x04, maskTag = 0x10, otherTag = 0x20;

    /// The permission of the first entry with the tag, narrowed to `by` in place.
    unsigned permission(std::uint16_t tag, unsigned absent, std::uint16_t by = 7) {
        for (std::size_t at = head; at + width <= value.size(); at += width) {
            if (loadLittle<std::uint16_t>(&value[at]) != tag) continue;
            const auto now =
                static_cast<std::uint16_t>(loadLittle<std::uint16_t>(&value[at + 2]) & by);
            storeLittle<std::uint16_t>(&value[at + 2], now);
            return now;
        }
        return absent;
    }

    Bytes value;
};

/// The permission bits and the access list, for a file whose owner and group are in place.
void carryPermissions(int from, int to, mode_t mode, bool groupKept, std::string& lost) {
    AccessList list(valueOf(from, accessList));
    const mode_t others = mode & S_IRWXO;
    if (!groupKept) list.narrowGroup();
    const bool listed = !list.isEmpty() && setValue(to, accessList, list.bytes());
    if (!list.isEmpty() && !listed) lost += ", its access list";
    if (!listed) {
        mode_t group = list.isEmpty() ? mode & S_IRWXG : list.group() << 3;
        if (!groupKept) group &= others << 3;
        // One that the folder gave it would now count for more than its owner.
        if (!dropValue(to, accessList)) group = 0;
        mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | group;
    }
    struct stat now {};
    const bool known = ::fstat(to, &now) == 0;
    if ((!known || (now.st_mode & 07777) != mode) && ::fchmod(to, mode) != 0) {
        lost += ", its permissions";
    }
}

}  // namespace

std::string carryAttributes(int from, int to) {
    std::string lost;
    struct stat theirs {};
    struct stat ours {};
    if (::fstat(from, &theirs) != 0 || ::fstat(to, &ours) != 0) return "its owner and permissions";
    if (!carryExtended(from, to)) lost += ", its extended attributes";
    constexpr auto same = static_cast<unsigned>(-1);
    const bool groupKept = ours.st_gid == theirs.st_gid || ::fchown(to, same, theirs.st_gid) == 0;
    if (!groupKept) lost += ", its group";
    const bool ownerKept = ours.st_uid == theirs.st_uid || ::fchown(to, theirs.st_uid, same) == 0;
    if (!ownerKept) lost += ", its owner";
    mode_t mode = theirs.st_mode & 07777;
    if (!ownerKept || !groupKept) mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    carryPermissions(from, to, mode, groupKept, lost);
    return lost.empty() ? lost : lost.substr(2);
}

}  // namespace WEKU
