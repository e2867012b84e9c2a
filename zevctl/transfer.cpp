#include "zevctl/transfer.h"

#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "client/names.h"
#include "client/protocol.h"
#include "zevctl/output.h"

enum ActionStatus { IDLE, UPDATING, BACKING_UP, RESTARTING };  // what follows is a failure

static constexpr const char *FROM_SERVER = "1", *TO_SERVER = "2";

// The objects of a protocol.
struct Objects {
    const Object *server, *file, *user, *password, *direction, *command, *status;
};
static constexpr Objects TFTP = {
    "TFTPSrvIP"_object,         "TFTPRemoteFile"_object,  nullptr, nullptr, "TFTPCommand"_object,
    "TFTPUpdateCommand"_object, "TFTPActionStatus"_object};
static constexpr Objects FTP = {"FTPSrvIP"_object,       "FTPRemoteFile"_object, "FTPUserName"_object,
                                "FTPPassword"_object,    "FTPCommand"_object,    "FTPUpdateCommand"_object,
                                "FTPActionStatus"_object};

static const Objects &objects_of(const TransferOrder &order) {
    return order.ftp ? FTP : TFTP;
}

// Types on a terminal are not shown.
static bool ask_password(std::string *password) {
    fputs("Password of the FTP user: ", stderr);
    termios shown{};
    const bool is_terminal = tcgetattr(STDIN_FILENO, &shown) == 0;
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (is_terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    std::getline(std::cin, *password);
    if (is_terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    fputs("\n", stderr);
    return static_cast<bool>(std::cin);
}

static bool read_password(const std::string &file, std::string *password) {
    if (file.empty()) return ask_password(password);
    std::ifstream in(file);
    std::getline(in, *password);
    return !in.bad() && (in || in.eof());
}

static int write_settings(const Client &client, const TransferOrder &order) {
    const Objects &objects = objects_of(order);
    std::string password;
    if (order.ftp && !read_password(order.password_file, &password))
        return complain(EXIT_REFUSED, "cannot read the password");
    const std::pair<const Object *, std::string> settings[] = {
        {objects.server, order.server},
        {objects.file, order.file},
        {objects.user, order.user},
        {objects.password, password},
        {objects.direction, order.kind == BACKUP ? TO_SERVER : FROM_SERVER},
    };
    for (const auto &[object, value] : settings) {
        if (!object) continue;
        std::string wire;
        const int status = send_set(client, instance_0(object), value, &wire);
        if (status != EXIT_DONE) return status;
    }
    return EXIT_DONE;
}

static int start(const Client &client, const TransferOrder &order) {
    const std::string text = "integer " + std::to_string(order.kind);
    const Answer answer =
        exchange(client.socket, KIND_SET, instance_0(objects_of(order).command).oid, text, client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    if (answer.reply.reply_status == STATUS_ACCEPTED) return EXIT_DONE;
    // The daemon does not say why it refused; the state it shows tells the likely reasons apart.
    const Answer now =
        exchange(client.socket, KIND_GET, instance_0(objects_of(order).status).oid, "", client.timeout_ms);
    const int status = atoi(now.reply.value);
    if (status == UPDATING || status == BACKING_UP)
        return complain(EXIT_REFUSED, "not started: such a transfer is running, or has left its lock file");
    return complain(EXIT_REFUSED, "not started: a setting is missing, or the device cannot make its files");
}

// A rebuild of the agent or another manager's command takes away what the status speaks of.
static bool is_still_ours(const Client &client, const TransferOrder &order) {
    const Answer last =
        exchange(client.socket, KIND_GET, instance_0(objects_of(order).command).oid, "", client.timeout_ms);
    return last.error.empty() && last.reply.value == std::to_string(order.kind);
}

static int outcome(const Client &client, const TransferOrder &order, const Target &target,
                   const std::string &value) {
    const int status = atoi(value.c_str());
    if (status > RESTARTING) {
        const char *word = word_of(target.object, value);
        return complain(EXIT_REFUSED, "the transfer failed: " + (word ? word : value));
    }
    if (!is_still_ours(client, order)) return complain(EXIT_REFUSED, "ended, but its outcome is not known");
    // A backup ends with nothing to report; what the web server said earlier may show instead.
    if (order.kind == BACKUP || status == RESTARTING) return EXIT_DONE;
    return complain(EXIT_REFUSED, "ended without an answer of the device's web server");
}

static int wait_for_end(const Client &client, const TransferOrder &order, int limit_ms) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    const Target target = instance_0(objects_of(order).status);
    std::string shown;
    for (;;) {
        // Most transfers are short: the first look finds them ended, with no need to wait for a newer state.
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const Answer answer = exchange(client.socket, KIND_GET, target.oid, "", client.timeout_ms);
        if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
        const std::string value = answer.reply.value;
        // While an apply runs the daemon shows nothing else.
        const bool answered = is_value(answer.reply.reply_status);
        if (answered && value != shown) {
            if (client.json)
                answer_json(value_json(target, answer.reply.reply_status, value));  // the last one counts
            else
                puts(value_line(target, answer.reply.reply_status, value).c_str());
            fflush(stdout);
            shown = value;
        }
        const int status = atoi(value.c_str());
        if (answered && status != UPDATING && status != BACKING_UP)
            return outcome(client, order, target, value);
        if (std::chrono::steady_clock::now() >= deadline)
            return complain(EXIT_REFUSED, "the transfer has not ended yet");
    }
}

int transfer(const Client &client, const TransferOrder &order, int limit_ms) {
    int status = write_settings(client, order);
    if (status == EXIT_DONE) status = start(client, order);
    if (status == EXIT_DONE && order.wait) status = wait_for_end(client, order, limit_ms);
    return status;
}
