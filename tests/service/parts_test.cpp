#include <fstream>

#include <sys/socket.h>

#include <gtest/gtest.h>
#include <prometheus/text_serializer.h>

#include "kelvaned/alarm_board.h"
#include "kelvaned/client.h"
#include "kelvaned/event_log.h"
#include "kelvaned/lanes.h"
#include "kelvaned/metrics/families.h"
#include "kelvaned/rpc.h"

namespace {

using numbers = std::vector<uint64_t>;

TEST(lanes, run_side_by_side_and_each_in_turn)
{
    lanes lanes;
    EXPECT_TRUE(lanes.push(1, 0) && lanes.push(2, 0) && lanes.push(3, 2));
    EXPECT_EQ(lanes.begin(), (numbers{1, 3}));
    EXPECT_EQ(lanes.begin(), numbers());
    lanes.end(3);
    EXPECT_EQ(lanes.begin(), numbers());
    lanes.end(1);
    EXPECT_EQ(lanes.begin(), (numbers{2}));
}

TEST(lanes, one_that_runs_alone_waits_for_those_before_and_holds_those_behind)
{
    lanes lanes;
    lanes.push(1, 0);
    lanes.push(2, 1);
    EXPECT_EQ(lanes.begin(), (numbers{1, 2}));
    lanes.push(3, lanes::ALONE);
    lanes.push(4, 2);
    lanes.push_ahead(5);
    EXPECT_EQ(lanes.begin(), numbers());
    lanes.end(1);
    EXPECT_EQ(lanes.begin(), numbers());
    lanes.end(2);
    EXPECT_EQ(lanes.begin(), (numbers{5}));
    EXPECT_EQ(lanes.begin(), numbers());
    lanes.end(5);
    EXPECT_EQ(lanes.begin(), (numbers{3}));
    lanes.end(3);
    EXPECT_EQ(lanes.begin(), (numbers{4}));
}

TEST(lanes, take_back_what_has_not_begun_and_are_full_one_by_one)
{
    lanes lanes;
    lanes.push(1, 0);
    lanes.push(2, lanes::ALONE);
    lanes.push(3, 1);
    EXPECT_EQ(lanes.begin(), (numbers{1}));
    EXPECT_FALSE(lanes.withdraw(1));
    EXPECT_TRUE(lanes.withdraw(2));
    EXPECT_FALSE(lanes.withdraw(2));
    EXPECT_EQ(lanes.begin(), (numbers{3}));
    for (uint64_t i = 0; i < 256; i++) {
        EXPECT_TRUE(lanes.push(10 + i, 2));
    }
    EXPECT_FALSE(lanes.push(300, 2));
    EXPECT_FALSE(lanes.push(301, lanes::ALONE));
    EXPECT_TRUE(lanes.push(302, 1));
    lanes.end(1);
    lanes.end(3);
    EXPECT_EQ(lanes.begin(), (numbers{302, 10})); // nothing of the two that were refused
}

TEST(line_reader, puts_pieces_together_and_drops_what_is_too_long)
{
    line_reader reader;
    std::vector<std::string> lines;
    const auto take = [&](const std::string &line, bool is_too_long) {
        lines.push_back(is_too_long ? "!" : line);
    };
    for (const std::string &piece :
         {std::string("on"), std::string("e\n\n \t\r\ntwo\nth"), std::string("ree\n"),
          std::string(65536, 'x'), std::string("\n"), std::string(65537, 'x'), std::string("tail\nnext\n"),
          std::string("half")}) {
        reader.feed(piece, take);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "three", std::string(65536, 'x'), "!", "next"}));
}

