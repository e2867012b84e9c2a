// The conversation with the kernel, and recorded answers in its place.
#include "platform/nl80211.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/device.h"

static constexpr char ANSWERS[] = "/var/lib/zevnet/answers/";
static constexpr size_t ANSWERS_LIMIT = 4U << 20;

namespace {

struct QuestionForm {
    const char *name;
    uint8_t command;
    bool of_interface;
};

using Socket = std::unique_ptr<nl_sock, decltype(&nl_socket_free)>;
using Message = std::unique_ptr<nl_msg, decltype(&nlmsg_free)>;

// What a conversation has come to.
struct Answer {
    const MessageReader *read = nullptr;
    bool complete = false;
    int error = 0;  // as the kernel numbers it, below 0
};

}  // namespace

static constexpr QuestionForm FORMS[] = {
    {"radios", NL80211_CMD_GET_WIPHY, false},    {"interfaces", NL80211_CMD_GET_INTERFACE, false},
    {"stations", NL80211_CMD_GET_STATION, true}, {"survey", NL80211_CMD_GET_SURVEY, true},
    {"neighbours", NL80211_CMD_GET_SCAN, true},
};

static const QuestionForm &form_of(Nl80211Question question) {
    return FORMS[static_cast<size_t>(question)];
}

// ---- the kernel ----

static int take_message(nl_msg *message, void *argument) {
    const auto *answer = static_cast<const Answer *>(argument);
    if (answer->read != nullptr) (*answer->read)(nlmsg_hdr(message));
    return NL_OK;
}

static int take_end(nl_msg *, void *argument) {
    static_cast<Answer *>(argument)->complete = true;
    return NL_STOP;
}

static int take_error(sockaddr_nl *, nlmsgerr *error, void *argument) {
    auto *answer = static_cast<Answer *>(argument);
    answer->error = error->error;
    answer->complete = true;
    return NL_STOP;
}

// Null when the machine has no wireless stack.
static Socket open_socket(int *family) {
    constexpr timeval LIMIT = {1, 0};
    Socket socket(nl_socket_alloc(), nl_socket_free);
    if (!socket || genl_connect(socket.get()) != 0) return {nullptr, nl_socket_free};
    setsockopt(nl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &LIMIT, sizeof LIMIT);
    *family = genl_ctrl_resolve(socket.get(), "nl80211");
    if (*family < 0) return {nullptr, nl_socket_free};
    return socket;
}

static Message new_message(int family, uint8_t command, int flags) {
    Message message(nlmsg_alloc_size(16384), nlmsg_free);
    if (message &&
        genlmsg_put(message.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, flags, command, 0) == nullptr)
        message.reset();
    return message;
}

// Sends the message and reads until its answer is complete. False when it was refused or broke off.
static bool converse(nl_sock *socket, nl_msg *message, const MessageReader *read) {
    Answer answer;
    answer.read = read;
    nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, take_message, &answer);
    nl_socket_modify_cb(socket, NL_CB_FINISH, NL_CB_CUSTOM, take_end, &answer);
    nl_socket_modify_cb(socket, NL_CB_ACK, NL_CB_CUSTOM, take_end, &answer);
    nl_socket_modify_err_cb(socket, NL_CB_CUSTOM, take_error, &answer);
    if (nl_send_auto(socket, message) < 0) return false;
    while (!answer.complete)
        if (nl_recvmsgs_default(socket) < 0) return false;
    return answer.error == 0;
}

static bool ask_kernel(const QuestionForm &form, const std::string &interface, const MessageReader &read) {
    int family = 0;
    const unsigned index = form.of_interface ? if_nametoindex(interface.c_str()) : 0;
    if (form.of_interface && index == 0) return false;
    const Socket socket = open_socket(&family);
    if (!socket) return false;
    const Message message = new_message(family, form.command, NLM_F_DUMP);
    if (!message) return false;
    if (form.of_interface && nla_put_u32(message.get(), NL80211_ATTR_IFINDEX, index) != 0) return false;
    // Else the kernel leaves out what does not fit into a message.
    if (form.command == NL80211_CMD_GET_WIPHY &&
        nla_put_flag(message.get(), NL80211_ATTR_SPLIT_WIPHY_DUMP) != 0)
        return false;
    return converse(socket.get(), message.get(), &read);
}

// ---- recorded answers ----

static std::string answer_name(const QuestionForm &form, const std::string &interface) {
    return form.of_interface ? form.name + ("-" + interface) : form.name;
}

