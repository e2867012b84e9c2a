#include "snmp/asker.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>
#include <vector>

#include "client/protocol.h"

using std::chrono::milliseconds;

// As many as keep the daemon busy, and few enough that others find room in its backlog.
constexpr size_t MOST_SENT = 32;
// The tools of one request take 10 s at most; several clients may have sent some.
constexpr std::chrono::seconds LONGEST_ANSWER(60);
constexpr milliseconds BACKLOG_PAUSE(20);
constexpr milliseconds CLEARING(100);
constexpr const char *TOO_LATE = "no answer in time";
// Answers taken in a step. One alone would cost a round of the loop.
constexpr int AT_A_TIME = 4;

Asker::~Asker() {
    for (const SentQuestion &sent_question : sent) close(sent_question.fd);
}

void ask(Asker *asker, DaemonQuestion question) {
    asker->queues[static_cast<size_t>(question.turn)].push_back(std::move(question));
}

bool all_sent(const Asker &asker) {
    return std::all_of(asker.queues.begin(), asker.queues.end(),
                       [](const auto &queue) { return queue.empty(); });
}

static void fail(Asker *asker, const DaemonQuestion &question, std::string error) {
    asker->error = std::move(error);
    question.done(nullptr);
}

enum class Sending { SENT, LATER, FAILED };

// A record that ends early is as good as one with zero bytes behind it, and goes into the socket's buffer as
// a whole.
static Sending send_question(Asker *asker, DaemonQuestion *question) {
    static snmp_request request;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    errno = ENAMETOOLONG;
    const bool fits =
        asker->socket.copy(address.sun_path, sizeof address.sun_path - 1) == asker->socket.size();
    const int fd = fits ? socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0) : -1;
    request.type = question->kind;
    put_text(request.oid, question->oid);
    put_text(request.set, question->set);
    const size_t size =
        question->set.empty() ? offsetof(snmp_request, oid) + question->oid.size() + 1 : RECORD_SIZE;
    std::string why;
    if (fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        is_trusted(fd, &why) && send(fd, &request, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size)) {
        asker->refused = {};
        asker->gone = false;
        asker->slow_sent = asker->slow_sent || question->turn == Turn::SLOW;
        asker->sent.push_back({std::move(*question), fd, asker->now, 0, nullptr});
        return Sending::SENT;
    }
    asker->gone = errno == ECONNREFUSED || errno == ENOENT;
    // Its backlog is full, or there is no descriptor left: both end.
    const bool later = errno == EAGAIN || errno == EMFILE || errno == ENFILE || errno == ENOBUFS;
    if (errno != EAGAIN)
        asker->error = "cannot ask at " + asker->socket + ": " +
                       (why.empty() ? std::system_category().message(errno) : why);
    if (asker->refused == Clock::time_point()) asker->refused = asker->now;
    if (fd >= 0) close(fd);
    return later ? Sending::LATER : Sending::FAILED;
}

// The turn of the question that can be sent now; none when there is no such question, or enough were sent.
static std::optional<Turn> next_turn(const Asker &asker) {
    if (asker.sent.size() >= MOST_SENT) return std::nullopt;
    for (const Turn turn : {Turn::AWAITED, Turn::SLOW, Turn::AHEAD}) {
        const bool held = turn == Turn::SLOW && asker.slow_sent;
        if (!held && !asker.queues[static_cast<size_t>(turn)].empty()) return turn;
    }
    return std::nullopt;
}

static bool is_of_use(const Asker &asker, const DaemonQuestion &question) {
    return asker.now < question.send_before && !(question.use && question.use->expired());
}