TEST(rpc, tells_what_is_wrong_with_a_line)
{
    const struct {
        const char *line;
        int64_t code;
        const char *id;
    } rows[] = {
        {R"({"jsonrpc":"2.0","id":"a","method":"m"})", 0, R"("a")"},
        {R"({"jsonrpc":"2.0","method":"m","params":{"[":"{\"["}})", 0, "null"},
        {R"({"jsonrpc":"2.0","id":3,"method":"m","params":{"a":[[[[[[[[[[[[[[]]]]]]]]]]]]]]}})", 0, "3"},
        {R"({"jsonrpc":"2.0","id":3,"method":"m","params":{"a":[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]}})", -32600,
         "null"},
        {R"({"jsonrpc":"2.0","id":3,"method":"m")", -32700, "null"},
        {"\xFF", -32700, "null"},
        {R"({"jsonrpc":"2.0","id":1e999,"method":"m"})", -32700, "null"},
        {R"([{"jsonrpc":"2.0","id":3,"method":"m"}])", -32600, "null"},
        {"7", -32600, "null"},
        {R"({"jsonrpc":"2.0","id":{},"method":"m"})", -32600, "null"},
        {R"({"jsonrpc":2.0,"id":4,"method":"m"})", -32600, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":5})", -32600, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":"m","params":[1]})", -32602, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":"m","params":{"timeout_ms":3600000}})", 0, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":"m","params":{"timeout_ms":0}})", -32602, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":"m","params":{"timeout_ms":3600001}})", -32602, "4"},
        {R"({"jsonrpc":"2.0","id":4,"method":"m","params":{"timeout_ms":-1}})", -32602, "4"},
    };
    for (const auto &it : rows) {
        rpc_call call;
        EXPECT_EQ(rpc_call_of(it.line, &call).code, it.code) << it.line;
        EXPECT_EQ(call.id.dump(), it.id) << it.line;
    }
    EXPECT_EQ(rpc_answer(7, {110, ""}, "set_laser", "module/0"),
              R"({"jsonrpc":"2.0","id":7,"error":{"code":110,"message":"KELVANE_RET_CODE_ETIMEDOUT","data":)"
              R"({"name":"KELVANE_RET_CODE_ETIMEDOUT","operation":"set_laser","address":"module/0"}}})"
              "\n");
}

TEST(alarm_board, tells_what_changed_and_what_is_raised)
{
    alarm_board board(host_kind::otn);
    const auto told = [&](const global_alarms &now) {
        std::string all;
        for (const alarm_change &it : board.update(1, now)) {
            char text[80];
            snprintf(text, sizeof text, "%c%08x %s ", it.is_raised ? '+' : '-', it.address,
                     it.alarm.dump().c_str());
            all += text;
        }
        return all;
    };
    global_alarms now = {};
    now.xpm2[1] = 1u << 31;
    now.host[3] = 1;
    const std::string raised = told(now);
    EXPECT_NE(raised.find("+ff0101ff"), raised.npos);
    EXPECT_NE(raised.find("+ff01ff03 \"TX_HOST_OUT_OF_ALGN\""), raised.npos);
    EXPECT_EQ(told(now), "");
    now.host[3] = 0;
    now.generic = 1;
    EXPECT_EQ(told(now), "-ff01ff03 \"TX_HOST_OUT_OF_ALGN\" +ff01ffff \"SRN_IMAGE_CORRUPT\" ");
    const json all = board.raised();
    EXPECT_TRUE(all["sirane/0"].is_null() && all["sirane/2"].is_null());
    EXPECT_EQ(all["sirane/1"].dump(), R"(["SRN_IMAGE_CORRUPT"])");
    EXPECT_EQ(all["module/3"].size(), 1u);
    EXPECT_EQ(all.size(), 4u);
}

// A client and the other end of its socket.
class connected : public testing::Test {
  protected:
    connected()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        far = descriptor(ends[1]);
        it = std::make_shared<client>(
            asio::local::stream_protocol::socket(loop, asio::local::stream_protocol(), ends[0]), listener);
        clients.insert(it);
        it->start();
    }

    // All that can be read, while the loop does what it can.
    std::string read_all()
    {
        std::string all;
        char bytes[65536];
        for (ssize_t got = 1; got > 0 || loop.poll() > 0;) {
            loop.poll();
            got = recv(far.number(), bytes, sizeof bytes, MSG_DONTWAIT);
            all.append(bytes, got > 0 ? static_cast<size_t>(got) : 0);
        }
        return all;
    }

    asio::io_context loop;
    std::set<std::shared_ptr<client>> clients;
    event_log events{clients};
    std::vector<std::string> taken;
    int answers = 0;
    client::listener listener = {
        [this](const std::shared_ptr<client> &, const std::string &line, bool, descriptor) {
            taken.push_back(line);
        },
        [this](const std::shared_ptr<client> &gone) { clients.erase(gone); },
        [this](uint64_t count, uint64_t seq) { return events.loss(count, seq); },
    };
    descriptor far;
    std::shared_ptr<client> it;
};

TEST_F(connected, nothing_is_told_after_the_last)
{
    it->subscribe();
    events.tell_last("state", nullptr, {{"state", "ended"}});
    events.tell("module", "module/0", {{"laser", true}}); // of a request that was under way
    const std::string heard = read_all();
    EXPECT_NE(heard.find("\"seq\":1,"), std::string::npos);
    EXPECT_EQ(std::ranges::count(heard, '\n'), 1);
    EXPECT_EQ(events.seq(), 1u);
}

