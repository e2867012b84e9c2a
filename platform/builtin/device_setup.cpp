#include "platform/builtin/device_setup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "platform/builtin/embedded.h"
#include "platform/builtin/settings.h"
#include "platform/device.h"

// Stands in for a tool that would touch the machine or the network.
static constexpr char LOGGING_TOOL[] =
    "#!/bin/sh\n"
    "# Only writes down how it was called.\n"
    "echo \"$*\" >>\"${0%/sbin/*}/tmp/${0##*/}.log\"\n";

static bool make_folder(const std::string &absolute) {
    std::error_code error;
    std::filesystem::create_directories(device_path(absolute), error);
    return !error;
}

// Keeps a file that is there already.
static bool add_file(const std::string &absolute, unsigned mode, std::string_view text) {
    if (!make_folder(absolute.substr(0, absolute.rfind('/')))) return false;
    int fd = open_device_file(absolute, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (fd < 0) return errno == EEXIST;
    bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return close(fd) == 0 && written;
}

static bool add_simulated_device() {
    for (const char *tool : {"wget", "tftp", "ftpput", "ftpget"}) {
        if (!add_file(std::string("/sbin/") + tool, 0755, LOGGING_TOOL)) return false;
    }
    for (size_t i = 0; i < demo_file_count; i++) {
        if (!add_file(demo_files[i].path, demo_files[i].mode, demo_files[i].text)) return false;
    }
    return true;
}

static bool add_root() {
    for (const char *folder : {"/tmp", "/var/run", "/etc"}) {
        if (!make_folder(folder)) return false;
    }
    return add_file("/sbin/date", 0755, LOGGING_TOOL) && add_file("/sbin/reboot", 0755, LOGGING_TOOL);
}

static bool add_store(bool demo) {
    StoreContents contents;
    std::string faulty;
    if (!expand_settings(factory_settings, LAYER_FACTORY, &contents, &faulty) ||
        (demo && !expand_settings(demo_settings, LAYER_WORKING, &contents, &faulty))) {
        fprintf(stderr, "zevcfg: settings: %s\n", faulty.c_str());
        return false;
    }
    return make_folder(STORE_FOLDER) && chmod(device_path(STORE_FOLDER).c_str(), 0700) == 0 &&
           create_store(contents);
}

const char *set_up_device(bool demo) {
    bool rooted = !device_path("").empty();
    if (demo && !rooted) return "a simulated device needs a device root: set ZEVSIC_ROOT";
    if (rooted && !add_root()) return "cannot make the device root";
    if (demo && !add_simulated_device()) return "cannot make the simulated device";
    return add_store(demo) ? nullptr : "cannot make the store";
}
