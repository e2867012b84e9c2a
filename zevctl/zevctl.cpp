// zevctl: the daemon's request socket from the command line.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>

#include "client/protocol.h"
#include "registry/registry.h"
#include "snmp/pass_persist.h"
#include "zevctl/commands.h"
#include "zevctl/metrics.h"
#include "zevctl/settings.h"
#include "zevctl/status.h"
#include "zevctl/table.h"
#include "zevctl/transfer.h"
#include "zevctl/watch.h"

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
            if (target.object->range.have(word.value)) puts(word.text);
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

// What the command line said, and the outcome of the command that it named.
struct CommandLine {
    Client client;
    double seconds = 0;  // the time limit of a request
    std::vector<std::string> objects;
    std::string from, value, kind;
    TableOptions table;
    WatchOptions watch;
    LoadOptions load;
    TransferOrder order{};
    bool secrets = false, exit_code = false, http = false, wait = false;
    int status = EXIT_DONE;
};

static void add_object_commands(CLI::App *app, CommandLine *line) {
    auto *get_command = app->add_subcommand("get", "Print values");
    get_command->add_option("OBJ", line->objects)->required();
    get_command->final_callback([line] { line->status = get(line->client, line->objects); });

    auto *next_command = app->add_subcommand("getnext", "Print the value behind an object or instance");
    next_command->add_option("OBJ", line->from)->required();
    next_command->final_callback([line] { line->status = get_next(line->client, line->from); });

    auto *set_command = app->add_subcommand("set", "Set a value: a number, a word or a text");
    set_command->add_option("OBJ", line->from)->required();
    set_command->add_option("VALUE", line->value, "Put -- in front of a text that begins with -")->required();
    set_command->final_callback([line] { line->status = set(line->client, line->from, line->value); });

    auto *walk_command = app->add_subcommand("walk", "Print all values of the tree, or below FROM");
    walk_command->add_option("FROM", line->from, "Object, branch or instance");
    walk_command->final_callback([line] { line->status = walk(line->client, line->from); });
}

static void add_columns(CLI::App *command, std::vector<std::string> *columns) {
    command->add_option("--columns", *columns, "These columns only: A,B")
        ->delimiter(',')
        ->allow_extra_args(false);
}

static void add_table_commands(CLI::App *app, CommandLine *line) {
    auto *table_command = app->add_subcommand("table", "Print a table as people read it");
    table_command
        ->add_option(
            "NAME", line->objects,
            "One of " + joined(view_names()) + "; or objects and branches, to be columns side by side")
        ->required();
    table_command->add_flag("--csv", line->table.csv, "Print comma-separated values");
    table_command->add_flag("--secrets", line->table.secrets, "With keys and shared secrets");
    table_command->add_flag("--vertical", line->table.vertical, "Print a line per value");
    add_columns(table_command, &line->table.columns);
    table_command->final_callback([line] { line->status = table(line->client, line->objects, line->table); });

    auto *watch_command = app->add_subcommand(
        "watch",
        "Print a table round after round, and what changed; the daemon reads it anew every sample time");
    watch_command->add_option("TABLE", line->from, "One of " + joined(view_names()))->required();
    add_columns(watch_command, &line->watch.columns);
    watch_command->add_option("--interval", line->watch.interval_s, "Time from round to round")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
    watch_command
        ->add_option("--sort", line->watch.sort, "Column: numbers largest first, texts alphabetically")
        ->type_name("COLUMN");
    watch_command->add_option("--count", line->watch.count, "Rounds; without it until Ctrl-C")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    watch_command->final_callback([line] {
        const View *view = find_view(line->from);
        line->status = view ? watch(line->client, *view, line->watch)
                            : complain(EXIT_USAGE, "no such table: " + printable(line->from) +
                                                       suggestion(line->from, view_names()));
    });
}

