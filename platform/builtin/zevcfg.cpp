// The command line of the configuration store.
#include "platform/zevcfg.h"

#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "platform/builtin/device_setup.h"
#include "platform/builtin/item_text.h"
#include "platform/builtin/store.h"

enum ExitStatus : int { DONE = 0, FAILED = 1, WRONG_USAGE = 2, NO_SUCH_ITEM = 4 };

static int fail(const std::string &why, int status = FAILED) {
    fprintf(stderr, "zevcfg: %s\n", why.c_str());
    return status;
}

// What the command line names.
struct Request {
    bool demo = false;
    bool current = false;
    bool exit_code = false;
    std::string group, key, value, file;
    std::vector<std::string> command;

    Layer configuration() const { return current ? LAYER_RUNNING : LAYER_WORKING; }
};

// ---- items ----

static int get(Layer layer, const Request &request) {
    std::string text, why;
    bool found = layer == LAYER_SYSTEM ? system_item(request.key, &text)
                                       : find_item(layer, request.group, request.key, &text) == 0;
    why = reading_failure();
    if (!why.empty()) return fail(why);
    if (!found) return fail("no such item", NO_SUCH_ITEM);
    std::cout << text << '\n';
    return std::cout.flush() ? DONE : fail("cannot write the output");
}

// What is done by hand is not undone by an apply that fails, nor with a load that dies.
static std::vector<Layer> written_with(Layer layer) {
    if (layer == LAYER_RUNNING) return {LAYER_RUNNING, LAYER_APPLIED};
    if (layer == LAYER_WORKING) return {LAYER_WORKING, LAYER_BEFORE_LOAD};
    return {layer};
}

static int write_items(Layer layer, const std::vector<StoreItem> &items) {
    std::string why;
    Database db = open_store(&why);
    if (!db) return fail(why);
    Transaction transaction(db.get());
    bool written = transaction.started();
    for (Layer each : written_with(layer)) written = written && put_items(db.get(), each, items);
    return written && transaction.commit() ? DONE : fail(store_error(db.get()));
}

static int unset(Layer layer, const Request &request) {
    std::string why;
    Database db = open_store(&why);
    if (!db) return fail(why);
    Transaction transaction(db.get());
    if (!transaction.started()) return fail(store_error(db.get()));
    bool found = false;
    for (Layer each : written_with(layer))
        found = remove_item(db.get(), each, request.group, request.key) || found;
    if (!found) return fail("no such item", NO_SUCH_ITEM);
    return transaction.commit() ? DONE : fail(store_error(db.get()));
}

// ---- export and import ----

static int export_items(const Request &request) {
    std::string why;
    Database db = open_store(&why);
    if (!db) return fail(why);
    std::vector<StoreItem> items;
    if (!list_items(db.get(), request.configuration(), request.group, &items))
        return fail(store_error(db.get()));
    for (const StoreItem &item : items) std::cout << item_line(item) << '\n';
    return std::cout.flush() ? DONE : fail("cannot write the output");
}

static std::string shown(const std::optional<std::string> &value) {
    return value ? escaped(*value) : "(not set)";
}

static int diff(const Request &request) {
    std::string why;
    Database db = open_store(&why);
    if (!db) return fail(why);
    std::vector<Difference> differences;
    if (!list_differences(db.get(), LAYER_RUNNING, LAYER_WORKING, request.group, &differences))
        return fail(store_error(db.get()));
    for (const Difference &d : differences)
        std::cout << escaped(d.group) << ' ' << escaped(d.key) << ": " << shown(d.before) << " -> "
                  << shown(d.after) << '\n';
    if (!std::cout.flush()) return fail("cannot write the output");
    return request.exit_code && !differences.empty() ? FAILED : DONE;
}

static int import_items(const Request &request) {
    std::ifstream file;
    if (!request.file.empty()) file.open(request.file);
    std::istream &input = request.file.empty() ? std::cin : file;
    if (!input) return fail("cannot read the file");
    std::vector<StoreItem> items;
    for (std::string line; std::getline(input, line);) {
        StoreItem item;
        if (!read_item_line(line, &item))
            return fail("line " + std::to_string(items.size() + 1) + " is not GROUP<TAB>KEY<TAB>VALUE");
        items.push_back(std::move(item));
    }
    if (input.bad()) return fail("cannot read the file");
    return write_items(request.configuration(), items);
}

// ---- apply, boot, reset, lock ----

static int finish(bool (*task)(std::string *why), const char *failure) {
    std::string why;
    return task(&why) ? DONE : fail(failure + why);
}

static int run_locked(char **command) {
    std::string why;
    if (!open_store(&why)) return fail(why);
    int lock = take_lock(LOCK_EX | LOCK_NB);
    if (lock < 0) return fail(errno == EWOULDBLOCK ? "the store is locked" : strerror(errno));
    pid_t pid = -1;
    int error = posix_spawnp(&pid, command[0], nullptr, nullptr, command, environ);
    if (error != 0) {
        free_lock(lock);
        return fail(std::string(command[0]) + ": " + strerror(error));
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    free_lock(lock);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// ---- the command line ----

static bool is(const char *argument, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), std::string_view(argument)) != words.end();
}

