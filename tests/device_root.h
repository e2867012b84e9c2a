// A device root of a test's own: a temporary folder that ZEVSIC_ROOT names until the end of the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

inline testing::AssertionResult has(const std::string &text, const std::string &part) {
    const bool there = text.find(part) != std::string::npos;
    return testing::AssertionResult(there) << (there ? "there is " : "there is no ") << part << " in:\n"
                                           << text;
}

class DeviceRoot {
  public:
    DeviceRoot() {
        char folder[] = "/tmp/zevsic-test-XXXXXX";
        path_ = mkdtemp(folder);
        setenv("ZEVSIC_ROOT", path_.c_str(), 1);
        // Programs start as on a device, without a locale.
        for (const char *name : {"LANG", "LANGUAGE", "LC_ALL", "LC_CTYPE"}) unsetenv(name);
        std::filesystem::create_directories(path_ + "/tmp");
        std::filesystem::create_directories(path_ + "/var/run");
        // The SNMP tools keep and read nothing elsewhere, and need not say that they have made a folder.
        std::filesystem::create_directories(path_ + "/var/lib/snmp/cert_indexes");
        for (const char *name : SNMP_FOLDERS) setenv(name, (path_ + "/var/lib/snmp").c_str(), 1);
    }
    ~DeviceRoot() {
        unsetenv("ZEVSIC_ROOT");
        for (const char *name : SNMP_FOLDERS) unsetenv(name);
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
    static constexpr const char *SNMP_FOLDERS[] = {"SNMP_PERSISTENT_DIR", "SNMPCONFPATH"};
    std::string path_;
};
