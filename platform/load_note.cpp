#include "platform/load_note.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/device.h"

static constexpr std::string_view END = "# end\n";
static constexpr size_t LIMIT = 16U << 20;

LoadNote::~LoadNote() {
    if (fd_ >= 0) close(fd_);
}

bool LoadNote::open(bool may_make) {
    const std::string path(LOAD_NOTE_FILE);
    const std::string folder = path.substr(0, path.rfind('/'));
    if (may_make && mkdir(device_path(folder).c_str(), 0700) != 0 && errno != EEXIST) return false;
    fd_ = open_device_file(path, O_RDWR | O_NONBLOCK | (may_make ? O_CREAT : 0), 0600);
    if (fd_ < 0) return false;
    struct stat facts = {};
    const bool ours = fstat(fd_, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_nlink == 1 &&
                      (facts.st_uid == 0 || facts.st_uid == geteuid());
    if (ours) return true;
    close(fd_);
    fd_ = -1;
    errno = EPERM;
    return false;
}

bool LoadNote::lock() {
    int result = 0;
    do {
        result = flock(fd_, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

std::string LoadNote::text() const {
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while (text.size() < LIMIT &&
           (count = pread(fd_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0)
        text.append(buffer, static_cast<size_t>(count));
    if (!text.ends_with(END)) return "";
    text.resize(text.size() - END.size());
    return text;
}

std::string LoadNote::id() const {
    return first_line(text());
}

bool LoadNote::write(std::string_view text) {
    const std::string whole = std::string(text).append(END);
    const ssize_t written = pwrite(fd_, whole.data(), whole.size(), 0);
    if (written == static_cast<ssize_t>(whole.size()) && fsync(fd_) == 0) return true;
    const int error = written >= 0 && errno == 0 ? ENOSPC : errno;
    clear();
    errno = error;
    return false;
}

bool LoadNote::clear() {
    return ftruncate(fd_, 0) == 0 && fsync(fd_) == 0;
}
