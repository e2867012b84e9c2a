// zevsic-agentx: serves the subtree to an AgentX master agent, or to managers as the device's SNMP agent
// itself, with what the daemon answers on its socket.
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <csignal>

#include "client/protocol.h"
#include "platform/device.h"
#include "snmp/agentx_handler.h"
#include "snmp/connections.h"
#include "snmp/log.h"
#include "snmp/master_link.h"
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

static volatile sig_atomic_t stopped, asked_to_reload;

static void stop(int) {
    stopped = 1;
}

static void ask_to_reload(int) {
    asked_to_reload = 1;
}

static int log_of_library(int, int, void *message, void *) {
    const auto *line = static_cast<const snmp_log_message *>(message);
    std::string text = line->msg;
    while (text.ends_with('\n')) text.pop_back();
    log_line(line->priority, text);
    return 0;
}

static void handle_signals(bool listens) {
    struct sigaction action {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    if (listens) action.sa_handler = ask_to_reload;  // a sub-agent has no configuration
    sigaction(SIGHUP, &action, nullptr);
}

static void set_option(int which, bool value) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, which, value);
}

static void prepare_library() {
    setenv("MIBS", "", 1);  // the library would read every module of the machine, and none is needed
    snmp_enable_calllog();
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, log_of_library, nullptr);
    set_persistent_directory(device_path("/var/lib/snmp").c_str());
    set_option(NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, true);  // run_once() waits for its alarms
}

static bool add_subtree(Subtree *subtree, const Options &options) {
    if (register_subtree(subtree, std::chrono::seconds(options.timeout_seconds))) return true;
    log_line(LOG_ERR, "the agent library does not take the subtree");
    return false;
}

static bool is_readable(const std::string &configuration) {
    if (access(configuration.c_str(), R_OK) == 0) return true;
    log_line(LOG_ERR, configuration + ": " + strerror(errno));
    return false;
}

static bool listen_at(const std::string &address) {
    netsnmp_transport *transport = netsnmp_transport_open_server("snmp", address.c_str());
    if (!transport) return false;
    // TLS sends in its own way, and bounds nothing.
    if (transport->f_accept &&
        !(transport->flags & (NETSNMP_TRANSPORT_FLAG_TUNNELED | NETSNMP_TRANSPORT_FLAG_TMSTATE)))
        bound_connections(transport);
    return netsnmp_register_agent_nsap(transport) != 0;
}

// The library has one interval for attempts to connect and for signs of life, and reads it when it begins
// with either. A master that ends tells by itself; so signs of life, which wake both, are rarer.
static int reconnect_seconds = 0;

static void set_pause_of_library(int seconds) {
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, seconds);
}

static int connected(int, int, void *, void *) {
    constexpr int SIGN_OF_LIFE = 8;
    set_pause_of_library(SIGN_OF_LIFE * reconnect_seconds);
    return 0;
}

static bool start_subagent(Subtree *subtree, const Options &options) {
    set_option(NETSNMP_DS_LIB_DONT_READ_CONFIGS, true);
    set_option(NETSNMP_DS_LIB_DONT_PERSIST_STATE, true);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, options.master.c_str());
    init_agent(PROGRAM);
    watch_master();
    reconnect_seconds = options.ping_seconds;
    set_pause_of_library(reconnect_seconds);  // init_agent() sets its own
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, connected, nullptr);
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
    if (!is_readable(options.configuration)) return false;
    unsetenv("SNMPCONFPATH");
    // No folder for configuration: a file in the persistent one would be read twice, and lose the engine id.
    set_configuration_directory("");
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
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, "none");
    if (init_master_agent() != 0) return false;
    for (const std::string &address : options.listen) {
        if (!listen_at(address)) {
            log_line(LOG_ERR, "cannot listen at " + address);
            return false;
        }
        log_line(LOG_INFO, "serving " + std::string(ROOT_OID) + " at " + address + " from " + options.socket);
    }
    // How often it has started, and the keys of users, in case that it ends otherwise than by a signal.
    snmp_store(AGENT);
    return true;
}

// The file is read before anything of the present configuration is given up.
static void reload(const Options &options) {
    if (!is_readable(options.configuration)) return;
    update_config();
    snmp_store(AGENT);
    log_line(LOG_INFO, "read " + options.configuration + " again");
}

static timeval time_until(Clock::time_point then) {
    const auto most = std::chrono::microseconds(std::chrono::minutes(1));
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        std::min(then, Clock::now() + most) - Clock::now());
    const auto wait = std::clamp<int64_t>(left.count(), 0, most.count());
    return {static_cast<time_t>(wait / 1000000), static_cast<suseconds_t>(wait % 1000000)};
}

