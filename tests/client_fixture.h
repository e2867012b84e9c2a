// A small server in the test's own process, for zevctl to ask.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "client/names.h"
#include "registry/wire.h"
#include "tests/device_root.h"

inline const std::string ROOT = ROOT_OID;

// Serves each connection with `serve`, which answers how many bytes of the reply are sent; −1 leaves the
// connection open without a word.
class Server {
  public:
    using Serve = std::function<int(const snmp_request &, snmp_reply *)>;

    // Serves as the user `owner`, when the test is root.
    Server(const std::string &path, Serve serve, uid_t owner = geteuid()) : serve_(std::move(serve)) {
        const sockaddr_un address = address_of(path);
        const uid_t self = geteuid();
        if (bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            seteuid(owner) != 0 || listen(listener_, 16) != 0 || seteuid(self) != 0)
            abort();
        thread_ = std::jthread([this] { loop(); });
    }
    ~Server() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    std::atomic<bool> takes_short_records = false;  // as the daemon does

  private:
    void loop() {
        std::vector<int> silent;
        for (int fd = 0; (fd = accept(listener_, nullptr, nullptr)) >= 0;) {
            snmp_request request{};
            snmp_reply reply{};
            // A client that goes away without a word is served nothing. What a short record lacks is zero
            // bytes.
            const ssize_t received =
                recv(fd, &request, sizeof request, takes_short_records ? 0 : MSG_WAITALL);
            EXPECT_TRUE(received == 0 || received == static_cast<ssize_t>(RECORD_SIZE) ||
                        (takes_short_records && received > 0))
                << received << " bytes";
            const int bytes = serve_(request, &reply);
            // In two pieces: a reply need not arrive at once.
            for (int from = 0; from < bytes; from += 5000)
                send(fd, reinterpret_cast<char *>(&reply) + from, std::min(5000, bytes - from), MSG_NOSIGNAL);
            if (bytes < 0)
                silent.push_back(fd);
            else
                close(fd);
        }
        for (const int fd : silent) close(fd);
    }

    Serve serve_;
    int listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::jthread thread_;
};

// A tree of a few values by name or OID, GETNEXT in their order, and SETs that are answered as told.
struct Tree {
    using Values = std::vector<std::pair<std::string, std::string>>;
    Values values = {{"1.1.0", "ap"}, {"1.2.0", "lab"}, {"1.62.0", "0"}, {"2.1.1.9.1", "x"}};
    uint8_t set_status = STATUS_ACCEPTED;
    uint8_t get_status = STRING;
    std::string answered_as;  // the OID of every reply, when it is not the right one
    std::string last_set;
    std::function<void()> before = [] {};  // runs before each request

    // Of "NAME.INSTANCE VALUE", joined by `between`.
    static Values values_of(std::string pairs, const std::string &between = "|") {
        Values values;
        for (pairs += between; !pairs.empty();) {
            const size_t end = pairs.find(between), blank = std::min(pairs.find(' '), end);
            values.emplace_back(pairs.substr(0, blank),
                                pairs.substr(std::min(blank + 1, end), end - blank - 1));
            pairs.erase(0, end + between.size());
        }
        return values;
    }
    static std::string oid_of(const Values::value_type &value) { return parse_target(value.first).oid; }

    int serve(const snmp_request &request, snmp_reply *reply) {
        before();
        const std::string asked = request.oid;
        if (request.type == KIND_SET) {
            last_set = asked + " " + request.set;
            reply->reply_status = set_status;
            return RECORD_SIZE;
        }
        auto found = std::find_if(values.begin(), values.end(),
                                  [&](const auto &value) { return oid_of(value) == asked; });
        if (request.type == KIND_GETNEXT && found != values.end())
            ++found;
        else if (request.type == KIND_GETNEXT)
            found = std::find_if(values.begin(), values.end(), [&](const auto &value) {
                return (oid_of(value) + ".").starts_with(asked + ".");
            });
        if (found == values.end()) return RECORD_SIZE;
        put_text(reply->oid, answered_as.empty() ? oid_of(*found) : ROOT + "." + answered_as);
        put_text(reply->value, found->second);
        reply->reply_status = get_status;
        return RECORD_SIZE;
    }
};

struct Commands : testing::Test {
    DeviceRoot device;
    Tree tree;
    const std::string path = device.path("/tmp/zevsic_sock");
    Server server{path, [this](const auto &request, auto *reply) { return tree.serve(request, reply); }};

    std::string zevctl(const std::string &arguments) const { return device.said("zevctl " + arguments); }
};
