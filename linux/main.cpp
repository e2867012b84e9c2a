// zevnet: makes this machine the access point that the running configuration describes. A command is added by
// the file that has it; each returns the exit status.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <string>

#include "linux/apply.h"

static int run_command_line(int argc, char **argv) {
    CLI::App app("The running configuration on the air, by hostapd, the kernel's bridge and nftables",
                 "zevnet");
    app.set_version_flag("--version", ZEVSIC_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 1 refused or failed, 2 wrong usage.\n"
        "The device is the folder ZEVSIC_ROOT, or this machine when that is not set.");
    std::function<int()> command;

    std::string folder;
    CLI::App *apply = app.add_subcommand("apply", "Put the running configuration in force");
    apply->add_option("--dry-run", folder, "Only write the texts, into this folder");
    apply->callback([&] { command = [&] { return folder.empty() ? apply_plan() : write_plan(folder); }; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        fprintf(stderr, "zevnet: %s\n", error.what());
        return 2;
    }
    return command();
}

int main(int argc, char **argv) {
    try {
        return run_command_line(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "zevnet: %s\n", error.what());
        return 1;
    }
}