static void add_settings_commands(CLI::App *app, CommandLine *line) {
    auto *export_command = app->add_subcommand("export", "Print the configuration as a settings file");
    export_command->add_option(
        "NAME", line->objects,
        "Objects, branches or " + joined(setting_groups()) + "; without one, everything");
    export_command->add_flag("--secrets", line->secrets, "With keys and shared secrets");
    export_command->final_callback(
        [line] { line->status = export_settings(line->client, line->objects, line->secrets); });

    auto *load_command = app->add_subcommand(
        "load",
        "Set what a settings file has otherwise. Exit status 1: something was refused, 2: the file is wrong");
    load_command->add_option("FILE", line->load.file, "Settings file, - for standard input")->required();
    auto *dry_run = load_command->add_flag("--dry-run", line->load.dry_run, "Print old and new values only");
    load_command->add_flag("--secrets", line->load.secrets, "With those of keys and shared secrets")
        ->needs(dry_run);
    load_command->add_flag("--save", line->load.save, "Save, and try again what depends on other lines");
    load_command->add_flag("--open", line->load.open,
                           "Have on for a moment what lines depend on and the file leaves off; no security");
    auto *load_apply = load_command->add_flag("--apply", line->load.apply, "Save so, then apply");
    load_command->add_flag("--wait", line->load.wait, "Wait for the end of the apply, at most 60 s")
        ->needs(load_apply);
    load_command->final_callback([line] {
        const LoadOptions &load = line->load;
        line->status = load.open && !load.save && !load.apply
                           ? complain(EXIT_USAGE, "--open needs --save or --apply")
                           : load_settings(line->client, load);
    });

    auto *diff_command =
        app->add_subcommand("diff", "Print where the device differs from a settings file: DEVICE -> FILE");
    diff_command->add_option("FILE", line->from, "Settings file, - for standard input")->required();
    diff_command->add_flag("--secrets", line->secrets, "With keys and shared secrets");
    diff_command->add_flag("--exit-code", line->exit_code, "Exit status 1 when there is a difference");
    diff_command->final_callback(
        [line] { line->status = diff_settings(line->client, line->from, line->secrets, line->exit_code); });
}

static void add_monitoring_commands(CLI::App *app, CommandLine *line) {
    app->add_subcommand("status", "Print how the daemon is. Exit status 0: well, 1: not, 3: no daemon")
        ->final_callback([line] { line->status = status_report(line->client); });

    auto *metrics_command =
        app->add_subcommand("metrics", "Print what a monitoring system wants, in the Prometheus text format");
    auto *collectors = metrics_command->add_option("COLLECTOR", line->objects, "Some of it only")
                           ->check(CLI::IsMember(metrics_collectors()));
    metrics_command
        ->add_flag("--http", line->http,
                   "Answer one HTTP request on standard input and output, for a socket of systemd")
        ->excludes(collectors);
    metrics_command->final_callback([line] {
        line->status = line->http ? serve_metrics(line->client, STDIN_FILENO, STDOUT_FILENO)
                                  : metrics(line->client, line->objects);
    });

    app->add_subcommand("dump", "Have the daemon write its tree to its trace output")->final_callback([line] {
        line->status = dump(line->client);
    });
}

static void add_commit_commands(CLI::App *app, CommandLine *line) {
    app->add_subcommand("save", "Write the pending changes to the working configuration")
        ->final_callback([line] { line->status = save(line->client); });
    auto *apply_command = app->add_subcommand("apply", "Save the pending changes and make them effective");
    apply_command->add_flag("--wait", line->wait, "Wait for the end of the apply, at most 60 s");
    apply_command->final_callback([line] { line->status = apply(line->client, line->wait); });
}

static void add_transfer_command(CLI::App *app, CommandLine *line, const char *name, TransferKind kind,
                                 const char *description) {
    TransferOrder *order = &line->order;
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
    command->final_callback([line, kind] {
        if (line->order.ftp && line->order.user.empty()) throw CLI::RequiredError("--user");
        line->order.kind = kind;
        line->status = transfer(line->client, line->order);
    });
}

// For programs: snmpd, and the completion of shells.
static void add_program_commands(CLI::App *app, CommandLine *line) {
    app->add_subcommand("pass-persist", "Answer snmpd's pass_persist on standard input and output")
        ->final_callback([line] { pass_persist(line->client.socket, std::cin, std::cout); });

    auto *words_command = app->add_subcommand("words", "Print the words that completion offers")->group("");
    words_command->add_option("KIND", line->kind)->required();
    words_command->add_option("OBJ", line->from);
    words_command->final_callback(
        [line] { line->status = print_words(line->client, line->kind, line->from); });
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
    CommandLine line;
    Client &client = line.client;
    client.socket = default_socket();
    line.seconds = client.timeout_ms / 1000.0;

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
    app.add_option("--timeout", line.seconds, "Time limit of a request")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 3600.0))
        ->capture_default_str();
    app.add_flag("--json", client.json, "Print one JSON document");
    add_object_commands(&app, &line);
    add_table_commands(&app, &line);
    add_settings_commands(&app, &line);
    add_monitoring_commands(&app, &line);
    add_commit_commands(&app, &line);
    add_transfer_command(&app, &line, "backup", BACKUP, "Copy the configuration to a file server");
    add_transfer_command(&app, &line, "restore", RESTORE, "Load the configuration from a file server");
    add_transfer_command(&app, &line, "upgrade", UPGRADE, "Load a firmware from a file server");
    add_program_commands(&app, &line);
    app.parse_complete_callback([&] { client.timeout_ms = static_cast<int>(line.seconds * 1000); });

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
    return finish(client, line.status);
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