// While the daemon takes none they pile up, and nobody waits any more for what they ask. One is tried all the
// same: it finds out whether the daemon is back.
static void clear_queues(Asker *asker) {
    if (all_sent(*asker) || asker->now - asker->cleared < CLEARING) return;
    asker->cleared = asker->now;
    std::vector<DaemonQuestion> late;
    for (std::deque<DaemonQuestion> &queue : asker->queues) {
        const auto end = std::stable_partition(
            queue.begin(), queue.end(), [&](const auto &question) { return is_of_use(*asker, question); });
        std::move(end, queue.end(), std::back_inserter(late));
        queue.erase(end, queue.end());
    }
    for (const DaemonQuestion &question : late) fail(asker, question, TOO_LATE);
}

// False when there is none, or it cannot be sent yet.
static bool send_next(Asker *asker) {
    const std::optional<Turn> turn = next_turn(*asker);
    if (!turn) return false;
    std::deque<DaemonQuestion> &queue = asker->queues[static_cast<size_t>(*turn)];
    const bool late = queue.front().send_before <= asker->now;
    const Sending sending = late ? Sending::FAILED : send_question(asker, &queue.front());
    if (sending == Sending::LATER) return false;
    const DaemonQuestion question = std::move(queue.front());
    queue.pop_front();
    if (sending == Sending::FAILED) fail(asker, question, late ? TOO_LATE : asker->error);
    return true;
}

// True when it is over: `reply` is the answer, or null.
static bool receive(SentQuestion *from, Clock::time_point now, const snmp_reply **reply) {
    static snmp_reply whole;
    char *to = reinterpret_cast<char *>(from->part ? from->part.get() : &whole);
    const ssize_t n = recv(from->fd, to + from->received, RECORD_SIZE - from->received, 0);
    *reply = nullptr;
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return now - from->sent >= LONGEST_ANSWER;
    if (n <= 0) return true;
    from->received += static_cast<size_t>(n);
    if (from->received < RECORD_SIZE) {
        if (!from->part) from->part = std::make_unique<snmp_reply>(whole);
        return false;
    }
    if (from->part) whole = *from->part;
    whole.oid[TEXT_SIZE - 1] = whole.value[TEXT_SIZE - 1] = '\0';
    *reply = &whole;
    return true;
}

// False when there is none.
static bool take_answer(Asker *asker) {
    const snmp_reply *reply = nullptr;
    if (asker->sent.empty() || !receive(&asker->sent.front(), asker->now, &reply)) return false;
    const SentQuestion over = std::move(asker->sent.front());
    asker->sent.pop_front();
    close(over.fd);
    if (over.question.turn == Turn::SLOW) asker->slow_sent = false;
    if (reply) {
        asker->answered = asker->now;
        over.question.done(reply);
    } else {
        fail(asker, over.question, "connection closed early");
    }
    return true;
}

void step(Asker *asker, bool waits) {
    asker->now = Clock::now();
    for (int i = 0; i < AT_A_TIME && take_answer(asker); i++) continue;
    const size_t enough = waits ? MOST_SENT : asker->sent.size() + 1;
    for (size_t i = 0; i < MOST_SENT && asker->sent.size() < enough && send_next(asker); i++) continue;
    clear_queues(asker);
}

int waiting_fd(const Asker &asker) {
    return asker.sent.empty() ? -1 : asker.sent.front().fd;
}

Clock::time_point next_step(const Asker &asker) {
    if (next_turn(asker)) return asker.refused == Clock::time_point() ? asker.now : asker.now + BACKLOG_PAUSE;
    return asker.sent.empty() ? Clock::time_point::max() : asker.sent.front().sent + LONGEST_ANSWER;
}

Clock::duration silence(const Asker &asker) {
    if (!asker.sent.empty()) return asker.now - std::max(asker.sent.front().sent, asker.answered);
    return !all_sent(asker) && asker.refused != Clock::time_point() ? asker.now - asker.refused
                                                                    : Clock::duration::zero();
}

void wait_for_answers(const Asker &asker, Clock::time_point until) {
    pollfd wait = {waiting_fd(asker), POLLIN, 0};
    const auto left = std::chrono::ceil<milliseconds>(std::min(until, next_step(asker)) - Clock::now());
    poll(&wait, 1, static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1000)));
}
