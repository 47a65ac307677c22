#include "kelvaned/metrics/families.h"

#include <algorithm>
#include <unordered_map>

#include "control/address.h"
#include "control/open_rpc.h"
#include "kelvaned/alarm_board.h"

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using labels = std::vector<ClientMetric::Label>;

const std::string PREFIX = "kelvane_";
constexpr std::string_view COUNTER = "_counter";

// The families in the order in which their first value came.
class collection {
  public:
    void add(const std::string &name, const std::string &help, MetricType type, ClientMetric metric)
    {
        const auto [found, is_new] = places_.try_emplace(name, families.size());
        if (is_new) {
            families.push_back({name, help, type, {}});
        }
        families[found->second].metric.push_back(std::move(metric));
    }

    void gauge(const std::string &name, const std::string &help, labels of, double value)
    {
        ClientMetric metric;
        metric.label = std::move(of);
        metric.gauge.value = value;
        add(name, help, MetricType::Gauge, std::move(metric));
    }

    void counter(const std::string &name, const std::string &help, labels of, double value)
    {
        ClientMetric metric;
        metric.label = std::move(of);
        metric.counter.value = value;
        add(name, help, MetricType::Counter, std::move(metric));
    }

    std::vector<MetricFamily> families;

  private:
    std::unordered_map<std::string, size_t> places_;
};

// "module/3" is {module="module/3"}; of the board there is one.
labels labels_of(kelvane_device_address address)
{
    const std::string words = words_of_address(address);
    return KELVANE_IS_BOARD(address) ? labels() : labels{{words.substr(0, words.find('/')), words}};
}

// "kelvane_module_optical_input_power_dbm". Of what the header calls a counter only those that are known to
// grow from a start are one for Prometheus, and end with "_total"; the others do not call themselves so.
std::string metric_name(const record_fields &record, const field &it)
{
    const std::string subject = record.subject;
    std::string name = PREFIX + (subject.empty() ? "" : subject + "_") + name_of_field(it);
    if (name.ends_with(COUNTER)) {
        name.resize(name.size() - COUNTER.size());
    }
    return it.only_grows ? name + "_total" : name;
}

void add_record(collection *all, const record_fields &record, const json &values, const labels &of)
{
    for (const field &it : record.fields) {
        const json &value = values.at(name_of_field(it));
        if (!value.is_number()) { // null: no number, or unknown to the firmware
            continue;
        }
        const std::string help = std::string(it.name) + " of " + record.name;
        if (it.only_grows) {
            all->counter(metric_name(record, it), help + ", since the firmware's start", of,
                         value.get<double>());
        } else {
            all->gauge(metric_name(record, it), help, of, value.get<double>());
        }
    }
}

bool is_of_absent_module(const service_snapshot &now, kelvane_device_address address)
{
    return address_fits(address_kind::network_port, address) &&
           std::ranges::none_of(now.readings, [address](const reading &it) {
               return it.address == address && it.kind == reading_kind::presence && it.was_there;
           });
}

void add_batch(collection *all, const service_snapshot &now, uint32_t sirane)
{
    const record_fields &whole = global_pm_fields(now.kind);
    const json record = json_of_record(whole, &now.batches[sirane]->record);
    for (const field &it : whole.fields) {
        const json &value = record.at(name_of_field(it));
        for (uint32_t i = 0; i < it.count; i++) {
            const kelvane_device_address address = device_of_element(it, sirane, i);
            if (!is_of_absent_module(now, address)) {
                add_record(all, *it.of, value.is_array() ? value.at(i) : value, labels_of(address));
            }
        }
    }
    all->gauge("kelvane_last_batch_age_seconds", "Time since the last batch of the sirane's measurements",
               labels_of(KELVANE_ADDRESS_SIRANE(sirane)), now.batches[sirane]->age_seconds);
}

void add_alarms(collection *all, const service_snapshot &now, uint32_t sirane)
{
    for (const alarm_word &it : alarm_words(sirane, *now.alarms[sirane], now.kind)) {
        if (is_of_absent_module(now, it.address)) {
            continue;
        }
        for (const kelvane_alarm_name &name : it.names) {
            labels of = labels_of(it.address);
            of.insert(of.begin(), {"alarm", std::string(name_of_alarm(name))});
            all->gauge("kelvane_alarm", "1 while it is raised, as last heard of", std::move(of),
                       it.word >> name.bit & 1);
        }
    }
}

