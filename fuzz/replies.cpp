// What a client makes of any server's replies. The first line says which command reads them; then each line
// is a reply (snmpd's question too): STATUS OID VALUE, STATUS a number, "\n" in VALUE a newline. An OID with
// = in front goes on behind the one that was asked for, + stands for that one with its last arc raised.
#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "client/protocol.h"
#include "fuzz/fuzz.h"
#include "snmp/asker.h"
#include "snmp/pass_persist.h"
#include "snmp/translate.h"
#include "zevctl/metrics.h"
#include "zevctl/output.h"
#include "zevctl/settings.h"
#include "zevctl/table.h"

static std::string_view replies;
static int left;

static Answer next_reply(std::string_view asked) {
    Answer answer{};
    if (replies.empty() || left-- <= 0) answer.error = "no daemon";
    const std::string line = take(&replies, '\n');
    std::string_view rest = line;
    answer.reply.reply_status = static_cast<uint8_t>(atoi(take(&rest, ' ').c_str()));
    std::string oid = take(&rest, ' ');
    if (oid.starts_with('=')) oid.replace(0, 1, asked);
    if (const size_t last = asked.rfind('.') + 1; oid == "+")
        oid = std::string(asked.substr(0, last)) +
              std::to_string(atoi(std::string(asked.substr(last)).c_str()) + 1);
    put_text(answer.reply.oid, oid);
    std::string value(rest);
    for (size_t place = 0; (place = value.find("\\n", place)) != value.npos;) value.replace(place, 2, "\n");
    put_text(answer.reply.value, value.c_str());
    return answer;
}

// The whole of client/protocol.h: none of it comes from its library.
std::string default_socket() {
    return "none";
}
bool is_trusted(int, std::string *) {
    return true;
}
Answer exchange(const std::string &, RequestKind, std::string_view oid, std::string_view, int) {
    return next_reply(oid);
}

// And of snmp/asker.h. What is waited for comes at once: the time is the fuzzer's own, and as a device's long
// after the epoch, which stands for "never".
static constexpr Clock::time_point START{std::chrono::hours(1)};
static Clock::time_point now = START;
static std::vector<DaemonQuestion> asked;
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
    return ::now;
}
Asker::~Asker() {
    asked.clear();
}
void ask(Asker *, DaemonQuestion question) {
    asked.push_back(std::move(question));
}
bool all_sent(const Asker &) {
    return asked.empty();
}
void step(Asker *asker, bool) {
    asker->now = now;
    for (const DaemonQuestion &question : std::exchange(asked, {})) {
        const Answer answer = next_reply(question.oid);
        if (answer.error.empty()) asker->answered = now;
        question.done(answer.error.empty() ? &answer.reply : nullptr);
    }
}
int waiting_fd(const Asker &) {
    return -1;
}
Clock::time_point next_step(const Asker &) {
    return asked.empty() ? Clock::time_point::max() : now;
}
Clock::duration silence(const Asker &) {
    return {};
}
void wait_for_answers(const Asker &asker, Clock::time_point until) {
    const Clock::time_point end = std::min({until, next_step(asker), now + std::chrono::seconds(1)});
    now = std::max(now, end) + std::chrono::milliseconds(1);
}

static Reach pass_value("a value through pass_persist"), pass_set("a SET through pass_persist"),
    walked("a value walked"), exported("a setting exported"), measured("a value in the metrics"),
    viewed("a row of a view"), translated("a value translated");

static void check_reply(const snmp_reply &reply) {
    const Target target = locate(reply.oid);
    const std::string json = value_json(target, reply.reply_status, reply.value);
    expect(nlohmann::json::accept(json), "JSON", json);
    const std::string line = value_line(target, reply.reply_status, reply.value);
    for (const char c : line) expect(c >= ' ' && c <= '~', "a printable line", line);
    if (!target.object) return;
    const Target again = parse_target(format_name(target));
    expect(!again.error.empty() || again.oid == target.oid, "a name leads back",
           format_name(target) + " " + target.oid);
    if (const auto value = to_value(*target.object, reply.value)) {
        translated.times++;
        const auto same = to_value(*target.object, to_text(*value));
        expect(same && same->number == value->number && same->octets == value->octets, "a value", line);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool silent = freopen("/dev/null", "w", stdout) != nullptr;
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const Client client{.socket = "none"};
    std::string command = take(&input, '\n'), error;
    for (replies = input, left = 1000; silent && !replies.empty() && left > 0;)
        check_reply(next_reply("").reply);
    replies = input;
    left = 1000;
    if (command == "walk")
        walk_values(
            client, ROOT_OID, [](const Target &, const snmp_reply &) { walked.times++; }, &error);
    if (command == "export" && export_settings(client, {}, true) == 0) exported.times++;
    if (command == "metrics" && read_metrics(client, {}, 1000).up) measured.times++;
    if (const View *view = find_view(command)) {
        Grid grid;
        read_view(client, *view, {}, true, &grid);
        viewed.times += grid.rows.size();
        expect(nlohmann::json::accept(grid_json(grid)), "JSON", grid_json(grid));
        print_grid(grid, ALIGNED);
        print_grid(grid, CSV);
    }
    if (command == "pass") {
        now = START;
        std::istringstream in("PING\ngetnext\n.1.3.6.1.4.1.48019.6\ngetnext\n.1.3.6.1.4.1.48019.6.3.1\n" +
                              std::string(input));
        std::ostringstream out;
        pass_persist("none", in, out);
        const std::string said = out.str();
        expect(said.starts_with("PONG\n"), "an answer", said);
        if (said.find("\n.1.3.") != said.npos) pass_value.times++;
        if (said.find("\nDONE\n") != said.npos) pass_set.times++;
    }
    return 0;
}
