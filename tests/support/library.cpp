#include "support/library.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/handle.h"
#include "kelvane_trace_defs.h"
#include "lifecycle/driver.h"
#include "platform/host_tree.h"

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
    std::filesystem::create_directories(folder.path + "/root");
    std::filesystem::create_directories(folder.path + "/rings");
    setenv(HOST_TREE_VARIABLE, folder.path.c_str(), 1);
    setenv("KELVANE_TRACE_DIR", (folder.path + "/rings").c_str(), 1);
    host_tree_forget();
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

void library_test::turn_log_on()
{
    std::ofstream{log_path()};
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
        if (slot == std::string::npos) { // the tail of a message with a newline of its own
            continue;
        }
        const size_t function = line.find(' ', slot) + 1;
        lines.push_back(line.substr(slot - 6, 6) + line.substr(function));
    }
    return lines;
}

bool library_test::log_has(const std::string &line)
{
    for (const std::string &written : log_lines()) {
        if (written == line) {
            return true;
        }
    }
    return false;
}

void library_test::start_library()
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    ASSERT_EQ(kelvane_device_create(recorded_bar_device()), 0);
    open_gate();
}

void library_test::open_gate()
{
    local_handles_array[0].pci_mapped = 1;
}

void library_test::close_gate()
{
    local_handles_array[0].pci_mapped = 0;
}
