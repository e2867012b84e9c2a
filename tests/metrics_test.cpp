// Metrics: what becomes of the tree's values, and one HTTP request on a pair of sockets.
#include "client/metrics.h"

#include "tests/client_fixture.h"

namespace {

// A line of the metrics, without its end.
bool has_line(const std::string &text, const std::string &line) {
    return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

struct Metrics : Commands {
    Metrics() {
        tree.values = {{"1.56.0", "360025"},
                       {"1.60.0", "Unknown"},
                       {"1.62.0", "-1"},
                       {"2.1.1.14.1", "N/A"},
                       {"2.1.1.14.2", "23"},
                       {"2.1.1.46.1", "9007199254740993"},
                       {"2.1.1.46.2", "0"},
                       {"3.1.1.3.1.2", "a\"b\\\n\xff\xc3\xa9\xed\xa0\x80"},
                       {"3.1.1.5.1.1", "1"},
                       {"3.1.1.5.1.2", "2"},
                       {"5.1.1.2.0.26.43.60.77.254", "x"},
                       {"5.1.1.7.0.26.43.60.77.254", "-5"}};
    }

    // What comes back for a request, behind which nothing more is sent.
    std::string ask(const std::string &request) {
        int pair[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
        EXPECT_EQ(write(pair[0], request.data(), request.size()), static_cast<ssize_t>(request.size()));
        shutdown(pair[0], SHUT_WR);
        serve_metrics(client, pair[1], pair[1]);
        alarm(0);
        close(pair[1]);
        std::string answer(1 << 16, '\0');
        answer.resize(static_cast<size_t>(
            std::max<ssize_t>(recv(pair[0], answer.data(), answer.size(), MSG_WAITALL), 0)));
        close(pair[0]);
        return answer;
    }
};

TEST_F(Metrics, TellNumbersInBaseUnitsAndTextsAsLabels) {
    const MetricsText result = read_metrics(client, {}, 10000);
    EXPECT_TRUE(result.up);
    EXPECT_EQ(result.error, "");
    for (const char *line :
         {"zevsic_up 1", "zevsic_uptime_seconds 3600.25", "# TYPE zevsic_uptime_seconds gauge",
          "zevsic_apply_state{state=\"rebootNeeded\"} 1", "zevsic_apply_state{state=\"idle\"} 0",
          "zevsic_radio_transmit_power_dbm{radio=\"2\"} 23",
          "# TYPE zevsic_radio_receive_bytes_total counter",
          "zevsic_radio_receive_bytes_total{radio=\"1\"} 9007199254740993",
          // any bytes may come from the air: the text stays valid
          "zevsic_vap_enabled{radio=\"1\",vap=\"2\",ssid="
          "\"a\\\"b\\\\\\n\xef\xbf\xbd\xc3\xa9\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\"} 1",
          "zevsic_station_snr_ratio{mac=\"00:1a:2b:3c:4d:fe\",ssid=\"x\"} -0.05",
          "zevsic_scrape_collector_success{collector=\"neighbour\"} 1"})
        EXPECT_TRUE(has_line(result.text, line)) << line << "\n" << result.text;
    // No number, no sample; a VAP that is off has none either.
    for (const char *text :
         {"\nzevsic_cpu_usage_ratio", "power_dbm{radio=\"1\"", "vap_enabled{radio=\"1\",vap=\"1\""})
        EXPECT_EQ(result.text.find(text), std::string::npos) << text;
}

TEST_F(Metrics, ComeInTimeFromADaemonThatHangsOrIsGone) {
    Server slow{[&](const snmp_request &request, snmp_reply *reply) {
        const bool scan = std::string(request.oid).find(".48019.6.6.") != std::string::npos;
        return scan ? -1 : tree.serve(request, reply);
    }};
    client.socket = slow.path;
    MetricsText result = read_metrics(client, {"radio", "neighbour"}, 300);
    EXPECT_TRUE(result.up);
    EXPECT_NE(result.error.find("no answer within"), std::string::npos) << result.error;
    EXPECT_TRUE(has_line(result.text, "zevsic_radio_transmit_power_dbm{radio=\"2\"} 23"));
    EXPECT_TRUE(has_line(result.text, "zevsic_scrape_collector_success{collector=\"radio\"} 1"));
    EXPECT_TRUE(has_line(result.text, "zevsic_scrape_collector_success{collector=\"neighbour\"} 0"));
    EXPECT_EQ(result.text.find("collector=\"vap\""), std::string::npos);

    client.socket += "-not-there";
    EXPECT_EQ(run([&] { return metrics(client, {}); }), EXIT_NO_DAEMON);
    EXPECT_TRUE(has_line(out, "zevsic_up 0"));
    EXPECT_NE(ask("GET /metrics HTTP/1.1\r\n\r\n").find("\nzevsic_up 0\n"), std::string::npos);
}

TEST_F(Metrics, AnswerOneHttpRequest) {
    const std::string all = ask("GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_TRUE(
        all.starts_with("HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"))
        << all;
    EXPECT_NE(all.find("\nzevsic_uptime_seconds 3600.25\n"), std::string::npos);
    const size_t body = all.find("\r\n\r\n") + 4;
    EXPECT_NE(all.find("\r\nContent-Length: " + std::to_string(all.size() - body) + "\r\n"),
              std::string::npos);
    const std::string radio = ask("GET /metrics?x&collect%5B%5D=radio HTTP/1.0\n\n");
    EXPECT_NE(radio.find("zevsic_radio_"), std::string::npos);
    EXPECT_EQ(radio.find("zevsic_uptime"), std::string::npos);
    const std::string head = ask("HEAD /metrics HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200 ") && head.ends_with("\r\n\r\n")) << head;

    for (const auto &[request, status] : std::vector<std::pair<std::string, std::string>>{
             {"POST /metrics HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc", "405"},
             {"GET / HTTP/1.1\r\n\r\n", "404"},
             {"GET /metricsx HTTP/1.1\r\n\r\n", "404"},
             {"GET /metrics?collect[]=tree HTTP/1.1\r\n\r\n", "400"},
             {"GET /metrics\r\n\r\n", "400"},
             {"\x16\x03\x01 TLS\r\n\r\n", "400"},
             {"GET /metrics HTTP/1.1\r\n", "400"},  // no end
             {"GET /metrics HTTP/1.1\r\nX: " + std::string(20000, 'x') + "\r\n\r\n", "431"}})
        EXPECT_TRUE(ask(request).starts_with("HTTP/1.1 " + status + " ")) << request << "\n" << ask(request);
    EXPECT_EQ(ask(""), "");
}

}  // namespace
