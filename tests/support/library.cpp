#include "support/library.h"

#include <sstream>

#include "background/response_thread.h"
#include "core/trace/file.h"
#include "lifecycle/driver.h"
#include "mbox/model.h"

// The library's mutexes are of the error-checking kind: releasing one that another thread holds, or
// destroying one that is held, is an error code that tests provoke. The thread sanitizer is to look for
// everything else.
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options()
{
    return "report_mutex_bugs=0:report_destroy_locked=0";
}

library_test::library_test()
{
    setenv("TZ", "UTC", 1);
    tzset();
    driver_starts_threads = false;
    the_bar = recorded_bar{};
}

library_test::~library_test()
{
    the_bar = recorded_bar{};
    zero_handle_record();
    is_driver_initialized = false;
    if (logFileFp != nullptr) {
        fclose(logFileFp.exchange(nullptr));
    }
}

std::string library_test::log_path() const
{
    return folder.path + "/root/kelvane.log";
}

std::string library_test::log_text() const
{
    std::ostringstream text;
    text << std::ifstream(log_path()).rdbuf();
    return text.str();
}

std::vector<std::string> library_test::log_lines()
{
    const std::string text = log_text();
    std::istringstream fresh(text.substr(log_seen_));
    log_seen_ = text.size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(fresh, line);) {
        const size_t slot = line.find("Slot:");
        if (slot != std::string::npos) { // or it is the tail of a message with a newline of its own
            lines.push_back(line.substr(slot - 6, 6) + line.substr(line.find(' ', slot) + 1));
        }
    }
    return lines;
}

bool library_test::log_contains(const std::string &text) const
{
    return log_text().find(text) != std::string::npos;
}

std::string library_test::said(const std::string &function)
{
    constexpr size_t LEVEL = 6;
    std::string messages;
    for (const std::string &line : log_lines()) {
        if (line.compare(LEVEL, function.size() + 2, function + ": ") == 0) {
            messages += line.substr(LEVEL + function.size() + 2) + "|";
        }
    }
    return messages;
}

firmware_test::firmware_test(const kelvane_init_device_t &device)
{
    std::ofstream{log_path()};
    EXPECT_EQ(kelvane_init_driver(), 0);
    EXPECT_EQ(kelvane_device_create(device), 0);
    local_handles_array[0].pci_mapped = 1;
    firmware.install();
    firmware.next_reference(0x1234);
    the_bar.told();
    log_lines();
}

int32_t firmware_test::deliver(uint32_t mbox, const std::vector<uint32_t> &header,
                               const std::vector<uint32_t> &data)
{
    constexpr uint32_t BASES[] = {0x01C02000, 0x01C08000, 0x01C04000};
    offer_message(header, data, BASES[mbox]);
    the_bar.told();
    return kelvane_asyc_resp_common(0, sirane_0, static_cast<mbox_id>(mbox));
}

std::vector<std::pair<std::string, std::string>> cases_of(const std::string &table)
{
    std::vector<std::pair<std::string, std::string>> cases;
    for (size_t at = 0; at < table.size();) {
        const size_t arrow = table.find(" > ", at);
        const size_t end = std::min(table.find("; ", arrow), table.size());
        cases.emplace_back(table.substr(at, arrow - at), table.substr(arrow + 3, end - arrow - 3));
        at = end + 2;
    }
    return cases;
}

void firmware_test::shorten_waits()
{
    for (mailbox_handler &mailbox : mbox_handlers[0]) {
        mailbox.timeout_sec = 1;
    }
}

void firmware_test::background_passes(int count)
{
    kelvane_set_low_prio_active(0, 1);
    for (int i = 0; i < count; i++) {
        low_priority_pass(&background_);
    }
}

std::string woken_threads()
{
    std::string woken;
    for (sirane_link &link : local_handles_array[0].sirane) {
        for (const mbox_id mbox : ANSWER_MAILBOXES) {
            if (link.answers[mbox].semaphore.semState.exchange(0) == 1) {
                woken += std::to_string(link.sirane_id) + std::to_string(mbox) + " ";
            }
        }
    }
    return woken + (local_handles_array[0].dap_semaphore.semState.exchange(0) == 1 ? "dap " : "");
}

void set_watch(uint32_t enabled, uint32_t status)
{
    local_handles_array[0].keep_alive_enabled = enabled;
    local_handles_array[0].keep_alive_status = status;
}
