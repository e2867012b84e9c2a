#include "linux/run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "platform/device.h"

void use_own_tools() {
    prepare_tools();
    if (device_path("").empty()) {
        setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
        return;
    }
    const std::string path = device_path("/sbin") + ":" + device_path("/bin") + ":" + device_path("/usr/bin");
    setenv("PATH", path.c_str(), 1);
}

bool run_tool(const std::string &command, std::string *output) {
    static constexpr char STATUS[] = "status ";
    begin_tools();
    CommandOutput result = read_command(command + " && echo " + STATUS + "0");
    end_tools();
    const size_t at = result.text.rfind(STATUS);
    const bool done = result.started && at != std::string::npos;
    if (output) *output = done ? result.text.substr(0, at) : result.text;
    return done;
}

bool write_whole(const std::string &absolute, const std::string &text, bool for_all) {
    const std::string path = device_path(absolute), fresh = path + ".new";
    std::error_code error;
    const mode_t mask = umask(for_all ? 022 : 077);  // of new folders too
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    umask(mask);
    unlink(fresh.c_str());
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, for_all ? 0644 : 0600);
    if (fd < 0) return false;
    if (for_all) fchmod(fd, 0644);
    const char *rest = text.data();
    for (size_t left = text.size(); left > 0;) {
        const ssize_t count = write(fd, rest, left);
        if (count <= 0) break;
        rest += count;
        left -= static_cast<size_t>(count);
    }
    const bool written = rest == text.data() + text.size() && fsync(fd) == 0;
    close(fd);
    return written && rename(fresh.c_str(), path.c_str()) == 0;
}
