// The daemon's loop in a process of its own, with less patience than the daemon has.
#include "zevsic/loop.h"

#include <poll.h>

#include "tests/device_root.h"
#include "zevsic/server.h"

TEST(Loop, ASilentPeerIsSentAway) {
    const DeviceRoot device;
    const pid_t loop = fork();
    if (loop == 0) {
        peer_patience = 300;
        init_loop();
        run_loop(init_nonblock_socket(), [] {});
        _exit(0);
    }
    const sockaddr_un address = address_of(device.path("/tmp/zevsic_sock"));
    const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_TRUE(eventually(
        [&] { return connect(peer, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0; }));
    pollfd end{peer, POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 100), 0);
    EXPECT_EQ(poll(&end, 1, 4000), 1);
    char any;
    EXPECT_EQ(recv(peer, &any, 1, MSG_DONTWAIT), 0);
    close(peer);
    kill(loop, SIGKILL);
    waitpid(loop, nullptr, 0);
}
