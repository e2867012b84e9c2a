// zevsic-agentx: serves the subtree to an AgentX master agent, or to managers as the device's SNMP agent
// itself, with what the daemon answers on its socket.
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <csignal>

#include "client/protocol.h"
#include "platform/device.h"
#include "snmp/agentx_handler.h"
#include "snmp/log.h"
#include "snmp/netsnmp.h"
#include "snmp/notify.h"

constexpr const char *PROGRAM = "zevsic-agentx";
constexpr const char *AGENT = "snmpd";  // whose configuration an agent without a master has

struct Options {
    std::string master = device_path("/var/agentx/master");
    std::vector<std::string> listen;  // none: there is a master
    std::string configuration = device_path("/etc/snmp/snmpd.conf");
    std::string socket = default_socket();
    int ping_seconds = 2;
    int timeout_seconds = 1;
    int keep_seconds = 300;
    bool foreground = false;
};

static volatile sig_atomic_t stopped;

static void stop(int) {
    stopped = 1;
}

static int log_of_library(int, int, void *message, void *) {
    const auto *line = static_cast<const snmp_log_message *>(message);
    std::string text = line->msg;
    while (text.ends_with('\n')) text.pop_back();
    log_line(line->priority, text);
    return 0;
}

static void handle_signals() {
    struct sigaction action {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

static void set_option(int which, bool value) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, which, value);
}

static void prepare_library() {
    setenv("MIBS", "", 1);  // the library would read every module of the machine, and none is needed
    snmp_enable_calllog();
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, log_of_library, nullptr);
    set_persistent_directory(device_path("/var/lib/snmp").c_str());
}

static bool add_subtree(Subtree *subtree, const Options &options) {
    if (register_subtree(subtree, std::chrono::seconds(options.timeout_seconds))) return true;
    log_line(LOG_ERR, "the agent library does not take the subtree");
    return false;
}

static bool start_subagent(Subtree *subtree, const Options &options) {
    set_option(NETSNMP_DS_LIB_DONT_READ_CONFIGS, true);
    set_option(NETSNMP_DS_LIB_DONT_PERSIST_STATE, true);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, options.master.c_str());
    init_agent(PROGRAM);
    // init_agent() sets its own interval.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL,
                       options.ping_seconds);
    if (!add_subtree(subtree, options)) return false;
    init_snmp(PROGRAM);
    log_line(LOG_INFO,
             "serving " + std::string(ROOT_OID) + " to " + options.master + " from " + options.socket);
    return true;
}

// As snmpd starts, and under its name: its configuration file has its words, and the file in the persistent
// directory the keys of its users.
static bool start_agent(Subtree *subtree, const Options &options) {
    // Half a megabyte for disks and sensors that an access point does not have.
    static char modules_left_out[] = "-smux,hr_disk,lmsensorsMib,hw_sensors";
    if (access(options.configuration.c_str(), R_OK) != 0) {
        log_line(LOG_ERR, options.configuration + ": " + strerror(errno));
        return false;
    }
    std::string addresses;
    for (const std::string &address : options.listen) addresses += (addresses.empty() ? "" : ",") + address;
    unsetenv("SNMPCONFPATH");
    set_configuration_directory(device_path("/var/lib/snmp").c_str());
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                          options.configuration.c_str());
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, options.master.c_str());
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS, 1);
    add_to_init_list(modules_left_out);
    init_agent(AGENT);
    init_mib_modules();
    if (!add_subtree(subtree, options)) return false;
    init_snmp(AGENT);
    // In place of what its configuration says of addresses.
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, addresses.c_str());
    if (init_master_agent() != 0) {
        log_line(LOG_ERR, "cannot listen at " + addresses);
        return false;
    }
    log_line(LOG_INFO, "serving " + std::string(ROOT_OID) + " at " + addresses + " from " + options.socket);
    return true;
}

static timeval time_until(Clock::time_point then) {
    const auto most = std::chrono::microseconds(std::chrono::seconds(1));
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        std::min(then, Clock::now() + most) - Clock::now());
    const auto wait = std::clamp<int64_t>(left.count(), 0, most.count());
    return {static_cast<time_t>(wait / 1000000), static_cast<suseconds_t>(wait % 1000000)};
}

// Those through which the library hands itself a master's message, and the answer to it back.
static std::vector<int> pipes_of_library() {
    int count = 0, block = 1;
    timeval timeout{};
    fd_set sessions;
    FD_ZERO(&sessions);
    snmp_select_info(&count, &sessions, &timeout, &block);
    std::vector<int> pipes;
    struct stat file {};
    for (int fd = 0; fd < count; fd++)
        if (FD_ISSET(fd, &sessions) && fstat(fd, &file) == 0 && S_ISFIFO(file.st_mode)) pipes.push_back(fd);
    return pipes;
}

