// Load on one server, or on two in turns (A B A B ...), so that what disturbs the machine disturbs both.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "registry/wire.h"

struct Options {
    bool walk = false;
    std::string oid = "1.3.6.1.4.1.48019.6.1.1.0";
    size_t connections = 16;
    int pairs = 9;
    double seconds = 0.4;
    long requests = 0;
    int starts = 0;
};

struct Run {
    double per_second;
    double cpu_us;  // of the server, per request
    double busy;    // share of the time that the server computed
};

[[noreturn]] static void die(const char *what) {
    perror(what);
    exit(1);
}

static double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static int try_connect(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return fd;
    close(fd);
    return -1;
}

// Computing time of the server's main thread in seconds.
static double cpu_time(const std::string &path) {
    ucred peer{};
    socklen_t size = sizeof peer;
    const int fd = try_connect(path);
    if (fd < 0 || getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) < 0) die(path.c_str());
    close(fd);
    const std::string file = "/proc/" + std::to_string(peer.pid) + "/schedstat";
    FILE *stat = fopen(file.c_str(), "re");
    long long nanoseconds = 0;
    if (!stat || fscanf(stat, "%lld", &nanoseconds) != 1) die(file.c_str());
    fclose(stat);
    return static_cast<double>(nanoseconds) / 1e9;
}

// A request in flight. Each slot walks for itself.
struct Slot {
    int fd = -1;
    snmp_request request{};
};

static void start(Slot *slot, const std::string &path) {
    slot->fd = try_connect(path);
    if (slot->fd < 0 || send(slot->fd, &slot->request, RECORD_SIZE, MSG_NOSIGNAL) != RECORD_SIZE) die("send");
}

static void finish(Slot *slot, const Options &options) {
    static snmp_reply reply;
    if (recv(slot->fd, &reply, RECORD_SIZE, MSG_WAITALL) != RECORD_SIZE) die("a request failed");
    close(slot->fd);
    if (!options.walk) {
        if (reply.reply_status == STATUS_NOTHING) die("there is no such OID to GET");
        return;
    }
    // At the end of the tree, and with a server whose answers never change, the walk starts anew.
    const bool ended = reply.reply_status == STATUS_NOTHING || strcmp(slot->request.oid, reply.oid) == 0;
    put_text(slot->request.oid, ended ? options.oid.c_str() : reply.oid);
}

static std::vector<Slot> make_slots(const Options &options) {
    std::vector<Slot> slots(options.connections);
    for (Slot &slot : slots) {
        slot.request.type = options.walk ? KIND_GETNEXT : KIND_GET;
        put_text(slot.request.oid, options.oid);
    }
    return slots;
}

// Keeps all slots in flight, oldest first, until the number or the time is reached: the requests answered.
static long load(const Options &options, const std::string &path, std::vector<Slot> *slots, long requests,
                 double seconds) {
    long sent = 0;
    long done = 0;
    const double end = now() + seconds;
    for (Slot &slot : *slots)
        if (requests == 0 || sent < requests) start(&slot, path), sent++;
    for (size_t i = 0; done < sent; i = (i + 1) % slots->size()) {
        Slot &slot = (*slots)[i];
        finish(&slot, options);
        done++;
        if (requests ? sent < requests : now() < end)
            start(&slot, path), sent++;
        else
            slot.fd = -1;
    }
    return done;
}

// One pass over the whole tree, so that every object has published its values.
static void warm_up(const Options &options, const std::string &path) {
    Options one = options;
    one.walk = true;
    one.oid = ROOT_OID;
    one.connections = 1;
    std::vector<Slot> slot = make_slots(one);
    do load(one, path, &slot, 1, 0);
    while (one.oid != slot[0].request.oid);
}

static Run measure(const Options &options, const std::string &path) {
    std::vector<Slot> slots = make_slots(options);
    const double cpu = cpu_time(path);
    const double begin = now();
    const auto done = static_cast<double>(load(options, path, &slots, 0, options.seconds));
    const double took = now() - begin;
    const double used = cpu_time(path) - cpu;
    return {done / took, used / done * 1e6, used / took};
}

