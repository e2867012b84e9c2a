// Metrics: what becomes of the tree's values, and one HTTP request.
#include "tests/client_fixture.h"

namespace {

struct Metrics : Commands {
    Metrics() {
        tree.values = Tree::values_of(
            "1.56.0 360025|1.60.0 Unknown|1.62.0 -1|2.1.1.14.1 N/A|2.1.1.14.2 23|2.1.1.46.1 9007199254740993|"
            "2.1.1.46.2 0|3.1.1.3.1.2 a\"b\\\n\xff\xc3\xa9\xed\xa0\x80|3.1.1.5.1.1 1|3.1.1.5.1.2 2|"
            "5.1.1.2.0.26.43.60.77.254 x|5.1.1.7.0.26.43.60.77.254 -5");
    }
    // What comes back for a request, behind which nothing more is sent.
    std::string ask(const std::string &request) const {
        device.write("/tmp/request", request);
        return zevctl("metrics --http <$ZEVSIC_ROOT/tmp/request");
    }
};

TEST_F(Metrics, TellNumbersInBaseUnitsAndTextsAsLabels) {
    const std::string text = "\n" + zevctl("metrics");
    for (const char *line :
         {"zevsic_up 1", "zevsic_uptime_seconds 3600.25", "# TYPE zevsic_uptime_seconds gauge",
          "zevsic_apply_state{state=\"rebootNeeded\"} 1", "zevsic_apply_state{state=\"idle\"} 0",
          "zevsic_radio_transmit_power_dbm{radio=\"2\"} 23",
          "# TYPE zevsic_radio_receive_bytes_total counter",
          "zevsic_radio_receive_bytes_total{radio=\"1\"} 9007199254740993",
          // any bytes may come from the air: the text stays valid
          "zevsic_vap_enabled{radio=\"1\",vap=\"2\",ssid=\"a\\\"b\\\\\\n\ufffd\u00e9\ufffd\ufffd\ufffd\"} 1",
          "zevsic_station_snr_ratio{mac=\"00:1a:2b:3c:4d:fe\",ssid=\"x\"} -0.05",
          "zevsic_scrape_collector_success{collector=\"neighbour\"} 1"})
        EXPECT_TRUE(has(text, std::string("\n") + line + "\n"));
    // No number, no sample; a VAP that is off has none either.
    for (const char *part :
         {"\nzevsic_cpu_usage_ratio", "power_dbm{radio=\"1\"", "vap_enabled{radio=\"1\",vap=\"1\"", "exit"})
        EXPECT_FALSE(has(text, part));
}

TEST_F(Metrics, AnswerOneHttpRequest) {
    const std::string end = "\r\n\r\n", all = ask("GET /metrics HTTP/1.1\r\nHost: x" + end);
    EXPECT_TRUE(
        all.starts_with("HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"))
        << all;
    EXPECT_TRUE(has(all, "\nzevsic_uptime_seconds 3600.25\n"));
    EXPECT_TRUE(
        has(all, "\r\nContent-Length: " + std::to_string(all.size() - all.find(end) - end.size()) + "\r\n"));
    const std::string radio = ask("GET /metrics?x&collect%5B%5D=radio HTTP/1.0\n\n");
    EXPECT_TRUE(has(radio, "zevsic_radio_"));
    EXPECT_FALSE(has(radio, "zevsic_uptime"));
    EXPECT_TRUE(ask("HEAD /metrics HTTP/1.1" + end).ends_with(end));
    EXPECT_EQ(ask(""), "exit 1\n");
    for (const auto &[request, status] : std::vector<std::pair<std::string, std::string>>{
             {"HEAD /metrics HTTP/1.1", "200"},
             {"POST /metrics HTTP/1.1\r\nContent-Length: 3", "405"},
             {"GET / HTTP/1.1", "404"},
             {"GET /metricsx HTTP/1.1", "404"},
             {"GET /metrics?collect[]=tree HTTP/1.1", "400"},
             {"GET /metrics", "400"},
             {"\x16\x03\x01 TLS", "400"},
             {"GET /metrics HTTP/1.1\r\nX: " + std::string(20000, 'x'), "431"}})
        EXPECT_TRUE(ask(request + end).starts_with("HTTP/1.1 " + status + " ")) << request;
    EXPECT_TRUE(ask("GET /metrics HTTP/1.1\r\n").starts_with("HTTP/1.1 400 ")) << "no end";

    EXPECT_TRUE(
        has(ask("GET /metrics HTTP/1.1\r\nX-Prometheus-Scrape-Timeout-Seconds: nan" + end), "zevsic_up 1"));

    // From a daemon that hangs they come in time, from none at all at once.
    const Server slow(path + "-slow", [&](const snmp_request &request, snmp_reply *reply) {
        return has(request.oid, ".48019.6.6.") ? -1 : tree.serve(request, reply);
    });
    device.said("cd $ZEVSIC_ROOT/tmp; mv zevsic_sock-slow zevsic_sock");
    const std::string late =
        ask("GET /metrics?collect[]=radio&collect[]=neighbour HTTP/1.1\r\n"
            "X-Prometheus-Scrape-Timeout-Seconds: 0.8" +
            end);
    for (const char *line : {"zevsic_up 1", "zevsic_radio_transmit_power_dbm{radio=\"2\"} 23",
                             "zevsic_scrape_collector_success{collector=\"radio\"} 1",
                             "zevsic_scrape_collector_success{collector=\"neighbour\"} 0"})
        EXPECT_TRUE(has(late, std::string("\n") + line + "\n"));
    EXPECT_FALSE(has(late, "collector=\"vap\""));
    device.said("rm $ZEVSIC_ROOT/tmp/zevsic_sock");
    EXPECT_TRUE(has(zevctl("metrics"), "\nzevsic_up 0\n"));
    EXPECT_TRUE(has(ask("GET /metrics HTTP/1.1" + end), "\nzevsic_up 0\n"));
}

}  // namespace
