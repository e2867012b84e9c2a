// What people type and read: files of commands with what they print, in tests/transcripts.
//
//   $ COMMAND      run by a shell in a folder of its own; the lines behind it are what it prints on both
//   streams,
//                  with "exit N" when it fails, and $ROOT for the device root
//   @ demo         a device with the simulated device's store and its daemon; `plain`: with the factory
//   configuration
//   @ radios       as plain, on a machine with two radios whose kernel has answered as in tests/nl80211
//   @ store        the store of a plain device, without a daemon
//   @ tree A | B   in place of a daemon a server of these values, each "NAME.INSTANCE VALUE"; without any: of
//   a few ; TEXT         a remark
//
// With ZEVSIC_RENEW set the files are made anew: git diff then shows what became of them.
#include "tests/client_fixture.h"

namespace {

class Transcript {
  public:
    // Takes a line of a file; what it has printed is the answer.
    std::string play(const std::string &line) {
        if (line.starts_with("@ ")) set_up(line.substr(2));
        if (!line.starts_with("$ ")) return "";
        std::string printed = device_.said("cd $ZEVSIC_ROOT/work; " + line.substr(2));
        const std::string root = device_.path("");
        for (size_t at; (at = printed.find(root)) != std::string::npos;)
            printed.replace(at, root.size(), "$ROOT");
        return printed.empty() || printed.back() == '\n' ? printed : printed + "\n";
    }
    DeviceRoot &device() { return device_; }

  private:
    void set_up(const std::string &what) {
        if (what.starts_with("set ")) {
            tree_.set_status = static_cast<uint8_t>(atoi(what.c_str() + 4));
            return;
        }
        if (what.starts_with("tree")) {
            tree_.values = what.size() > 5 ? Tree::values_of(what.substr(5), " | ") : Tree().values;
            if (!server_) server_ = std::make_unique<Server>(device_.path("/tmp/zevsic_sock"), serve_);
            return;
        }
        if (what == "radios") set_up_radios();
        device_.said(what == "demo" ? "zevcfg init --demo" : "zevcfg init");
        if (what != "store") device_.start_daemon();
    }

    // What the kernel of a machine with two radios has said, and the tools that ask it.
    void set_up_radios() {
        for (const char *tool : {"wlanconfig", "iwlist", "athstats", "ifconfig"}) {
            std::filesystem::create_directories(device_.path("/sbin"));
            std::filesystem::create_symlink(ZEVSIC_BIN_DIR "/zevnet", device_.path("/sbin/") + tool);
        }
        for (const auto &answer : std::filesystem::directory_iterator(ZEVSIC_SOURCE_DIR "/tests/nl80211"))
            device_.write("/var/lib/zevnet/answers/" + answer.path().filename().string(),
                          read_file(answer.path()));
        for (const char *radio : {"0", "1"}) {
            const std::string number = radio;
            device_.write("/sys/class/ieee80211/phy" + number + "/macaddress",
                          "02:00:00:00:0" + number + ":00\n");
            device_.write("/sys/class/net/ath" + number + "ap0/phy80211/macaddress",
                          "02:00:00:00:0" + number + ":00\n");
            device_.write("/sys/class/net/ath" + number + "ap0/ifindex", "1" + number + "\n");
            device_.write("/sys/class/net/ath" + number + "ap0/statistics/rx_bytes", "4294967301\n");
            device_.write("/sys/class/net/ath" + number + "ap0/statistics/tx_bytes", "77\n");
        }
        device_.said("zevnet radios");
    }

    DeviceRoot device_;
    Tree tree_;
    Server::Serve serve_ = [this](const auto &request, auto *reply) { return tree_.serve(request, reply); };
    std::unique_ptr<Server> server_;
};

std::vector<std::string> transcripts() {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(ZEVSIC_SOURCE_DIR "/tests/transcripts"))
        names.push_back(entry.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

struct Transcripts : testing::TestWithParam<std::string> {};

TEST_P(Transcripts, PrintWhatTheyDid) {
    const std::string path = ZEVSIC_SOURCE_DIR "/tests/transcripts/" + GetParam() + ".txt";
    Transcript transcript;
    std::filesystem::create_directory(transcript.device().path("/work"));
    std::istringstream lines(read_file(path));
    std::string now;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("$ ") || line.starts_with("@ ") || line.starts_with("; "))
            now += line + "\n" + transcript.play(line);
    expect_file(transcript.device(), path, now);
}

INSTANTIATE_TEST_SUITE_P(, Transcripts, testing::ValuesIn(transcripts()),
                         [](const auto &file) { return file.param; });

}  // namespace