static bool read_recorded(const QuestionForm &form, const std::string &interface, const MessageReader &read) {
    std::string bytes;
    if (interface.find('/') != std::string::npos) return false;
    if (!read_device_file(ANSWERS + answer_name(form, interface), ANSWERS_LIMIT, &bytes)) return false;
    int left = static_cast<int>(bytes.size());
    auto *message = reinterpret_cast<nlmsghdr *>(bytes.data());
    for (; nlmsg_ok(message, left) != 0; message = nlmsg_next(message, &left)) read(message);
    return left == 0;
}

static bool record(const QuestionForm &form, const std::string &interface, const std::string &folder) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(
        fopen((folder + "/" + answer_name(form, interface)).c_str(), "we"), fclose);
    if (!file) return false;
    const bool asked = ask_kernel(form, interface, [&](nlmsghdr *message) {
        fwrite(message, 1, NLMSG_ALIGN(message->nlmsg_len), file.get());
    });
    return fflush(file.get()) == 0 && asked;
}

bool record_nl80211(const std::string &folder) {
    std::vector<std::string> interfaces;
    ask_kernel(form_of(Nl80211Question::INTERFACES), "", [&](nlmsghdr *message) {
        WirelessInterface interface;
        if (read_interface_message(message, &interface)) interfaces.push_back(interface.name);
    });
    for (const QuestionForm &form : FORMS) {
        if (!form.of_interface && !record(form, "", folder)) return false;
        for (const std::string &interface : interfaces)
            if (form.of_interface && !record(form, interface, folder)) return false;
    }
    return true;
}

bool ask_nl80211(Nl80211Question question, const std::string &interface, const MessageReader &read) {
    const char *root = getenv("ZEVSIC_ROOT");
    const QuestionForm &form = form_of(question);
    if (root != nullptr && *root != '\0') return read_recorded(form, interface, read);
    return ask_kernel(form, interface, read);
}

// ---- scanning ----

// Reads notices until one says that a scan of this interface has ended, 1 done and -1 given up, or the time
// is up: 0.
static int await_scan(nl_sock *socket, unsigned index, int limit_ms) {
    int ended = 0;
    const MessageReader read = [&](nlmsghdr *message) {
        nlattr *attributes[NL80211_ATTR_MAX + 1];
        if (genlmsg_parse(message, 0, attributes, NL80211_ATTR_MAX, nullptr) < 0) return;
        const nlattr *of = attributes[NL80211_ATTR_IFINDEX];
        if (of == nullptr || nla_get_u32(of) != index) return;
        const auto *header = static_cast<const genlmsghdr *>(nlmsg_data(message));
        if (header->cmd == NL80211_CMD_NEW_SCAN_RESULTS) ended = 1;
        if (header->cmd == NL80211_CMD_SCAN_ABORTED) ended = -1;
    };
    Answer answer;
    answer.read = &read;
    nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, take_message, &answer);
    nl_socket_disable_seq_check(socket);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    while (ended == 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting = {nl_socket_get_fd(socket), POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return 0;
        if (nl_recvmsgs_default(socket) < 0) return 0;
    }
    return ended;
}

bool scan_nl80211(const std::string &interface, const std::vector<uint32_t> &frequencies, int limit_ms) {
    const char *root = getenv("ZEVSIC_ROOT");
    if (root != nullptr && *root != '\0') return false;
    int family = 0;
    const unsigned index = if_nametoindex(interface.c_str());
    const Socket socket = index != 0 ? open_socket(&family) : Socket(nullptr, nl_socket_free);
    const Socket notices = socket ? open_socket(&family) : Socket(nullptr, nl_socket_free);
    if (!notices) return false;
    // Asked for before the scan begins: none of its notices is missed.
    const int group = genl_ctrl_resolve_grp(socket.get(), "nl80211", "scan");
    if (group < 0 || nl_socket_add_membership(notices.get(), group) != 0) return false;
    const Message message = new_message(family, NL80211_CMD_TRIGGER_SCAN, NLM_F_ACK);
    if (!message || nla_put_u32(message.get(), NL80211_ATTR_IFINDEX, index) != 0 ||
        nla_put_u32(message.get(), NL80211_ATTR_SCAN_FLAGS, NL80211_SCAN_FLAG_AP) != 0)
        return false;
    nlattr *list = nla_nest_start(message.get(), NL80211_ATTR_SCAN_FREQUENCIES);
    for (size_t i = 0; i < frequencies.size(); i++)
        if (nla_put_u32(message.get(), static_cast<int>(i), frequencies[i]) != 0) return false;
    nla_nest_end(message.get(), list);
    if (!converse(socket.get(), message.get(), nullptr)) return false;
    return await_scan(notices.get(), index, limit_ms) == 1;
}