// A set of descriptors, of any number of them.
struct Descriptors : netsnmp_large_fd_set {
    Descriptors() {
        netsnmp_large_fd_set_init(this, FD_SETSIZE);
        clear();
    }
    ~Descriptors() { netsnmp_large_fd_set_cleanup(this); }
    Descriptors(const Descriptors &) = delete;
    Descriptors &operator=(const Descriptors &) = delete;
    void clear() { NETSNMP_LARGE_FD_ZERO(this); }
};

// Those through which the library hands itself a master's message, and the answer to it back.
static std::vector<int> pipes_of_library() {
    int count = 0, block = 1;
    timeval timeout{};
    Descriptors sessions;
    snmp_select_info2(&count, &sessions, &timeout, &block);
    std::vector<int> pipes;
    struct stat file {};
    for (int fd = 0; fd < count; fd++)
        if (NETSNMP_LARGE_FD_ISSET(fd, &sessions) && fstat(fd, &file) == 0 && S_ISFIFO(file.st_mode))
            pipes.push_back(fd);
    return pipes;
}

// Otherwise each would cost a round of the loop, for every value.
static void read_pipes(const std::vector<int> &pipes) {
    static Descriptors session;
    for (const int fd : pipes) {
        int waiting = 0;
        if (ioctl(fd, FIONREAD, &waiting) != 0 || waiting == 0) continue;
        session.clear();
        NETSNMP_LARGE_FD_SET(fd, &session);
        snmp_read2(&session);
    }
}

// One round of the library's loop, with the daemon's answers in it.
static void run_once(Subtree *subtree, const std::vector<int> &pipes) {
    // A wait that took this long was one: nothing had come before it ended.
    constexpr std::chrono::microseconds WAITED(10);
    static Descriptors readable, writable, exceptional;
    int count = 0, block = 0;
    for (Descriptors *set : {&readable, &writable, &exceptional}) set->clear();
    timeval timeout = time_until(std::min(next_go(), next_notification_step()));
    netsnmp_external_event_info2(&count, &readable, &writable, &exceptional);
    snmp_select_info2(&count, &readable, &timeout, &block);
    const int daemon = waiting_fd(subtree->asker);
    if (daemon >= 0) {
        NETSNMP_LARGE_FD_SET(daemon, &readable);
        count = std::max(count, daemon + 1);
    }
    const Clock::time_point begin = Clock::now();
    int ready = netsnmp_large_fd_set_select(count, &readable, &writable, &exceptional, &timeout);
    const bool answered = ready > 0 && daemon >= 0 && NETSNMP_LARGE_FD_ISSET(daemon, &readable);
    if (answered) {
        NETSNMP_LARGE_FD_CLR(daemon, &readable);
        ready--;
    }
    begin_round(ready <= 0 || Clock::now() - begin >= WAITED);
    if (ready > 0) {
        netsnmp_dispatch_external_events2(&ready, &readable, &writable, &exceptional);
        snmp_read2(&readable);
        read_pipes(pipes);
    }
    snmp_timeout();
    run_alarms();
    go_on_with_requests();
    go_on_with_notifications();
    set_pause_of_library(reconnect_seconds);
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
    const bool listens = !options.listen.empty();
    handle_signals(listens);
    prepare_library();
    if (!(listens ? start_agent(&subtree, options) : start_subagent(&subtree, options))) return 1;
    start_notifications(&subtree.asker);
    const std::vector<int> pipes = pipes_of_library();
    while (!stopped && !subtree_is_taken()) {
        run_once(&subtree, pipes);
        if (asked_to_reload) {
            asked_to_reload = 0;
            reload(options);
        }
    }
    if (subtree_is_taken())
        log_line(LOG_ERR, options.master + ": another sub-agent serves " + ROOT_OID + " there already");
    log_unfit(subtree);
    snmp_shutdown(listens ? AGENT : PROGRAM);
    shutdown_agent();
    return subtree_is_taken() ? 1 : 0;
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
            ->allow_extra_args(false)
            ->delimiter(',')
            ->check(
                [](const std::string &address) { return address.empty() ? "an address is missing" : ""; });
        app.add_option("--config", options.configuration,
                       "With --listen: snmpd's configuration file, for users, views, trap sinks")
            ->type_name("FILE")
            ->needs("--listen")
            ->capture_default_str();
        app.add_option("--socket", options.socket, "Socket of the daemon")
            ->type_name("PATH")
            ->capture_default_str();
        app.add_option("--ping", options.ping_seconds,
                       "Time between attempts to connect; signs of life are eight times as rare")
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
