#include "linux/hostapd.h"

#include <unistd.h>

#include <filesystem>

#include "linux/plan.h"
#include "linux/run.h"
#include "platform/device.h"

static constexpr int PATIENCE_MS = 10000, PAUSE_MS = 200;

static std::string state_path(const std::string &name = "") {
    return shell_word(device_path(STATE + (name.empty() ? "" : "/" + name)));
}

static bool ask(const std::string &request) {
    std::string answer;
    return run_tool("hostapd_cli -p " + state_path() + " -i global raw " + request + " 2>/dev/null",
                    &answer) &&
           (answer.starts_with("OK") || answer.starts_with("PONG"));
}

std::string hostapd_command(const std::vector<std::string> &files) {
    std::string command = "hostapd -g " + state_path("global");
    for (const std::string &file : files)
        command += " -b " + std::filesystem::path(file).stem().string() + ":" + shell_word(device_path(file));
    return command;
}

static bool start(const std::vector<std::string> &files) {
    if (device_file_exists("/run/systemd/system")) return run_tool("systemctl start zevnet-hostapd.service");
    return run_tool(hostapd_command(files) + " -B -P " + state_path("hostapd.pid") + " >/dev/null 2>&1");
}

bool have_hostapd(const std::vector<std::string> &files) {
    if (ask("PING")) return true;
    start(files);
    for (int waited = 0; waited < PATIENCE_MS; waited += PAUSE_MS) {
        if (ask("PING")) return true;
        usleep(PAUSE_MS * 1000);
    }
    return false;
}

bool add_to_hostapd(const std::string &radio, const std::string &file) {
    return ask("ADD bss_config=" + radio + ":" + shell_word(device_path(file)));
}

void remove_from_hostapd(const std::string &interface) {
    ask("REMOVE " + interface);
}

std::string state_of(const std::string &interface) {
    static constexpr char STATE_LINE[] = "state=";
    std::string answer;
    run_tool("hostapd_cli -p " + shell_word(device_path(HOSTAPD_SOCKETS)) + " -i " + interface +
                 " status 2>/dev/null",
             &answer);
    const size_t at = answer.find(STATE_LINE);
    return at == std::string::npos ? "" : first_line(answer.substr(at + sizeof STATE_LINE - 1));
}
