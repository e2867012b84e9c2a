// A device root of a test's own: a temporary folder that ZEVSIC_ROOT names until the end of the test.
#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class DeviceRoot {
  public:
    DeviceRoot() {
        char name[] = "/tmp/zevsic-test-XXXXXX";
        path_ = mkdtemp(name);
        setenv("ZEVSIC_ROOT", path_.c_str(), 1);
        std::filesystem::create_directories(path_ + "/tmp");
        std::filesystem::create_directories(path_ + "/var/run");
    }
    ~DeviceRoot() {
        unsetenv("ZEVSIC_ROOT");
        std::filesystem::remove_all(path_);
    }
    DeviceRoot(const DeviceRoot &) = delete;
    DeviceRoot &operator=(const DeviceRoot &) = delete;

    std::string path(const std::string &absolute) const { return path_ + absolute; }
    bool has(const std::string &absolute) const { return std::filesystem::exists(path(absolute)); }
    void write(const std::string &absolute, const std::string &text) const {
        std::filesystem::create_directories(std::filesystem::path(path(absolute)).parent_path());
        std::ofstream(path(absolute), std::ios::binary) << text;
    }
    // A shell script as a tool of the device.
    void write_tool(const std::string &absolute, const std::string &script) const {
        write(absolute, "#!/bin/sh\n" + script + "\n");
        chmod(path(absolute).c_str(), 0755);
    }
    std::string read(const std::string &absolute) const {
        std::ifstream file(path(absolute), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

  private:
    std::string path_;
};
