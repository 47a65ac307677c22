#include "kelvaned/readings.h"

#include <algorithm>

#include "control/address.h"

namespace {

constexpr auto LOOKS_AGAIN = std::chrono::seconds(10);

struct row {
    const char *operation;
    reading_kind kind;
};

constexpr row OF_THE_BOARD[] = {
    {"get_software_running", reading_kind::identity},
    {"get_ordune_inventory_inf", reading_kind::identity},
    {"get_ddr_ecc_counters", reading_kind::counts},
};
constexpr row OF_A_SIRANE[] = {
    {"get_software_running", reading_kind::identity},
};
constexpr row OF_A_MODULE[] = {
    {"is_xpm2_present", reading_kind::presence},
    {"get_laser", reading_kind::state},
    {"get_xpm2_inventory_inf", reading_kind::identity},
    {"get_software_running", reading_kind::identity},
};

void add(std::vector<reading> *all, std::span<const row> rows, kelvane_device_address address)
{
    for (const row &it : rows) {
        all->push_back({operation_of_name(it.operation), it.kind, address});
    }
}

bool is_module(kelvane_device_address address)
{
    return address_fits(address_kind::network_port, address);
}

// Whether one address is the other's, or a part of what it names.
bool is_part_of(kelvane_device_address part, kelvane_device_address whole)
{
    return part == whole || KELVANE_IS_BOARD(whole) ||
           (address_fits(address_kind::sirane, whole) && !is_module(whole) &&
            KELVANE_SIRANE_OF(part) == KELVANE_SIRANE_OF(whole));
}

} // namespace

readings::readings(asio::io_context &loop, jobs &jobs, host_kind kind)
    : jobs_(jobs), kind_(kind), again_(loop)
{
    add(&all_, OF_THE_BOARD, KELVANE_ADDRESS_BOARD);
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        add(&all_, OF_A_SIRANE, KELVANE_ADDRESS_SIRANE(sirane));
        for (uint32_t port = 0; port < KELVANE_NETWORK_PORTS_PER_SIRANE; port++) {
            add(&all_, OF_A_MODULE, KELVANE_ADDRESS_NETWORK_PORT(sirane, port));
        }
    }
}

void readings::begin()
{
    is_up_ = true;
    want(KELVANE_ADDRESS_BOARD, true);
    look_again_later();
}

void readings::end()
{
    is_up_ = false;
    again_.cancel();
    for (reading &it : all_) {
        if (it.kind != reading_kind::identity) {
            set(it, nullptr);
        }
    }
}

void readings::plugged(kelvane_device_address address)
{
    want(is_module(address) ? address : KELVANE_ADDRESS_BOARD, true);
}

void readings::changed(const operation &operation, kelvane_device_address address)
{
    const bool restarts = operation.does == effect::restarts;
    if (operation.does != effect::reads && (restarts || operation.address != address_kind::none)) {
        want(address, restarts);
    }
}

void readings::want(kelvane_device_address address, bool also_identity)
{
    for (reading &it : all_) {
        const bool is_wanted = it.kind != reading_kind::identity || also_identity;
        it.is_due |= is_wanted && is_part_of(it.address, address);
    }
    read_due();
}

void readings::read_due()
{
    for (reading &it : all_) {
        if (!it.is_due || it.is_under_way || !can_be_known(it)) {
            continue;
        }
        request asked;
        json parameters = json::object();
        if (it.what->address != address_kind::none) {
            parameters["address"] = words_of_address(it.address);
        }
        request_of(*it.what, parameters, &asked);
        it.is_due = false;
        it.is_under_way = jobs_.push_own(
            KELVANE_IS_BOARD(it.address) ? 0 : KELVANE_SIRANE_OF(it.address),
            [asked, kind = kind_]() mutable { return run_request(asked, -1, kind); },
            [this, &it](outcome &&done) { heard(it, std::move(done)); });
        it.has_failed = !it.is_under_way; // its queue is full
    }
}

// Its module may have been pulled out, or the firmware fallen silent, while it was read.
bool readings::can_be_known(const reading &it) const
{
    const bool is_of_module = is_module(it.address) && it.kind != reading_kind::presence;
    return is_up_ && (!is_of_module || has_module(it.address));
}

void readings::heard(reading &it, outcome &&done)
{
    it.is_under_way = false;
    it.has_failed = done.code != 0;
    set(it, done.code == 0 && can_be_known(it) ? std::move(done.result) : json());
    read_due(); // what else there is of a module, or the same again
}

void readings::set(reading &it, json value)
{
    if (it.value == value) {
        return;
    }
    it.value = std::move(value);
    it.was_there = it.value.is_null() ? it.was_there : has_module(it.address);
    if (it.kind == reading_kind::presence && !has_module(it.address)) {
        for (reading &other : all_) {
            if (other.address == it.address && other.kind != reading_kind::presence) {
                other.value = nullptr;
                other.is_due = true; // once there is a module again
            }
        }
    }
    if (it.kind == reading_kind::presence || it.kind == reading_kind::state) {
        module_changed(it.address);
    }
}

void readings::look_again_later()
{
    again_.expires_after(LOOKS_AGAIN);
    again_.async_wait([this](const std::error_code &error) {
        if (error || !is_up_) {
            return;
        }
        for (reading &it : all_) {
            it.is_due |= it.has_failed || it.kind == reading_kind::counts;
        }
        read_due();
        look_again_later();
    });
}

bool readings::has_module(kelvane_device_address module) const
{
    return std::ranges::any_of(all_, [module](const reading &it) {
        return it.kind == reading_kind::presence && it.address == module && it.value.is_object() &&
               it.value.at("is_present") == true;
    });
}

json readings::modules() const
{
    json all = json::object();
    for (const reading &it : all_) {
        if (it.kind == reading_kind::presence) {
            all[words_of_address(it.address)] = module(it.address);
        }
    }
    return all;
}

json readings::module(kelvane_device_address address) const
{
    json members = json::object();
    for (const reading &it : all_) {
        if (it.address == address && (it.kind == reading_kind::presence || it.kind == reading_kind::state)) {
            const char *const name = it.what->out.words[0].name;
            members[name] = it.value.is_object() ? it.value.at(name) : json();
        }
    }
    return members;
}