// Otherwise each would cost a round of the loop, for every value.
static void read_pipes(const std::vector<int> &pipes) {
    for (const int fd : pipes) {
        int waiting = 0;
        if (ioctl(fd, FIONREAD, &waiting) != 0 || waiting == 0) continue;
        fd_set session;
        FD_ZERO(&session);
        FD_SET(fd, &session);
        snmp_read(&session);
    }
}

// One round of the library's loop, with the daemon's answers in it.
static void run_once(Subtree *subtree, const std::vector<int> &pipes) {
    // A wait that took this long was one: nothing had come before it ended.
    constexpr std::chrono::microseconds WAITED(10);
    int count = 0, block = 0;
    fd_set readable, writable, exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    timeval timeout = time_until(next_go());
    netsnmp_external_event_info(&count, &readable, &writable, &exceptional);
    snmp_select_info(&count, &readable, &timeout, &block);
    const int daemon = waiting_fd(subtree->asker);
    if (daemon >= 0) {
        FD_SET(daemon, &readable);
        count = std::max(count, daemon + 1);
    }
    const Clock::time_point begin = Clock::now();
    int ready = select(count, &readable, &writable, &exceptional, &timeout);
    const bool answered = ready > 0 && daemon >= 0 && FD_ISSET(daemon, &readable);
    if (answered) {
        FD_CLR(daemon, &readable);
        ready--;
    }
    begin_round(ready <= 0 || Clock::now() - begin >= WAITED);
    if (ready > 0) {
        netsnmp_dispatch_external_events(&ready, &readable, &writable, &exceptional);
        snmp_read(&readable);
        read_pipes(pipes);
    }
    snmp_timeout();
    run_alarms();
    go_on_with_requests();
    netsnmp_check_outstanding_agent_requests();
}

static int serve(const Options &options) {
    if (!options.foreground) {
        if (daemon(1, 0) != 0) {
            log_line(LOG_ERR, std::string("cannot go to the background: ") + strerror(errno));
            return 1;
        }
        log_to_syslog(PROGRAM);
    }
    Subtree subtree(options.socket);
    subtree.keep = std::chrono::seconds(options.keep_seconds);
    handle_signals();
    prepare_library();
    const bool listens = !options.listen.empty();
    if (!(listens ? start_agent(&subtree, options) : start_subagent(&subtree, options))) return 1;
    start_notifications(options.socket);
    const std::vector<int> pipes = pipes_of_library();
    while (!stopped) run_once(&subtree, pipes);
    log_unfit(subtree);
    snmp_shutdown(listens ? AGENT : PROGRAM);
    shutdown_agent();
    return 0;
}

int main(int argc, char **argv) {
    try {
        Options options;
        CLI::App app(
            "Serves the objects of the access point to an AgentX master agent, such as snmpd, or with "
            "--listen to "
            "managers.",
            PROGRAM);
        app.set_version_flag("--version", std::string(PROGRAM) + " " ZEVSIC_VERSION);
        app.add_option("--master", options.master, "AgentX address of the master: a path, or tcp:HOST:PORT")
            ->type_name("ADDRESS")
            ->capture_default_str();
        app.add_option("--listen", options.listen,
                       "Be the device's SNMP agent at this address, without a master: udp:161, udp6:161, "
                       "tcp:161; may "
                       "be given several times")
            ->type_name("ADDRESS")
            ->allow_extra_args(false);
        app.add_option("--config", options.configuration,
                       "With --listen: snmpd's configuration file, for users, views, trap sinks")
            ->type_name("FILE")
            ->needs("--listen")
            ->capture_default_str();
        app.add_option("--socket", options.socket, "Socket of the daemon")
            ->type_name("PATH")
            ->capture_default_str();
        app.add_option("--ping", options.ping_seconds,
                       "Time between signs of life, and between attempts to connect")
            ->type_name("SECONDS")
            ->check(CLI::Range(1, 3600))
            ->capture_default_str();
        app.add_option("--timeout", options.timeout_seconds,
                       "The master's agentXTimeout, or a manager's patience; requests are answered within "
                       "three quarters of it")
            ->type_name("SECONDS")
            ->check(CLI::Range(1, 60))
            ->capture_default_str();
        app.add_option("--keep", options.keep_seconds,
                       "Time for which the values last known are served while the daemon does not answer")
            ->type_name("SECONDS")
            ->check(CLI::Range(0, 86400))
            ->capture_default_str();
        app.add_flag("-f", options.foreground, "Stay in the foreground and log to standard error");
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            return app.exit(error) == 0 ? 0 : 2;
        }
        return serve(options);
    } catch (const std::exception &error) {
        log_line(LOG_ERR, error.what());
        return 1;
    }
}