TEST_F(connected, one_that_reads_too_late_loses_its_oldest_events_and_is_told_how_many)
{
    it->subscribe();
    const json data = {{"text", std::string(500, 'x')}};
    for (int i = 0; i < 3000; i++) {
        events.tell("batch", "sirane/0", data);
    }
    it->answer("{\"answer\":true}\n", descriptor(), false); // passes the events
    std::istringstream lines(read_all());
    uint64_t heard = 0;
    uint64_t lost = 0;
    uint64_t last = 0;
    size_t answered_after = 0;
    for (std::string line; std::getline(lines, line);) {
        const json told = json::parse(line);
        if (told.contains("answer")) {
            answered_after = heard;
            continue;
        }
        const json &event = told["params"];
        const uint64_t count = event["type"] == "events_lost" ? event["data"]["count"].get<uint64_t>() : 1;
        (event["type"] == "events_lost" ? lost : heard) += count;
        EXPECT_EQ(event["seq"], last + count);
        last = event["seq"];
    }
    EXPECT_EQ(last, 3000u);
    EXPECT_EQ(heard + lost, 3000u);
    EXPECT_GE(heard, 1024u);
    EXPECT_LT(answered_after, heard - 1000);
}

TEST_F(connected, one_that_does_not_read_its_answers_is_not_read_either)
{
    const std::string line(400, 'q');
    for (int sent = 0; sent < 5000 && send(far.number(), (line + "\n").data(), 401, MSG_DONTWAIT) == 401;
         sent++) {
        loop.poll();
        while (!taken.empty()) {
            it->answer(std::string(10000, 'a') + "\n", descriptor(), false);
            taken.pop_back();
            answers++;
        }
    }
    EXPECT_LT(answers, 1000);
    EXPECT_EQ(read_all().size() % 10001, 0u);
}

TEST_F(connected, one_that_says_no_more_still_gets_its_answers_and_then_the_end)
{
    ASSERT_TRUE(it->begin_request());
    send(far.number(), "one\n", 4, 0);
    shutdown(far.number(), SHUT_WR);
    EXPECT_EQ(read_all(), "");
    EXPECT_EQ(taken, std::vector<std::string>{"one"});
    EXPECT_EQ(clients.size(), 1u);
    it->answer("answer\n", descriptor(), true);
    EXPECT_EQ(read_all(), "answer\n");
    EXPECT_TRUE(clients.empty());
}

std::string metrics_of(const service_snapshot &now)
{
    return "\n" + prometheus::TextSerializer().Serialize(families_of(now));
}

// Sirane 1 with a module in its second port alone.
service_snapshot snapshot_of(const kelvane_global_pm &record, host_kind kind)
{
    service_snapshot now;
    now.kind = kind;
    now.batches[1] = {record, 0.5};
    now.alarms[1] = global_alarms{};
    now.alarms[1]->xpm2[0] = now.alarms[1]->xpm2[1] = 1u << 5;
    const operation *const presence = operation_of_name("is_xpm2_present");
    now.readings = {{presence, reading_kind::presence, 0xFF0100FF, {{"is_present", false}}},
                    {presence, reading_kind::presence, 0xFF0101FF, {{"is_present", true}}, true},
                    {operation_of_name("get_ddr_ecc_counters"),
                     reading_kind::counts,
                     0xF0FFFFFF,
                     {{"ddr_ecc_uncorrectable_flag", 1},
                      {"ddr_ecc_correctable_counter", 4294967295},
                      {"ddr_ecc_uncorrectable_counter", 2},
                      {"pl_seu_corr_counter", 3}}}};
    return now;
}