static double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

static double median_of(const std::vector<Run> &runs, double Run::*what) {
    std::vector<double> values;
    values.reserve(runs.size());
    for (const Run &run : runs) values.push_back(run.*what);
    return median(values);
}

static void compare(const Options &options, const std::vector<std::string> &paths) {
    std::vector<std::vector<Run>> runs(paths.size());
    for (const auto &path : paths) warm_up(options, path);
    for (int pair = 0; pair < options.pairs; pair++)
        for (size_t i = 0; i < paths.size(); i++) runs[i].push_back(measure(options, paths[i]));
    for (size_t i = 0; i < paths.size(); i++)
        printf("%c  %8.0f requests/s  %6.2f us of CPU a request  busy %3.0f %%\n", static_cast<char>('A' + i),
               median_of(runs[i], &Run::per_second), median_of(runs[i], &Run::cpu_us),
               100 * median_of(runs[i], &Run::busy));
    if (paths.size() < 2) return;
    std::vector<double> rate, cpu;
    for (size_t i = 0; i < runs[0].size(); i++) {
        rate.push_back(runs[0][i].per_second / runs[1][i].per_second);
        cpu.push_back(runs[0][i].cpu_us / runs[1][i].cpu_us);
    }
    printf("A/B  requests/s %.3f  CPU a request %.3f  (medians of %d pairs)\n", median(rate), median(cpu),
           options.pairs);
}

static double start_up(const Options &options, char **arguments) {
    unlink(arguments[0]);
    const double begin = now();
    const pid_t server = fork();
    if (server == 0) {
        execvp(arguments[1], arguments + 1);
        _exit(127);
    }
    int fd = -1;
    while ((fd = try_connect(arguments[0])) < 0) {
        if (waitpid(server, nullptr, WNOHANG) != 0 || now() - begin > 30) die("the server did not start");
        usleep(100);
    }
    close(fd);
    std::vector<Slot> slot = make_slots(options);
    load(options, arguments[0], &slot, 1, 0);
    const double took = now() - begin;
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    return took * 1000;
}

static int run(int argc, char **argv) {
    Options options;
    CLI::App app{
        "SOCKET [SOCKET | COMMAND...]\n"
        "Load on the server of a SOCKET, or on those of two in turns; with -S the time from the start of a "
        "server, which COMMAND starts, to its first answer on SOCKET"};
    app.prefix_command();
    app.add_flag("-w", options.walk, "Walk with GETNEXT from OID, else GET of OID");
    const CLI::Option *oid = app.add_option("-o", options.oid, "OID");
    app.add_option("-c", options.connections, "Connections")->check(CLI::PositiveNumber);
    app.add_option("-p", options.pairs, "Pairs of turns")->check(CLI::PositiveNumber);
    app.add_option("-s", options.seconds, "Seconds of a turn");
    app.add_option("-n", options.requests, "Exactly so many requests, after one walk that warms up");
    app.add_option("-S", options.starts, "Starts of a server");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (options.walk && oid->empty()) options.oid = ROOT_OID;
    const std::vector<std::string> rest = app.remaining();
    const size_t most = options.starts ? rest.size() : options.requests ? 1 : 2;
    if (rest.size() < (options.starts ? 2 : 1) || rest.size() > most) {
        fputs(app.help().c_str(), stderr);
        return 2;
    }
    if (options.starts) {
        std::vector<double> times(static_cast<size_t>(options.starts));
        for (double &time : times) time = start_up(options, argv + argc - rest.size());
        printf("%.1f ms\n", median(times));
    } else if (options.requests) {
        warm_up(options, rest[0]);
        std::vector<Slot> slots = make_slots(options);
        load(options, rest[0], &slots, options.requests, 0);
    } else {
        compare(options, rest);
    }
    return 0;
}

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "bench_load: %s\n", error.what());
        return 1;
    }
}
