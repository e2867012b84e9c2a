#include "zevctl/commands.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <unordered_set>

#include "client/protocol.h"
#include "platform/device.h"
#include "platform/files.h"
#include "snmp/translate.h"
#include "zevctl/dependencies.h"
#include "zevctl/output.h"
#include "zevctl/settings.h"

static std::vector<std::string> complaints;  // of this call
static std::string document;

int complain(int status, const std::string &text) {
    fprintf(stderr, "zevctl: %s\n", text.c_str());
    complaints.push_back(text);
    return status;
}

void answer_json(std::string text) {
    document = std::move(text);
}

int finish(const Client &client, int status) {
    if (client.json) print_document(document, complaints);
    document.clear();
    complaints.clear();
    return status;
}

// Values: printed, or kept for the document.
struct Printer {
    const Client &client;
    std::vector<std::string> documents = {};

    void print(const Target &target, int type, const std::string &value) {
        if (client.json)
            documents.push_back(value_json(target, type, value));
        else
            puts(value_line(target, type, value).c_str());
    }
    // A single value stands for itself.
    void end(bool is_list) {
        if (client.json && (is_list || !documents.empty()))
            answer_json(is_list ? json_array(documents) : documents[0]);
    }
};

// GET or GETNEXT of one OID, printed.
static int print_answer(RequestKind kind, const Target &target, Printer *values) {
    const Client &client = values->client;
    const Answer answer = exchange(client.socket, kind, target.oid, "", client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    const bool answered =
        kind == KIND_GET ? answers(answer.reply, parse_oid(target.oid)) : is_value(answer.reply.reply_status);
    if (!answered)
        return complain(EXIT_REFUSED, format_name(target) + (kind == KIND_GET ? ": no such object or instance"
                                                                              : ": nothing behind it"));
    values->print(locate(answer.reply.oid), answer.reply.reply_status, answer.reply.value);
    return EXIT_DONE;
}

int get(const Client &client, const std::vector<std::string> &objects) {
    Printer values{client};
    int worst = EXIT_DONE;
    for (const std::string &object : objects) {
        const Target target = parse_instance(object);
        const int status = target.error.empty() ? print_answer(KIND_GET, target, &values)
                                                : complain(EXIT_REFUSED, target.error);
        if (status != EXIT_DONE) worst = status;
        if (status == EXIT_NO_DAEMON) break;
    }
    values.end(objects.size() > 1);
    return worst;
}

int get_next(const Client &client, const std::string &object) {
    Printer values{client};
    const Target target = parse_target(object);
    if (!target.error.empty()) return complain(EXIT_REFUSED, target.error);
    const int status = print_answer(KIND_GETNEXT, target, &values);
    values.end(false);
    return status;
}

static std::string value_refused(const Object &object) {
    const std::string accepted = accepted_values(object), hint = refusal_hint(object);
    return "value refused" + (accepted.empty() ? "" : " (accepted: " + accepted + ")") +
           (hint.empty() ? "" : ": " + hint);
}

std::string refusal(const Object &object, int status) {
    switch (status) {
        case STATUS_NOTHING:
            return "no such object or instance";
        case STATUS_READ_ONLY:
            return object.access == READ_WRITE ? "not for you to write: that takes root or group zevsic"
                                               : "not writable";
        case STATUS_WRONG_TYPE:
            return "wrong type";
        case STATUS_WRONG_VALUE:
            return value_refused(object);
        default:
            return "answered with the unknown status " + std::to_string(status);
    }
}

int send_set(const Client &client, const Target &target, const std::string &value, std::string *wire) {
    std::string error;
    if (!target.object)
        return complain(EXIT_REFUSED, target.oid + ": not a known object, so its type is not known");
    *wire = wire_value(*target.object, value);
    const std::string text = set_text(*target.object, *wire, &error);
    if (!error.empty()) return complain(EXIT_REFUSED, format_name(target) + ": " + error);
    const Answer answer = exchange(client.socket, KIND_SET, target.oid, text, client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    if (answer.reply.reply_status == STATUS_ACCEPTED) return EXIT_DONE;
    std::string reason =
        answer.reply.reply_status == STATUS_WRONG_VALUE ? value_mistake(*target.object, *wire) : "";
    if (reason.empty()) {
        const std::string needs =
            answer.reply.reply_status == STATUS_WRONG_VALUE ? dependency_hint(*target.object) : "";
        reason = refusal(*target.object, answer.reply.reply_status) + (needs.empty() ? "" : "; ") + needs;
    }
    return complain(EXIT_REFUSED, format_name(target) + ": " + reason);
}

int set(const Client &client, const std::string &object, const std::string &value) {
    const Target target = parse_instance(object);
    std::string wire;
    if (!target.error.empty()) return complain(EXIT_REFUSED, target.error);
    // A column that was not read before is read by the next GET, which would show what is stored.
    if (target.object && is_setting(*target.object))
        exchange(client.socket, KIND_GET, target.oid, "", client.timeout_ms);
    const int status = send_set(client, target, value, &wire);
    if (status != EXIT_DONE) return status;
    Printer values{client};
    values.print(target, target.object->type, wire);
    values.end(false);
    return status;
}

int walk_values(const Client &client, const std::string &from,
                const std::function<void(const Target &, const snmp_reply &)> &visit, std::string *error) {
    *error = "the tables changed during the walk, which is not complete";
    // An instance is its own subtree and nothing follows it there.
    Answer answer = exchange(client.socket, KIND_GET, from, "", client.timeout_ms);
    if (answer.error.empty() && answers(answer.reply, parse_oid(from))) {
        visit(locate(answer.reply.oid), answer.reply);
        return EXIT_DONE;
    }
    std::string last = from;
    std::unordered_set<std::string> seen;
    while (answer.error.empty()) {
        answer = exchange(client.socket, KIND_GETNEXT, last, "", client.timeout_ms);
        if (!answer.error.empty()) break;
        const std::string next = answer.reply.oid;
        if (!is_value(answer.reply.reply_status)) {
            // Either the end of the tree, or the row asked about is gone and the walk cannot go on.
            if (last == from) return EXIT_DONE;
            answer = exchange(client.socket, KIND_GET, last, "", client.timeout_ms);
            if (!answer.error.empty()) break;
            return answers(answer.reply, parse_oid(last)) ? EXIT_DONE : EXIT_REFUSED;
        }
        if (!next.starts_with(from + ".")) return EXIT_DONE;
        // Rows of live tables are made anew now and then, so a walk may be led back; it must end all the
        // same.
        if (!seen.insert(next).second) return EXIT_REFUSED;
        visit(locate(next), answer.reply);
        last = next;
    }
    *error = answer.error;
    return EXIT_NO_DAEMON;
}

int walk(const Client &client, const std::string &from) {
    const Target target = parse_target(from.empty() ? ROOT_OID : from);
    if (!target.error.empty()) return complain(EXIT_REFUSED, target.error);
    std::string error;
    Printer values{client};
    const auto print = [&](const Target &at, const snmp_reply &reply) {
        values.print(at, reply.reply_status, reply.value);
    };
    const int status = walk_values(client, target.oid, print, &error);
    values.end(true);
    return status == EXIT_DONE ? status : complain(status, error);
}

int dump(const Client &client) {
    const Answer answer = exchange(client.socket, KIND_DUMP, ROOT_OID, "", client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    if (!client.json) puts("The daemon has written its tree to its trace output.");
    return EXIT_DONE;
}

int save(const Client &client) {
    const Target target = instance_0("APSysSaveConfig"_object);
    const Answer answer = exchange(client.socket, KIND_SET, target.oid, "integer 1", client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    if (answer.reply.reply_status == STATUS_ACCEPTED) return EXIT_DONE;
    if (answer.reply.reply_status != STATUS_WRONG_VALUE)
        return complain(EXIT_REFUSED, "save: " + refusal(*target.object, answer.reply.reply_status));
    return complain(EXIT_REFUSED, "not saved: the queued values were discarded: set them again");
}

// Waits until the daemon has the whole tree again and reads idle. While an apply runs the tree holds nothing
// but the apply object; that one may go on showing an old state, so it is asked last.
static int wait_for_apply(const Client &client, const Target &apply_object, int limit_ms) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    const bool terminal = isatty(STDERR_FILENO) != 0;
    if (terminal) fprintf(stderr, "applying ");
    int status = -1;
    std::string words;
    while (status < 0) {
        Answer answer = exchange(client.socket, KIND_GETNEXT, ROOT_OID, "", client.timeout_ms);
        const bool whole = answer.error.empty() && answer.reply.oid != apply_object.oid;
        if (whole) answer = exchange(client.socket, KIND_GET, apply_object.oid, "", client.timeout_ms);
        const std::string state = answer.reply.value;
        if (!answer.error.empty()) {
            status = EXIT_REFUSED;
            words = "the apply failed, the daemon is gone: " + answer.error;
        } else if (whole && state == "0") {
            status = EXIT_DONE;
        } else if (state == "-1") {
            status = EXIT_REFUSED;
            words = "a reboot is needed for the changes to take effect";
        } else if (std::chrono::steady_clock::now() >= deadline) {
            status = EXIT_REFUSED;
            words = "the apply has not ended yet";
        } else {
            if (terminal) fprintf(stderr, ".");
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    if (terminal) fprintf(stderr, status == EXIT_DONE ? " done\n" : "\n");
    return words.empty() ? status : complain(status, words);
}

int apply(const Client &client, bool wait, int limit_ms) {
    const Target target = instance_0("APSysApplyConfig"_object);
    const Answer answer = exchange(client.socket, KIND_SET, target.oid, "integer 1", client.timeout_ms);
    if (!answer.error.empty()) return complain(EXIT_NO_DAEMON, answer.error);
    if (answer.reply.reply_status == STATUS_ACCEPTED)
        return wait ? wait_for_apply(client, target, limit_ms) : EXIT_DONE;
    if (answer.reply.reply_status != STATUS_WRONG_VALUE)
        return complain(EXIT_REFUSED, "apply: " + refusal(*target.object, answer.reply.reply_status));
    // The daemon does not say why it refused; the state it shows now tells the likely reasons apart.
    const Answer now = exchange(client.socket, KIND_GET, target.oid, "", client.timeout_ms);
    const std::string state = now.reply.value;
    if (state == "-1")
        return complain(EXIT_REFUSED, "saved, but a reboot is needed for the changes to take effect");
    if (apply_lock_is_left())
        return complain(EXIT_REFUSED, "not applied: no apply is running, but " +
                                          device_path(APPLY_LOCK_FILE) + " was left by one: remove it");
    if (state == "1") return complain(EXIT_REFUSED, "not applied: an apply is already running");
    return complain(EXIT_REFUSED,
                    "not applied: no changes are saved, or the queued values could not be written and were "
                    "discarded: set them again");
}
