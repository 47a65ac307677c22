// The logs of the firmware and the siranes.
#include "kelvanectl/logs.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "control/address.h"
#include "control/descriptor_passing.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t PIECE_BYTES = 1 << 16;

// Bytes that it has; -1, with errno set and nothing left, when it cannot be copied.
int64_t copy_to_file(int from, const std::string &path)
{
    const int to = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (to < 0) {
        return -1;
    }
    std::vector<char> piece(PIECE_BYTES);
    int64_t copied = 0;
    ssize_t got = 0;
    bool is_written = true;
    while (is_written && (got = pread(from, piece.data(), piece.size(), copied)) > 0) {
        is_written = write_all(to, {piece.data(), static_cast<size_t>(got)});
        copied += got;
    }
    int error = is_written && got == 0 ? 0 : errno;
    if (close(to) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0) {
        return copied;
    }
    unlink(path.c_str());
    errno = error;
    return -1;
}

exit_status fetch(const tool &tool, const card_log &log, json *row)
{
    const answer answer = tool.card.ask(log.request.method, log.request.parameters);
    if (!answer.error.is_null()) {
        return fail(answer.error, tool.options.as_json && status_of(answer.error) == STATUS_NO_CARD);
    }
    const std::string path = tool.options.folder + "/" + log.file;
    int64_t bytes = 0;
    if (answer.file >= 0) {
        bytes = copy_to_file(answer.file, path);
        const int error = errno;
        close(answer.file);
        errno = error;
    }
    (*row)["bytes"] = bytes < 0 ? json() : json(bytes);
    return bytes < 0 ? fail_file("cannot write " + path, false) : STATUS_DONE;
}

void add_logs(CLI::App &app, command_options &options)
{
    app.add_option("-o,--output", options.folder, "the folder to put them in")
        ->type_name("DIR")
        ->capture_default_str();
}

// Those that can be had, also when one cannot.
exit_status logs(const tool &tool)
{
    if (access(tool.options.folder.c_str(), W_OK | X_OK) != 0) {
        return fail_file("cannot write to " + tool.options.folder, tool.options.as_json);
    }
    exit_status status = STATUS_DONE;
    json rows = json::array();
    for (const card_log &log : all_logs()) {
        json row = {{"log", log.file}, {"bytes", nullptr}};
        const exit_status own = fetch(tool, log, &row);
        if (own == STATUS_NO_CARD) {
            return own;
        }
        status = status == STATUS_DONE ? own : status;
        rows.push_back(row);
    }
    output_rows("logs", rows, tool.options.as_json);
    return status;
}

} // namespace

std::vector<card_log> all_logs()
{
    std::vector<card_log> logs = {{"", {"ps_print_trace", json::object()}}};
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        logs.push_back(
            {"", {"ps_print_sel_trace", {{"address", words_of_address(KELVANE_ADDRESS_SIRANE(sirane))}}}});
    }
    logs.push_back({"", {"ps_print_eprom_trace", json::object()}});
    for (card_log &it : logs) {
        kelvane_device_address address = KELVANE_ADDRESS_BOARD;
        address_of_words(it.request.parameters.value("address", "board"), &address);
        it.file = operation_of_name(it.request.method)->out.file(address);
    }
    return logs;
}

const subcommand LOGS = {"logs", "Fetches the card's logs into files.", add_logs, logs};
