#include "linux/apply.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "linux/hostapd.h"
#include "linux/in_force.h"
#include "linux/plan.h"
#include "linux/run.h"
#include "platform/device.h"
#include "platform/log.h"

namespace fs = std::filesystem;

static const std::string NOW = std::string(STATE) + "/now", NEXT = std::string(STATE) + "/next",
                         BEFORE = std::string(STATE) + "/before",
                         UNFINISHED = std::string(STATE) + "/unfinished";

static int complain(const std::string &why) {
    fprintf(stderr, "zevnet: %s\n", why.c_str());
    return 1;
}

// ---- texts in folders ----

static Texts read_texts(const std::string &folder) {
    Texts texts{{}, folder, !device_file_exists(UNFINISHED)};
    std::error_code error;
    const fs::path path = device_path(folder);
    for (const auto &entry : fs::recursive_directory_iterator(path, error)) {
        if (!entry.is_regular_file(error)) continue;
        std::ifstream file(entry.path(), std::ios::binary);
        texts.files[entry.path().lexically_relative(path)] = {std::istreambuf_iterator<char>(file), {}};
    }
    if (texts.files.empty()) texts.is_sure = false;
    return texts;
}

static bool write_texts(const std::string &folder, const std::map<std::string, std::string> &texts) {
    std::error_code error;
    fs::remove_all(device_path(folder), error);
    for (const auto &[name, text] : texts)
        if (!write_whole(std::string(folder).append("/").append(name), text)) return false;
    return true;
}

int write_plan(const std::string &folder) {
    const Lookup configuration = running_configuration();
    if (!configuration) return complain("the store cannot be read");
    const Plan plan = make_plan(configuration, read_machine());
    for (const std::string &error : plan.errors) complain(error);
    for (const auto &[name, text] : texts_of(plan)) {
        const fs::path path = fs::path(folder) / name;
        std::error_code error;
        fs::create_directories(path.parent_path(), error);
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file << text << std::flush;
        if (!file.good()) return complain("cannot write " + path.string());
    }
    return plan.errors.empty() ? 0 : 1;
}

// ---- one at a time ----

// Held until the process ends, by whatever.
static bool lock(bool wait) {
    std::error_code error;
    fs::create_directories(device_path(STATE), error);
    chmod(device_path(STATE).c_str(), 0755);  // whoever asks for the status reads what is not done
    const int fd =
        open(device_path(std::string(STATE) + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (int waited_s = 0; fd >= 0; waited_s++) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (!wait || waited_s == 60) break;
        sleep(1);
    }
    if (fd >= 0) close(fd);
    return false;
}

// ---- apply ----

// Cards that have a name may come later than the store, when the machine has just started.
static Machine await_machine() {
    constexpr int PATIENCE_MS = 10000, PAUSE_MS = 500;
    Machine machine = read_machine();
    for (int waited = 0; machine.lacks_card && waited < PATIENCE_MS; waited += PAUSE_MS) {
        usleep(PAUSE_MS * 1000);
        machine = read_machine();
    }
    return machine;
}

static void say_what_is_not_done(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        fprintf(stderr, "zevnet: not done: %s\n", line.c_str());
        text += line + "\n";
    }
    write_whole(NOT_DONE_FILE, text, true);
    log_event(lines.empty() ? "the configuration is on the air"
                            : ("the configuration is on the air; settings that are not done: " +
                               std::to_string(lines.size()))
                                  .c_str());
}

static int failed(const std::string &why) {
    write_whole(NOT_DONE_FILE, "The last apply failed: " + why + "\n", true);
    log_event("the configuration was not put on the air", Severity::ERROR);
    return complain(why);
}

// What was in force is put back; what can be done about a second failure is to say it.
static int go_back(const Texts &to, const Texts &from, const std::string &why) {
    std::string again;
    std::vector<std::string> ignored;
    Texts there = to;
    there.is_sure = from.is_sure;
    if (from.files.empty())
        for (const std::string &radio : to.radios()) remove_from_hostapd(radio);
    else if (!put_in_force(from, there, &again, &ignored))
        complain("what was in force does not come up either: " + again);
    if (again.empty()) unlink(device_path(UNFINISHED).c_str());
    return failed(why);
}

int apply_plan() {
    umask(077);
    use_own_tools();
    if (!lock(true)) return complain("another apply does not end");
    const Lookup configuration = running_configuration();
    if (!configuration) return complain("the store cannot be read");
    const Plan plan = make_plan(configuration, await_machine());
    for (const std::string &error : plan.errors) complain(error);
    if (!plan.errors.empty()) return failed(plan.errors.front());

    const Texts from = read_texts(NOW);
    Texts to{texts_of(plan), NEXT};
    if (!write_texts(NEXT, to.files)) return failed("cannot write to " + NEXT);
    if (!run_tool("nft -c -f " + shell_word(device_path(NEXT + "/firewall.nft"))))
        return failed("nft does not take the ruleset");
    if (!write_whole(UNFINISHED, "")) return failed("cannot write to " + std::string(STATE));
    std::string why;
    std::vector<std::string> refused;
    if (!put_in_force(to, from, &why, &refused)) return go_back(to, from, why);

    std::error_code error;
    fs::remove_all(device_path(BEFORE), error);
    fs::rename(device_path(NOW), device_path(BEFORE), error);
    error.clear();
    fs::rename(device_path(NEXT), device_path(NOW), error);
    if (error) return failed("cannot write to " + NOW);
    unlink(device_path(UNFINISHED).c_str());
    std::vector<std::string> lines = plan.not_done;
    lines.insert(lines.end(), refused.begin(), refused.end());
    say_what_is_not_done(lines);
    return 0;
}

// ---- for units ----

int run_hostapd() {
    use_own_tools();
    const Texts texts = read_texts(NOW);
    make_radio_interfaces(texts);
    std::vector<std::string> files;
    for (const std::string &radio : texts.radios())
        files.push_back(std::string(NOW).append("/").append(radio).append(".conf"));
    const std::string command = "exec " + hostapd_command(files);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    return complain("cannot run hostapd");
}

int set_up_ports(const std::string &interface) {
    use_own_tools();
    if (!interface.empty()) {
        make_trunk(read_texts(NOW), interface);
        return 0;
    }
    if (!lock(false)) return 0;  // an apply does it
    restore_ports(read_texts(NOW));
    return 0;
}
