// One HTTP request on two descriptors, for a socket that systemd listens on. No server: no connection
// outlives its request.
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include "zevctl/metrics.h"

using Clock = std::chrono::steady_clock;

static constexpr int REQUEST_MS = 5000;
static constexpr unsigned SEND_SECONDS = 5;  // for a peer that does not read
static constexpr size_t REQUEST_SIZE = 8192;

// One read of at most 1024 bytes, waited for until the deadline. 0: the peer ends, nothing came or cannot
// come.
static size_t receive(int in, Clock::time_point deadline, std::string *text) {
    char buffer[1024];
    while (true) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd ready{.fd = in, .events = POLLIN};
        const int count = poll(&ready, 1, static_cast<int>(std::max<long long>(left, 0)));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return 0;
        const ssize_t n = read(in, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n > 0) text->append(buffer, static_cast<size_t>(n));
        return n > 0 ? static_cast<size_t>(n) : 0;
    }
}

// Reads the head of a request. 0, or the status to answer with.
static int read_head(int in, std::string *head) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(REQUEST_MS);
    while (head->find("\r\n\r\n") == std::string::npos && head->find("\n\n") == std::string::npos) {
        if (head->size() > REQUEST_SIZE) return 431;
        if (receive(in, deadline, head) == 0) return Clock::now() >= deadline ? 408 : 400;
    }
    return 0;
}

// The text of a header, empty when it is not there.
static std::string header(const std::string &head, const std::string &name) {
    for (size_t at = head.find('\n'); at != std::string::npos; at = head.find('\n', at + 1)) {
        if (strncasecmp(head.c_str() + at + 1, (name + ":").c_str(), name.size() + 1) != 0) continue;
        const size_t from = at + name.size() + 2;
        return head.substr(from, head.find_first_of("\r\n", from) - from);
    }
    return "";
}

static std::string decoded(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        const auto is_hex = [&](size_t at) {
            return at < text.size() && isxdigit(static_cast<unsigned char>(text[at]));
        };
        if (text[i] == '%' && is_hex(i + 1) && is_hex(i + 2)) {
            out += static_cast<char>(strtol(std::string(text.substr(i + 1, 2)).c_str(), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

struct Response {
    int status = 200;
    std::string body = {};
    std::string more = {};  // header lines
};

static const char *reason(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        default:
            return "Request Header Fields Too Large";
    }
}

// The collectors that a query names. False with `error` for one that there is not.
static bool read_query(std::string_view query, std::vector<std::string> *collectors, std::string *error) {
    const std::vector<std::string> known = metrics_collectors();
    while (!query.empty()) {
        const size_t end = std::min(query.find('&'), query.size());
        const std::string_view part = query.substr(0, end);
        query.remove_prefix(std::min(end + 1, query.size()));
        const size_t equals = std::min(part.find('='), part.size());
        if (decoded(part.substr(0, equals)) != "collect[]") continue;
        collectors->push_back(decoded(part.substr(std::min(equals + 1, part.size()))));
        if (std::find(known.begin(), known.end(), collectors->back()) != known.end()) continue;
        *error = "unknown collector; there are:";
        for (const std::string &name : known) *error += " " + name;
        return false;
    }
    return true;
}

// How long the reading may take: a little less than the scraper waits.
static int limit_of(const std::string &head) {
    double seconds = strtod(header(head, "X-Prometheus-Scrape-Timeout-Seconds").c_str(), nullptr);
    if (!(seconds > 0)) seconds = 10;  // not said, or no number
    return static_cast<int>(std::clamp(seconds * 1000 - 500, 500.0, 60000.0));
}

static Response respond(const Client &client, const std::string &head) {
    const std::string line = head.substr(0, head.find_first_of("\r\n"));
    const size_t method_end = line.find(' ');
    const size_t target_end = line.rfind(' ');
    if (method_end == std::string::npos || target_end == method_end ||
        line.compare(target_end, 8, " HTTP/1.") != 0)
        return {400, "This is no HTTP/1 request.\n"};
    const std::string method = line.substr(0, method_end);
    if (method != "GET" && method != "HEAD")
        return {405, "Metrics can be read with GET only.\n", "Allow: GET, HEAD\r\n"};
    const std::string target = line.substr(method_end + 1, target_end - method_end - 1);
    const size_t path_end = std::min(target.find('?'), target.size());
    if (target.compare(0, path_end, "/metrics") != 0) return {404, "There is only /metrics here.\n"};
    std::vector<std::string> collectors;
    std::string error;
    if (!read_query(std::string_view(target).substr(std::min(path_end + 1, target.size())), &collectors,
                    &error))
        return {400, error + "\n"};
    // A daemon that does not answer is an answer too: zevsic_up 0.
    return {200, read_metrics(client, collectors, limit_of(head)).text};
}

static bool send_text(int out, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = write(out, text.data(), text.size());
        if (n < 0 && errno != EINTR) return false;
        if (n > 0) text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

int serve_metrics(const Client &client, int in, int out) {
    signal(SIGPIPE, SIG_IGN);
    std::string head;
    Response response;
    response.status = read_head(in, &head);
    if (response.status == 0)
        response = respond(client, head);
    else if (head.empty())
        return EXIT_REFUSED;  // asked nothing: a probe of the port
    else
        response.body = std::string(reason(response.status)) + "\n";
    const bool has_body = head.compare(0, 5, "HEAD ") != 0;
    const std::string text =
        "HTTP/1.1 " + std::to_string(response.status) + " " + reason(response.status) +
        "\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nContent-Length: " +
        std::to_string(response.body.size()) + "\r\n" + response.more + "Connection: close\r\n\r\n" +
        (has_body ? response.body : "");
    alarm(SEND_SECONDS);  // ends the process
    if (!send_text(out, text)) return EXIT_REFUSED;
    // A body that was sent and not read would have the kernel reset the connection before the peer has the
    // answer.
    shutdown(out, SHUT_WR);
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(1);
    std::string rest;
    while (rest.size() < 64 * REQUEST_SIZE && receive(in, deadline, &rest) > 0) continue;
    return response.status == 200 ? EXIT_DONE : EXIT_REFUSED;
}
