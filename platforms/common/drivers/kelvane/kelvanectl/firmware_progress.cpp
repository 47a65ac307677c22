#include "kelvanectl/firmware_progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <unistd.h>

#include "kelvanectl/text/output.h"

namespace {

constexpr double BAR_COLUMNS = 24;
constexpr double BYTES_PER_MB = 1e6;
constexpr double SECONDS_SHOWN_MAX = 86400;

// -1 for one that is not told.
double number_of(const json &data, const char *name)
{
    const json value = data.is_object() ? data.value(name, json()) : json();
    return value.is_number() ? std::clamp(value.get<double>(), 0.0, 1e12) : -1;
}

std::string bar(double done)
{
    const auto full = static_cast<size_t>(std::lround(std::clamp(done, 0.0, 1.0) * BAR_COLUMNS));
    return "[" + std::string(full, '#') + std::string(static_cast<size_t>(BAR_COLUMNS) - full, '.') + "]";
}

// At most 79 columns.
std::string line_of(const std::string &operation, const json &data)
{
    const double seconds = std::min(number_of(data, "seconds"), SECONDS_SHOWN_MAX);
    const double bytes = number_of(data, "bytes");
    const double total = number_of(data, "bytes_total");
    const double percent = number_of(data, "percent");
    const bool is_copying = total > 0 && bytes < total;
    const double done = is_copying ? bytes / total : percent / 100;
    char text[96];
    if (!is_copying && percent < 0) {
        snprintf(text, sizeof text, "%.26s  %.0f s", operation.c_str(), std::max(0.0, seconds));
        return text;
    }
    snprintf(text, sizeof text, "%.17s %s %3.0f %%", is_copying ? "copying" : "the card's work",
             bar(done).c_str(), std::clamp(done * 100, 0.0, 100.0));
    std::string line = text;
    if (is_copying && bytes > 0 && seconds > 0) {
        const double rate = bytes / seconds;
        snprintf(text, sizeof text, "  %.2f MB/s  %.0f s left", rate / BYTES_PER_MB,
                 std::min((total - bytes) / rate, SECONDS_SHOWN_MAX));
        line += text;
    }
    return line;
}

} // namespace

firmware_progress::firmware_progress(std::string operation, bool as_json)
    : operation_(std::move(operation)), as_json_(as_json), is_terminal_(isatty(STDERR_FILENO) == 1)
{
}

firmware_progress::~firmware_progress()
{
    if (is_shown_) {
        fputs("\n", stderr);
    }
}

void firmware_progress::take(const json &event)
{
    const json data = event.value("data", json());
    const bool is_ours = event.value("type", json()) == "progress" && data.is_object() &&
                         data.value("operation", json()) == operation_;
    if (is_ours && as_json_) {
        output_json(event);
        output_finish();
    } else if (is_ours && is_terminal_) {
        fprintf(stderr, "\r\x1b[K%s", line_of(operation_, data).c_str());
        is_shown_ = true;
    }
}
