// zevsic-agentx: serves the subtree to an AgentX master agent, with what the daemon answers on its socket.
#include <CLI/CLI.hpp>
#include <csignal>

#include "client/agentx_handler.h"
#include "client/log.h"
#include "client/netsnmp.h"
#include "client/notify.h"
#include "client/protocol.h"
#include "platform/device.h"

constexpr const char *PROGRAM = "zevsic-agentx";

struct Options {
    std::string master = device_path("/var/agentx/master");
    std::string socket = default_socket();
    int ping_seconds = 2;
    int timeout_seconds = 1;
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

static void start_library(const Options &options) {
    setenv("MIBS", "", 1);  // the library would read every module of the machine, and none is needed
    snmp_enable_calllog();
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, log_of_library, nullptr);
    set_persistent_directory(device_path("/var/lib/snmp").c_str());
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, options.master.c_str());
    init_agent(PROGRAM);
    // init_agent() sets its own interval.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL,
                       options.ping_seconds);
}

static int serve(const Options &options) {
    if (!options.foreground) {
        if (daemon(1, 0) != 0) {
            log_line(LOG_ERR, std::string("cannot go to the background: ") + strerror(errno));
            return 1;
        }
        log_to_syslog(PROGRAM);
    }
    Subtree subtree;
    subtree.socket = options.socket;
    subtree.request_time = std::chrono::milliseconds(options.timeout_seconds * 1000 - 100);
    handle_signals();
    start_library(options);
    if (!register_subtree(&subtree)) {
        log_line(LOG_ERR, "the agent library does not take the subtree");
        return 1;
    }
    init_snmp(PROGRAM);
    start_notifications(options.socket);
    log_line(LOG_INFO,
             "serving " + std::string(ROOT_OID) + " to " + options.master + " from " + options.socket);
    while (!stopped) {
        agent_check_and_process(1);
        end_request(&subtree);
    }
    log_unfit(subtree);
    snmp_shutdown(PROGRAM);
    shutdown_agent();
    return 0;
}

int main(int argc, char **argv) {
    try {
        Options options;
        CLI::App app("Serves the objects of the access point to an AgentX master agent, such as snmpd.",
                     PROGRAM);
        app.set_version_flag("--version", std::string(PROGRAM) + " " ZEVSIC_VERSION);
        app.add_option("--master", options.master, "AgentX address of the master: a path, or tcp:HOST:PORT")
            ->type_name("ADDRESS")
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
                       "The master's agentXTimeout, which slow objects may use up")
            ->type_name("SECONDS")
            ->check(CLI::Range(1, 60))
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