std::string text_of(const json &value)
{
    return value.is_null() ? "" : value.is_string() ? value.get<std::string>() : value.dump();
}

// 1, with what was read in the labels.
void add_info(collection *all, const reading &it)
{
    labels of = labels_of(it.address);
    if (it.what->out.record == nullptr) {
        of.push_back({"version", text_of(it.value.at("major")) + "." + text_of(it.value.at("minor"))});
        all->gauge("kelvane_software_info", "The version that runs on the card, a sirane, a module", of, 1);
        return;
    }
    const record_fields &record = it.what->out.record(host_kind::ethernet); // an inventory has no host ports
    for (const auto &[name, value] : it.value.items()) {
        of.push_back({name, text_of(value)});
    }
    all->gauge(PREFIX + record.subject + "_info", std::string("Fields of ") + record.name, of, 1);
}

void add_reading(collection *all, const reading &it)
{
    if (it.value.is_null()) {
        return;
    }
    switch (it.kind) {
    case reading_kind::identity:
        add_info(all, it);
        break;
    case reading_kind::counts:
        add_record(all, it.what->out.record(host_kind::ethernet), it.value, labels_of(it.address));
        break;
    case reading_kind::presence:
    case reading_kind::state:
        for (const auto &[name, value] : it.value.items()) {
            if (value.is_boolean()) {
                all->gauge("kelvane_module_" + name, it.what->sentence, labels_of(it.address),
                           value.get<bool>());
            }
        }
        break;
    }
}

void add_requests(collection *all, const operation &operation, const operation_counts &counts)
{
    const ClientMetric::Label command = {"command", operation.name};
    for (size_t end = 0; end < REQUEST_ENDS; end++) {
        if (counts.ends[end] > 0) {
            all->counter("kelvane_commands_total", "Requests for operations that have ended",
                         {command, {"outcome", REQUEST_END_NAMES[end]}},
                         static_cast<double>(counts.ends[end]));
        }
    }
    ClientMetric metric;
    metric.label = {command};
    metric.histogram.sample_sum = counts.seconds;
    for (size_t i = 0; i < counts.took.size(); i++) {
        metric.histogram.sample_count += counts.took[i];
        const double bound = i < REQUEST_SECONDS.size() ? REQUEST_SECONDS[i] : INFINITY;
        metric.histogram.bucket.push_back({metric.histogram.sample_count, bound});
    }
    if (metric.histogram.sample_count > 0) {
        all->add("kelvane_command_duration_seconds",
                 "From a request's line to its outcome, with the time in the queue", MetricType::Histogram,
                 std::move(metric));
    }
}

void add_service(collection *all, const service_snapshot &now)
{
    all->gauge("kelvane_service_info", "The service and this run of it",
               {{"version", library_version()},
                {"host_kind", now.kind == host_kind::otn ? "otn" : "ethernet"},
                {"instance_id", now.instance}},
               1);
    all->gauge("kelvane_card_up", "1 while the card is linked up and its firmware heard of", {}, now.is_up);
    all->counter("kelvane_link_ups_total", "How often the card came up", {},
                 static_cast<double>(now.link_ups));
    all->gauge("kelvane_clients", "Connections to the socket", {}, static_cast<double>(now.clients));
    all->counter("kelvane_events_sent_total", "Events that were queued for subscribers", {},
                 static_cast<double>(now.events_sent));
    all->counter("kelvane_events_lost_total", "Those of them that were dropped, unread", {},
                 static_cast<double>(now.events_lost));
    all->counter("kelvane_caller_timeouts_total", "Requests whose caller waited no longer", {},
                 static_cast<double>(now.caller_timeouts));
}

} // namespace

std::vector<MetricFamily> families_of(const service_snapshot &now)
{
    collection all;
    add_service(&all, now);
    for (const auto &[operation, counts] : now.requests) {
        add_requests(&all, *operation, counts);
    }
    for (const reading &it : now.readings) {
        add_reading(&all, it);
    }
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        if (now.batches[sirane]) {
            add_batch(&all, now, sirane);
        }
        if (now.alarms[sirane]) {
            add_alarms(&all, now, sirane);
        }
    }
    return all.families;
}