TEST(metrics, have_the_units_of_their_names_and_only_for_modules_that_are_there)
{
    kelvane_global_pm record = {};
    record.xpm2_port[0] = record.xpm2_port[1] = {7, 8, 105, -1023, -2510, -320};
    record.generic = {11776, -128};
    kelvane_sirane_port_pm &port = record.sirane_port[1];
    port.rx_cd_curr = -1200;
    port.rx_dgd_max = 12;
    port.rx_osnr_avg = 183;
    port.pre_fec_ber_est_curr = 1.5e-5f;
    port.pre_fec_ber_est_max = std::nanf("");
    port.corrected_bits_count_pm_int = 1ull << 40;
    port.sopmd_max = 30;
    port.sop_chi = 455;
    port.pdl_cur = 21;
    port.pdl_max = -1; // not known to the firmware
    record.host[3].otn.pre_fec_ber_est = 0.25f;
    const std::string text = metrics_of(snapshot_of(record, host_kind::otn));
    for (const char *const line : {
             R"(module_tx_laser_eol_percent{module="module/3"} 7)",
             R"(module_optical_output_power_dbm{module="module/3"} 1.05)",
             R"(module_optical_input_power_dbm{module="module/3"} -10.23)",
             R"(module_optical_signal_power_dbm{module="module/3"} -25.1)",
             R"(module_xpm2_temperature_celsius{module="module/3"} -1.25)",
             R"(network_port_rx_cd_curr_ps_per_nm{module="module/3"} -1200)",
             R"(network_port_rx_dgd_max_ps{module="module/3"} 12)",
             R"(network_port_rx_osnr_avg_db{module="module/3"} 18.3)",
             R"(network_port_pre_fec_ber_est_curr{module="module/3"} 1.5e-05)",
             R"(network_port_corrected_bits_count_pm_int{module="module/3"} 1099511627776)",
             R"(network_port_sopmd_max_ps2{module="module/3"} 30)",
             R"(network_port_sop_chi_degrees{module="module/3"} 45.5)",
             R"(network_port_pdl_cur_db{module="module/3"} 2.1)",
             R"(host_pre_fec_ber_est{host="host/1.3"} 0.25)",
             R"(host_otn_sm_bei{host="host/1.0"} 0)",
             R"(sirane_temperature_celsius{sirane="sirane/1"} 46)",
             R"(ordune_temperature_celsius{sirane="sirane/1"} -0.5)",
             R"(last_batch_age_seconds{sirane="sirane/1"} 0.5)",
             R"(alarm{alarm="RX_NTWK_LOS",module="module/3"} 1)",
             R"(alarm{alarm="RX_NTWK_LOF",module="module/3"} 0)",
             R"(alarm{alarm="SRN_TEMP",sirane="sirane/1"} 0)",
             R"(module_is_present{module="module/2"} 0)",
             R"(ddr_ecc_correctable_total 4294967295)",
             R"(ddr_ecc_uncorrectable_flag 1)",
             R"(pl_seu_corr_total 3)",
         }) {
        EXPECT_NE(text.find("\nkelvane_" + std::string(line) + "\n"), text.npos) << line;
    }
    EXPECT_NE(text.find("# TYPE kelvane_pl_seu_corr_total counter\n"), text.npos);
    EXPECT_NE(text.find("# TYPE kelvane_host_otn_sm_bei gauge\n"), text.npos);
    for (const char *const none :
         {"pdl_max", "ber_est_max", "rx_good", "sirane/0", "sirane/2", "module_laser"}) {
        EXPECT_EQ(text.find(none), text.npos) << none;
    }
    EXPECT_EQ(text.find("module/2"), text.rfind("module/2")); // that it is absent
    EXPECT_NE(metrics_of(snapshot_of(record, host_kind::ethernet))
                  .find("kelvane_host_rx_good_frame{host=\"host/1.2\"} 0\n"),
              text.npos);
}

TEST(metrics, tell_how_requests_ended_and_how_long_they_took)
{
    service_snapshot now;
    const operation &get_laser = *operation_of_name("get_laser");
    count_run(&now.requests, get_laser, 0, std::chrono::milliseconds(1));
    count_run(&now.requests, get_laser, 110, std::chrono::seconds(300));
    count_run(&now.requests, get_laser, 22, std::chrono::seconds(301));
    count_end(&now.requests, get_laser, request_end::refused);
    const std::string text = metrics_of(now);
    for (const char *const line : {
             R"(commands_total{command="get_laser",outcome="done"} 1)",
             R"(commands_total{command="get_laser",outcome="failed"} 1)",
             R"(commands_total{command="get_laser",outcome="timed_out"} 1)",
             R"(commands_total{command="get_laser",outcome="refused"} 1)",
             R"(command_duration_seconds_count{command="get_laser"} 3)",
             R"(command_duration_seconds_bucket{command="get_laser",le="0.001"} 1)",
             R"(command_duration_seconds_bucket{command="get_laser",le="60"} 1)",
             R"(command_duration_seconds_bucket{command="get_laser",le="300"} 2)",
             R"(command_duration_seconds_bucket{command="get_laser",le="+Inf"} 3)",
         }) {
        EXPECT_NE(text.find("\nkelvane_" + std::string(line) + "\n"), text.npos) << line;
    }
    EXPECT_EQ(text.find("kelvane_alarm"), text.npos);
}

} // namespace
