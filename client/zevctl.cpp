// zevctl: the daemon's request socket from the command line.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>

#include "client/commands.h"
#include "client/metrics.h"
#include "client/pass_persist.h"
#include "client/protocol.h"
#include "client/settings.h"
#include "client/status.h"
#include "client/table.h"
#include "client/transfer.h"
#include "client/watch.h"
#include "registry/registry.h"

// For completion: the words that may stand where something is asked for.
static int print_words(const Client &client, const std::string &kind, const std::string &object) {
    std::vector<const char *> words;
    if (kind == "tables" || kind == "views") words = view_names();
    if (kind == "settings") words = setting_groups();
    if (kind == "objects" || kind == "tables" || kind == "settings")
        for (const char *name : object_names()) words.push_back(name);
    for (const char *word : words) puts(word);
    const Target target = parse_target(object.substr(0, object.find('.')));
    if (kind == "values" && target.object)
        for (const Word &word : target.object->words)
            if (target.object->in_range(word.value)) puts(word.text);
    std::string error;
    const auto print = [](const Target &at, const snmp_reply &) { puts(format_name(at).c_str()); };
    if (kind == "instances" && target.object) walk_values(client, target.oid, print, &error);
    return EXIT_DONE;
}

static std::string joined(const std::vector<const char *> &names) {
    std::string text;
    for (const char *name : names) text += (text.empty() ? "" : ", ") + std::string(name);
    return text;
}

// A subcommand that moves a file; `order` and `status` outlive the parsing.
static void add_transfer(CLI::App *app, const Client &client, const char *name, TransferKind kind,
                         const char *description, TransferOrder *order, int *status) {
    auto *command = app->add_subcommand(name, description);
    auto *protocol = command->add_option_group("Protocol");
    protocol->add_flag("--tftp")->description("Over TFTP");
    auto *ftp = protocol->add_flag("--ftp", order->ftp, "Over FTP, with a user");
    protocol->require_option(1);
    command->add_option("SERVER", order->server, "Address of the file server")->required();
    command->add_option("FILE", order->file, "Name of the file there")->required();
    auto *user = command->add_option("--user", order->user, "User at the FTP server")->needs(ftp);
    command
        ->add_option("--password-file", order->password_file,
                     "File with the password in its first line; without it the terminal is asked")
        ->needs(user);
    command->add_flag("--wait", order->wait, "Wait for the end and show the states, at most 10 min");
    command->final_callback([&client, kind, order, status] {
        if (order->ftp && order->user.empty()) throw CLI::RequiredError("--user");
        order->kind = kind;
        *status = transfer(client, *order);
    });
}

// The first word that is no option must be a command. Options with a value, which it may follow, are these
// two.
static std::string unknown_command(const CLI::App &app, const std::vector<std::string> &arguments) {
    size_t i = 0;
    while (i < arguments.size() && arguments[i].starts_with('-'))
        i += arguments[i] == "--socket" || arguments[i] == "--timeout" ? 2 : 1;
    if (i >= arguments.size()) return "";
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        if (command->check_name(arguments[i])) return "";
        if (!command->get_group().empty()) names.push_back(command->get_name());
    }
    std::vector<const char *> texts;
    texts.reserve(names.size());
    for (const std::string &name : names) texts.push_back(name.c_str());
    return "no such command: " + arguments[i] + suggestion(arguments[i], texts);
}

