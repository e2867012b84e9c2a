#include "platform/builtin/device_setup.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/builtin/embedded.h"
#include "platform/builtin/settings.h"
#include "platform/builtin/store.h"
#include "platform/device.h"

// Stands in for a tool that would touch the machine or the network.
static constexpr char LOGGING_TOOL[] =
    "#!/bin/sh\n"
    "# Only writes down how it was called.\n"
    "echo \"$*\" >>\"${0%/sbin/*}/tmp/${0##*/}.log\"\n";

// What failed, for people; empty when nothing did.
using Failure = std::string;

static Failure failure(const std::string &absolute) {
    return device_path(absolute) + ": " + strerror(errno);
}

static Failure make_folder(const std::string &absolute) {
    std::error_code error;
    std::filesystem::create_directories(device_path(absolute), error);
    errno = error.value();
    return error ? failure(absolute) : "";
}

// A file of that text and no name; or a draft, where the file system has no files without a name. −1 with
// errno.
static int make_draft(const std::string &folder, const std::string &draft, unsigned mode,
                      std::string_view text) {
    unlink(draft.c_str());  // that of an init that was killed
    int fd = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    if (fd < 0) fd = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0) return -1;
    ssize_t written = write(fd, text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size()) && fsync(fd) == 0) return fd;
    int error = written >= 0 && written < static_cast<ssize_t>(text.size()) ? ENOSPC : errno;
    close(fd);
    unlink(draft.c_str());
    errno = error;
    return -1;
}

// Keeps a file that is there already. Whole or not at all: nobody would mend the rest of an init that was
// killed.
static Failure add_file(const std::string &absolute, unsigned mode, std::string_view text) {
    std::string folder = absolute.substr(0, absolute.rfind('/'));
    Failure failed = make_folder(folder);
    if (!failed.empty() || device_file_exists(absolute)) return failed;
    std::string path = device_path(absolute);
    std::string draft = path + ".draft";
    int fd = make_draft(device_path(folder), draft, mode, text);
    if (fd < 0) return failure(absolute);
    // The machine's own: not a file of the device.
    std::string unnamed = "/proc/self/fd/" + std::to_string(fd);
    const char *made = access(draft.c_str(), F_OK) == 0 ? draft.c_str() : unnamed.c_str();
    if (linkat(AT_FDCWD, made, AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) != 0) failed = failure(absolute);
    unlink(draft.c_str());
    close(fd);
    return failed;
}

static Failure add_simulated_device() {
    Failure failed;
    for (const char *tool : {"wget", "tftp", "ftpput", "ftpget"}) {
        if (failed.empty()) failed = add_file(std::string("/sbin/") + tool, 0755, LOGGING_TOOL);
    }
    for (size_t i = 0; i < demo_file_count && failed.empty(); i++)
        failed = add_file(demo_files[i].path, demo_files[i].mode, demo_files[i].text);
    return failed;
}

static Failure add_root() {
    Failure failed;
    for (const char *folder : {"/tmp", "/var/run", "/etc"}) {
        if (failed.empty()) failed = make_folder(folder);
    }
    for (const char *tool : {"/sbin/date", "/sbin/reboot"}) {
        if (failed.empty()) failed = add_file(tool, 0755, LOGGING_TOOL);
    }
    return failed;
}

static Failure add_store(bool demo) {
    StoreContents contents;
    std::string faulty;
    if (!expand_settings(factory_settings, LAYER_FACTORY, &contents, &faulty) ||
        (demo && !expand_settings(demo_settings, LAYER_WORKING, &contents, &faulty)))
        return "settings: " + faulty;
    struct stat facts = {};
    // What is empty is none.
    if (stat(device_path(STORE_FILE).c_str(), &facts) == 0 && facts.st_size == 0)
        remove_device_file(STORE_FILE);
    Failure failed;
    if (device_file_exists(STORE_FILE)) {
        if (check_store(&failed)) grow_store(&failed);
        return failed;
    }
    if (device_file_exists(DAMAGED_STORE_FILE))
        return "a repair of the store was ended: zevcfg boot does the rest";
    std::string image = new_store(contents);
    return image.empty() ? "cannot make the store" : add_file(STORE_FILE, 0600, image);
}

std::string set_up_device(bool demo) {
    bool rooted = !device_path("").empty();
    if (demo && !rooted) return "a simulated device needs a device root: set ZEVSIC_ROOT";
    Failure failed = make_folder(STORE_FOLDER);
    if (!failed.empty()) return failed;
    // One init at a time: another one's drafts are in use.
    int folder = open(device_path(STORE_FOLDER).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0 || fchmod(folder, 0700) != 0 || flock(folder, LOCK_EX) != 0)
        failed = failure(STORE_FOLDER);
    if (failed.empty() && rooted) failed = add_root();
    if (failed.empty() && demo) failed = add_simulated_device();
    if (failed.empty()) failed = add_store(demo);
    if (failed.empty() && fsync(folder) != 0) failed = failure(STORE_FOLDER);
    if (folder >= 0) close(folder);
    return failed;
}