// What follows the options of these commands is taken as it stands: a value may begin with a dash.
static std::vector<std::string> mark_values(int argc, char **argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    size_t first = 1;
    if (argc > 2 && is(argv[1], {"sys", "env"})) first = 2;
    if (arguments.size() < first || !is(argv[first], {"get", "set", "unset"})) return arguments;
    while (first < arguments.size() && is(arguments[first].c_str(), {"--current", "--help", "-h"})) first++;
    arguments.insert(arguments.begin() + static_cast<long>(first), "--");
    return arguments;
}

static void add_commands_for_list(CLI::App *list, Request *request) {
    list->require_subcommand(1);
    for (const char *name : {"get", "set", "unset"}) {
        CLI::App *command = list->add_subcommand(name);
        command->add_option("NAME", request->key)->required();
        if (strcmp(name, "set") == 0) command->add_option("VALUE", request->value)->required();
    }
}

static void add_commands(CLI::App *app, Request *request) {
    CLI::App *init = app->add_subcommand("init", "Make the store with the factory configuration, or keep it");
    init->add_flag("--demo", request->demo, "Make a simulated device below ZEVSIC_ROOT too");
    struct {
        const char *name, *help;
    } const item_commands[] = {{"get", "Print an item's value"},
                               {"set", "Write an item"},
                               {"unset", "Remove an item"},
                               {"export",
                                "Print lines GROUP<TAB>KEY<TAB>VALUE, sorted; tab, newline and backslash in"
                                " them are written \\t, \\n and \\\\"},
                               {"import", "Write the items of such lines, all or none"}};
    for (const auto &[name, help] : item_commands) {
        CLI::App *command = app->add_subcommand(name, help);
        command->add_flag("--current", request->current, "The running configuration, not the working one");
        if (strcmp(name, "import") == 0) {
            command->add_option("FILE", request->file, "Standard input without it");
            continue;
        }
        bool exporting = strcmp(name, "export") == 0;
        command->add_option("GROUP", request->group)->required(!exporting);
        if (!exporting) command->add_option("KEY", request->key)->required();
        if (strcmp(name, "set") == 0) command->add_option("VALUE", request->value)->required();
    }
    add_commands_for_list(app->add_subcommand("sys", "System items"), request);
    add_commands_for_list(app->add_subcommand("env", "Variables of the rc environment"), request);
    CLI::App *difference =
        app->add_subcommand("diff", "Print what an apply would change: GROUP KEY: RUNNING -> SAVED");
    difference->add_flag("--exit-code", request->exit_code, "Exit status 1 when there is anything");
    difference->add_option("GROUP", request->group);
    app->add_subcommand("apply", "Make the working configuration the running one");
    app->add_subcommand("boot",
                        "Once while the device starts: apply, and remove what daemons of the last run left");
    app->add_subcommand("check", "Say whether the store is whole: exit status 1 and why when it is damaged");
    app->add_subcommand("reset", "Take the factory configuration as the working one");
    app->add_subcommand("lock",
                        "Run a command while holding the store lock; fails at once when another holds it")
        ->add_option("COMMAND", request->command, "The command and its arguments")
        ->required()
        ->expected(1, -1);
}

static int run_item_command(const std::string &name, Layer layer, const Request &request) {
    if (request.key.empty()) return fail("an item needs a name", WRONG_USAGE);
    if (name == "get") return get(layer, request);
    return name == "set" ? write_items(layer, {{request.group, request.key, request.value}})
                         : unset(layer, request);
}

static int run_request(const CLI::App &app, const Request &request) {
    const CLI::App *command = app.get_subcommands().front();
    const std::string &name = command->get_name();
    if (name == "init") {
        std::string failure = set_up_device(request.demo);
        return failure.empty() ? DONE : fail(failure);
    }
    if (name == "export") return export_items(request);
    if (name == "import") return import_items(request);
    if (name == "diff") return diff(request);
    if (name == "apply") return finish(apply_store, "not applied: ");
    if (name == "boot") return finish(boot_store, "not applied: ");
    if (name == "check") return finish(check_store, "");
    if (name == "reset") return finish(reset_store, "not reset: ");
    if (name == "sys" || name == "env")
        return run_item_command(command->get_subcommands().front()->get_name(),
                                name == "sys" ? LAYER_SYSTEM : LAYER_ENVIRONMENT, request);
    if (request.group.empty()) return fail("an item needs a group", WRONG_USAGE);
    return run_item_command(name, request.configuration(), request);
}

static int run_command_line(int argc, char **argv) {
    bool locking = argc > 2 && is(argv[1], {"lock"}) && !is(argv[2], {"--help", "-h"});
    if (locking) return run_locked(argv + (is(argv[2], {"--"}) && argc > 3 ? 3 : 2));

    CLI::App app("The device's configuration store", "zevcfg");
    app.set_version_flag("--version", ZEVSIC_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 1 refused or failed, 2 wrong usage, 4 no such item.\n"
        "The device is the folder ZEVSIC_ROOT, or this machine when that is not set.");
    Request request;
    add_commands(&app, &request);
    std::vector<std::string> arguments = mark_values(argc, argv);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return fail(error.what(), WRONG_USAGE);
    }
    return run_request(app, request);
}

int main(int argc, char **argv) {
    try {
        return run_command_line(argc, argv);
    } catch (const std::exception &error) {
        return fail(error.what());
    }
}