static int run(std::vector<std::string> arguments) {
    Client client;
    client.socket = default_socket();
    double seconds = client.timeout_ms / 1000.0;
    std::vector<std::string> objects;
    std::string from;
    bool wait = false;
    int status = EXIT_DONE;

    CLI::App app(
        "Reads and writes the objects of the access point through the daemon's request socket.\n\n"
        "OBJ is NAME, NAME.INSTANCE (APSysName.0, VAPESSID.1.3), an OID below the root (3.1.1.3.1.3)\n"
        "or a full OID. Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no answer.",
        "zevctl");
    app.require_subcommand(1);
    app.fallthrough();
    app.ignore_case();
    app.set_version_flag("--version", "zevctl " ZEVSIC_VERSION);
    app.add_option("--socket", client.socket, "Socket of the daemon")
        ->type_name("PATH")
        ->capture_default_str();
    app.add_option("--timeout", seconds, "Time limit of a request")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 3600.0))
        ->capture_default_str();
    app.add_flag("--json", client.json, "Print one JSON document");

    auto *get_command = app.add_subcommand("get", "Print values");
    get_command->add_option("OBJ", objects)->required();
    get_command->final_callback([&] { status = get(client, objects); });

    auto *next_command = app.add_subcommand("getnext", "Print the value behind an object or instance");
    next_command->add_option("OBJ", from)->required();
    next_command->final_callback([&] { status = get_next(client, from); });

    std::string value;
    auto *set_command = app.add_subcommand("set", "Set a value: a number, a word or a text");
    set_command->add_option("OBJ", from)->required();
    set_command->add_option("VALUE", value, "Put -- in front of a text that begins with -")->required();
    set_command->final_callback([&] { status = set(client, from, value); });

    auto *walk_command = app.add_subcommand("walk", "Print all values of the tree, or below FROM");
    walk_command->add_option("FROM", from, "Object, branch or instance");
    walk_command->final_callback([&] { status = walk(client, from); });

    TableOptions table_options;
    auto *table_command = app.add_subcommand("table", "Print a table as people read it");
    table_command
        ->add_option(
            "NAME", objects,
            "One of " + joined(view_names()) + "; or objects and branches, to be columns side by side")
        ->required();
    table_command->add_flag("--csv", table_options.csv, "Print comma-separated values");
    table_command->add_flag("--secrets", table_options.secrets, "With keys and shared secrets");
    table_command->add_flag("--vertical", table_options.vertical, "Print a line per value");
    table_command->add_option("--columns", table_options.columns, "Print these columns only: A,B")
        ->delimiter(',')
        ->allow_extra_args(false);
    table_command->final_callback([&] { status = table(client, objects, table_options); });

    WatchOptions watching;
    auto *watch_command = app.add_subcommand(
        "watch",
        "Print a table round after round, and what changed; the daemon reads it anew every sample time");
    watch_command->add_option("TABLE", from, "One of " + joined(view_names()))->required();
    watch_command->add_option("--columns", watching.columns, "Show these columns only: A,B")
        ->delimiter(',')
        ->allow_extra_args(false);
    watch_command->add_option("--interval", watching.interval_s, "Time from round to round")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
    watch_command->add_option("--sort", watching.sort, "Column: numbers largest first, texts alphabetically")
        ->type_name("COLUMN");
    watch_command->add_option("--count", watching.count, "Rounds; without it until Ctrl-C")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    watch_command->final_callback([&] {
        const View *view = find_view(from);
        status =
            view ? watch(client, *view, watching)
                 : complain(EXIT_USAGE, "no such table: " + printable(from) + suggestion(from, view_names()));
    });

    bool secrets = false, exit_code = false;
    auto *export_command = app.add_subcommand("export", "Print the configuration as a settings file");
    export_command->add_option(
        "NAME", objects, "Objects, branches or " + joined(setting_groups()) + "; without one, everything");
    export_command->add_flag("--secrets", secrets, "With keys and shared secrets");
    export_command->final_callback([&] { status = export_settings(client, objects, secrets); });

    LoadOptions loading;
    auto *load_command = app.add_subcommand(
        "load",
        "Set what a settings file has otherwise. Exit status 1: something was refused, 2: the file is wrong");
    load_command->add_option("FILE", loading.file, "Settings file, - for standard input")->required();
    auto *dry_run = load_command->add_flag("--dry-run", loading.dry_run, "Print old and new values only");
    load_command->add_flag("--secrets", loading.secrets, "With those of keys and shared secrets")
        ->needs(dry_run);
    load_command->add_flag("--save", loading.save, "Save, and try again what depends on other lines");
    auto *load_apply = load_command->add_flag("--apply", loading.apply, "Save so, then apply");
    load_command->add_flag("--wait", loading.wait, "Wait for the end of the apply, at most 60 s")
        ->needs(load_apply);
    load_command->final_callback([&] { status = load_settings(client, loading); });

    auto *diff_command =
        app.add_subcommand("diff", "Print where the device differs from a settings file: DEVICE -> FILE");
    diff_command->add_option("FILE", from, "Settings file, - for standard input")->required();
    diff_command->add_flag("--secrets", secrets, "With keys and shared secrets");
    diff_command->add_flag("--exit-code", exit_code, "Exit status 1 when there is a difference");
    diff_command->final_callback([&] { status = diff_settings(client, from, secrets, exit_code); });

    app.add_subcommand("status", "Print how the daemon is. Exit status 0: well, 1: not, 3: no daemon")
        ->final_callback([&] { status = status_report(client); });

    bool http = false;
    auto *metrics_command =
        app.add_subcommand("metrics", "Print what a monitoring system wants, in the Prometheus text format");
    auto *collectors = metrics_command->add_option("COLLECTOR", objects, "Some of it only")
                           ->check(CLI::IsMember(metrics_collectors()));
    metrics_command
        ->add_flag("--http", http,
                   "Answer one HTTP request on standard input and output, for a socket of systemd")
        ->excludes(collectors);
    metrics_command->final_callback([&] {
        status = http ? serve_metrics(client, STDIN_FILENO, STDOUT_FILENO) : metrics(client, objects);
    });

    app.add_subcommand("dump", "Have the daemon write its tree to its trace output")->final_callback([&] {
        status = dump(client);
    });
    app.add_subcommand("save", "Write the pending changes to the working configuration")->final_callback([&] {
        status = save(client);
    });
    auto *apply_command = app.add_subcommand("apply", "Save the pending changes and make them effective");
    apply_command->add_flag("--wait", wait, "Wait for the end of the apply, at most 60 s");
    apply_command->final_callback([&] { status = apply(client, wait); });

    TransferOrder order{};
    add_transfer(&app, client, "backup", BACKUP, "Copy the configuration to a file server", &order, &status);
    add_transfer(&app, client, "restore", RESTORE, "Load the configuration from a file server", &order,
                 &status);
    add_transfer(&app, client, "upgrade", UPGRADE, "Load a firmware from a file server", &order, &status);

    app.add_subcommand("pass-persist", "Answer snmpd's pass_persist on standard input and output")
        ->final_callback([&] { pass_persist(client.socket, std::cin, std::cout); });

    std::string kind;
    auto *words_command = app.add_subcommand("words", "Print the words that completion offers")->group("");
    words_command->add_option("KIND", kind)->required();
    words_command->add_option("OBJ", from);
    words_command->final_callback([&] { status = print_words(client, kind, from); });

    app.parse_complete_callback([&] { client.timeout_ms = static_cast<int>(seconds * 1000); });

    // A negative number is a value and no option.
    const auto negative = std::find_if(arguments.begin(), arguments.end(), [](const std::string &argument) {
        return argument == "--" || (argument[0] == '-' && argument[1] >= '0' && argument[1] <= '9');
    });
    if (negative != arguments.end() && *negative != "--") arguments.insert(negative, "--");
    client.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    if (const std::string unknown = unknown_command(app, arguments); !unknown.empty())
        return finish(client, complain(EXIT_USAGE, unknown));
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return finish(client, complain(EXIT_USAGE, std::string(error.what()) + " (--help says more)"));
    }
    return finish(client, status);
}

int main(int argc, char **argv) {
    try {
        const int status = run({argv + 1, argv + argc});
        const bool written = fflush(stdout) == 0 && !ferror(stdout);
        if (!written) complain(EXIT_REFUSED, "the output could not be written");
        return written || status != EXIT_DONE ? status : EXIT_REFUSED;
    } catch (const std::exception &error) {
        fprintf(stderr, "zevctl: %s\n", error.what());
        return EXIT_REFUSED;
    }
}
