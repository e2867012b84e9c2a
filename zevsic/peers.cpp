#include "zevsic/peers.h"

#include <grp.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/device.h"
#include "platform/log.h"
#include "tree/trace.h"

constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);
static gid_t changing_group = NO_GROUP;

// From the file itself: the libraries that a machine may ask for more groups have no place in the daemon.
static gid_t find_group(const char *name) {
    FILE *file = fopen(device_path("/etc/group").c_str(), "re");
    if (!file) return NO_GROUP;
    gid_t found = NO_GROUP;
    while (const group *entry = fgetgrent(file))
        if (strcmp(entry->gr_name, name) == 0) found = entry->gr_gid;
    fclose(file);
    return found;
}

// An access control list: the mode has no place for a second group. acl(5); the form is the kernel's,
// little-endian on every machine.
static bool let_in(const std::string &socket_path, gid_t readers) {
    constexpr uint16_t READ_AND_WRITE = ACL_READ | ACL_WRITE;  // what connecting takes
    constexpr uint32_t NOBODY_ELSE = ACL_UNDEFINED_ID;
    struct {
        posix_acl_xattr_header header;
        posix_acl_xattr_entry entries[5];
    } list{{htole32(POSIX_ACL_XATTR_VERSION)}, {}};
    const struct {
        uint16_t tag, rights;
        uint32_t id;
    } entries[] = {{ACL_USER_OBJ, READ_AND_WRITE, NOBODY_ELSE},
                   {ACL_GROUP_OBJ, READ_AND_WRITE, NOBODY_ELSE},
                   {ACL_GROUP, READ_AND_WRITE, readers},
                   {ACL_MASK, READ_AND_WRITE, NOBODY_ELSE},
                   {ACL_OTHER, 0, NOBODY_ELSE}};
    for (size_t i = 0; i < std::size(entries); i++)
        list.entries[i] = {htole16(entries[i].tag), htole16(entries[i].rights), htole32(entries[i].id)};
    return lsetxattr(socket_path.c_str(), "system.posix_acl_access", &list, sizeof list, 0) == 0;
}

void open_to_groups(const std::string &socket_path) {
    const gid_t changers = find_group("zevsic"), readers = find_group("zevsic-read");
    if (changers != NO_GROUP && lchown(socket_path.c_str(), static_cast<uid_t>(-1), changers) != 0)
        perror("zevsic: the socket cannot be given to group zevsic");
    struct stat facts = {};
    if (lstat(socket_path.c_str(), &facts) == 0) changing_group = facts.st_gid;
    if (readers != NO_GROUP && readers != changing_group && !let_in(socket_path, readers))
        perror("zevsic: group zevsic-read cannot be let in");
}

static bool is_member(int client, gid_t group) {
    socklen_t size = 0;
    std::vector<gid_t> groups;
    // The first call asks how many there are. Kernels before 4.13 do not tell.
    if (getsockopt(client, SOL_SOCKET, SO_PEERGROUPS, nullptr, &size) == 0 || errno != ERANGE) return false;
    groups.resize(size / sizeof(gid_t));
    return getsockopt(client, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0 &&
           std::find(groups.begin(), groups.end(), group) != groups.end();
}

bool may_change(int client) {
    static uid_t reported = 0;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    if (peer.uid == 0 || peer.uid == geteuid()) return true;
    if (changing_group != NO_GROUP && (peer.gid == changing_group || is_member(client, changing_group)))
        return true;
    const std::string text = "user " + std::to_string(peer.uid) + " may read only: a SET was refused";
    TRACE("%s\n", text.c_str());
    // One that goes on trying is no news.
    if (peer.uid != reported) log_event(text.c_str(), Severity::ERROR);
    reported = peer.uid;
    return false;
}
