// zevnet: makes this machine the access point that the running configuration describes. A command is added by
// the file that has it; each returns the exit status.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <string>

#include "linux/apply.h"
#include "linux/radios.h"
#include "linux/tools.h"

static int record_answers(const std::string &folder) {
    if (record_nl80211(folder)) return 0;
    fprintf(stderr, "zevnet: cannot ask the kernel, or not write to %s\n", folder.c_str());
    return 1;
}

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

    app.add_subcommand("hostapd", "Run hostapd with what is in force, for its unit")->callback([&] {
        command = run_hostapd;
    });
    std::string interface;
    CLI::App *ports = app.add_subcommand("ports", "Set up the ports of networks that hostapd has made anew");
    ports->add_option("INTERFACE", interface, "Only this one, of a WDS link");
    ports->callback([&] { command = [&] { return set_up_ports(interface); }; });

    RadioWishes wishes;
    CLI::App *radios =
        app.add_subcommand("radios", "Find the radios and write /etc/k480ext.conf and /etc/zevnet.conf");
    radios->add_option("--radio1", wishes.radio[0], "What shall be radio 1, on 2.4 GHz (phy0)");
    radios->add_option("--radio2", wishes.radio[1], "What shall be radio 2, on 5 GHz (phy1)");
    radios->add_option("--port", wishes.port, "The wired interface that is LAN port 0 (eth0)");
    radios->callback([&] { command = [&] { return find_radios(wishes); }; });

    CLI::App *record = app.add_subcommand("record", "Keep what the kernel says of the radios, for a report");
    record
        ->add_option("FOLDER", folder,
                     "Where to; in a device root, zevnet reads it from /var/lib/zevnet/answers")
        ->required();
    record->callback([&] { command = [&] { return record_answers(folder); }; });

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
        if (is_tool(argv[0])) return run_tool(argv[0], argc - 1, argv + 1);
        return run_command_line(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "zevnet: %s\n", error.what());
        return 1;
    }
}
