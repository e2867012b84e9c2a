// Who may do what at the request socket.
#pragma once

#include <string>

// Before anybody can connect: gives the socket to group zevsic and lets group zevsic-read reach it as well. A
// group that /etc/group does not have is left out: without the first, the socket stays with the daemon's own
// group.
void open_to_groups(const std::string &socket_path);

// Whether the peer of a connection may do more than read: root, the daemon's own user, and members of the
// socket's group may. The kernel tells who it was when it connected (SO_PEERCRED, SO_PEERGROUPS: unix(7)).
bool may_change(int client);
