// The firmware's versions, and new ones.
#include <algorithm>
#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "control/address.h"
#include "kelvanectl/confirmation.h"
#include "kelvanectl/firmware_progress.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/interrupt.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t DIGEST_DIGITS = 32;
constexpr const char *DOWNLOAD = "download_software";
constexpr const char *ACTIVATE = "program_activate_software";

// What is not known stays null.
json versions_of(const json &own)
{
    const auto version = [&own](const char *name) {
        const json value = own.value(name, json::object());
        return value.contains("major") ? json(in_words(value)) : json();
    };
    return {{"running", version("software_running")}, {"downloaded", version("software_downloaded")}};
}

exit_status show(const tool &tool)
{
    std::vector<reading> readings;
    for (const std::string &address : all_address_words()) {
        if (!address.starts_with("host/")) {
            for (const char *const method :
                 {"get_software_running", "get_software_downloaded", "get_program_progress"}) {
                readings.push_back({address, method});
            }
        }
    }
    readings.push_back({"board", "get_software_downloaded_golden_zynq"});
    exit_status status = STATUS_DONE;
    const json found = read_records(tool, readings, &status);
    json rows = json::array();
    for (const auto &[address, own] : found.items()) {
        json row = {{"address", address}};
        row.update(versions_of(own));
        const json golden = own.value("software_downloaded_golden_zynq", json::object());
        row["golden"] = golden.contains("major") ? json(in_words(golden)) : json();
        const json percent = own.value("program_progress", json());
        row["programming_percent"] = percent.is_number() ? percent : json();
        rows.push_back(row);
    }
    if (status == STATUS_DONE) {
        output_rows("devices", rows, tool.options.as_json);
    }
    return status;
}

// An image and its digest, open while this lives.
struct image {
    ~image()
    {
        if (file >= 0) {
            close(file);
        }
    }
    image() = default; // NOLINT(bugprone-exception-escape): what json says of its own constructor
    image(const image &) = delete;
    image &operator=(const image &) = delete;

    int file = -1;
    off_t bytes = 0;
    question request;
};

exit_status take_digest(const tool &tool, std::string *digest)
{
    const std::string path = tool.options.file + ".md5";
    std::ifstream text(path);
    digest->resize(DIGEST_DIGITS);
    text.read(digest->data(), DIGEST_DIGITS);
    if (text.gcount() == DIGEST_DIGITS) {
        return STATUS_DONE;
    }
    return fail_usage("the image's digest is missing, the first 32 characters of " + path + ": `md5sum " +
                          tool.options.file + " > " + path + "` makes it",
                      tool.options.as_json);
}

exit_status open_image(const tool &tool, image *out)
{
    std::string digest;
    out->file = open(tool.options.file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); // a pipe must not hold us
    struct stat status = {};
    if (out->file < 0 || fstat(out->file, &status) != 0) {
        return fail_file("cannot open " + tool.options.file, tool.options.as_json);
    }
    if (!S_ISREG(status.st_mode)) {
        return fail_usage(tool.options.file + " is no regular file", tool.options.as_json);
    }
    if (const exit_status wrong = take_digest(tool, &digest); wrong != STATUS_DONE) {
        return wrong;
    }
    out->bytes = status.st_size;
    out->request = {DOWNLOAD, {{"download_device", tool.options.image_kind}, {"digest", digest}}};
    const json problem = problem_of(out->request);
    return problem.is_null() ? STATUS_DONE : fail(problem, tool.options.as_json);
}

// Asks on a connection of its own, where the events come, too.
answer ask_watched(const tool &tool, const question &question, int image)
{
    const bool as_json = tool.options.as_json;
    if (tool.service == nullptr) {
        interrupt_say("\nkelvanectl: ended; what the firmware was told before goes on\n");
        output_problem(question.method + " takes a while, and without the service tells nothing meanwhile");
        answer answer = tool.card.ask(question.method, question.parameters, image);
        interrupt_say(nullptr);
        return answer;
    }
    const std::unique_ptr<service_session> own = tool.service->another();
    answer subscribed = own->ask("subscribe", json::object());
    if (!subscribed.error.is_null()) {
        return subscribed;
    }
    firmware_progress progress(question.method, as_json);
    own->on_event = [&progress](const json &event) { progress.take(event); };
    interrupt_say("\nkelvanectl: detached; the firmware's work goes on, `kelvanectl watch` shows how\n");
    answer answer = own->ask(question.method, question.parameters, image);
    interrupt_say(nullptr);
    return answer;
}

answer ask_activate(const tool &tool)
{
    answer answer = ask_watched(tool, {ACTIVATE, {{"address", tool.options.address}}}, -1);
    if (!answer.error.is_null() && answer.error.value("code", json()) == KELVANE_RET_CODE_ETIMEDOUT) {
        answer.error["data"]["advice"] =
            "the outcome is unknown, the firmware may still be at it; `kelvanectl firmware show` tells which "
            "version runs";
    }
    return answer;
}

json versions_now(const tool &tool)
{
    const std::vector<reading> readings = {{tool.options.address, "get_software_running"},
                                           {tool.options.address, "get_software_downloaded"}};
    const std::vector<answer> answers = tool.card.ask_all(questions_of(readings));
    json own = json::object();
    for (size_t i = 0; i < readings.size(); i++) {
        own[short_name(readings[i].method)] = answers[i].error.is_null() ? answers[i].result : json::object();
    }
    return versions_of(own);
}

exit_status output_versions(const tool &tool, const json &before)
{
    const json after = versions_now(tool);
    json rows = {{{"when", "before"}}, {{"when", "after"}}};
    rows[0].update(before);
    rows[1].update(after);
    output_rows("versions", rows, tool.options.as_json);
    if (!tool.options.as_json && after["running"] == before["running"] &&
        after["downloaded"] != after["running"]) {
        output_line("The new version runs from the next start on: `kelvanectl reset card` makes one.");
    }
    return STATUS_DONE;
}

exit_status download(const tool &tool)
{
    image image;
    exit_status status = open_image(tool, &image);
    if (status == STATUS_DONE) {
        status = confirm(tool, "This replaces the image that is kept in the card");
    }
    if (status != STATUS_DONE) {
        return status;
    }
    const answer answer = ask_watched(tool, image.request, image.file);
    if (!answer.error.is_null()) {
        return fail(answer.error, tool.options.as_json);
    }
    if (tool.options.as_json) {
        output_json({{"file", tool.options.file}, {"bytes", image.bytes}});
    } else {
        output_line("downloaded " + printable(tool.options.file) + ", " + std::to_string(image.bytes) +
                    " bytes");
    }
    return STATUS_DONE;
}

std::string disturbance(const tool &tool)
{
    return "This programs " + tool.options.address +
           " with the downloaded image and starts it: its traffic stops";
}

exit_status activate(const tool &tool)
{
    exit_status status = STATUS_DONE;
    if (!check_address(tool, &status)) {
        return status;
    }
    status = confirm(tool, disturbance(tool));
    if (status != STATUS_DONE) {
        return status;
    }
    const json before = versions_now(tool);
    const answer answer = ask_activate(tool);
    return answer.error.is_null() ? output_versions(tool, before) : fail(answer.error, tool.options.as_json);
}

exit_status update(const tool &tool)
{
    image image;
    exit_status status = STATUS_DONE;
    if (check_address(tool, &status)) {
        status = open_image(tool, &image);
    }
    if (status == STATUS_DONE) {
        status = confirm(tool, disturbance(tool));
    }
    if (status != STATUS_DONE) {
        return status;
    }
    const json before = versions_now(tool);
    answer answer = ask_watched(tool, image.request, image.file);
    if (answer.error.is_null()) {
        answer = ask_activate(tool);
    }
    return answer.error.is_null() ? output_versions(tool, before) : fail(answer.error, tool.options.as_json);
}

void add_image(CLI::App &app, command_options &options)
{
    app.add_option("KIND", options.image_kind, "hespera_golden, hespera, sirane, or a number")->required();
    app.add_option("FILE", options.file, "the image; FILE.md5 has its digest")->required();
}

void add_device(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "board, or sirane/0, ...")->required();
}

void add_device_and_image(CLI::App &app, command_options &options)
{
    add_device(app, options);
    add_image(app, options);
}

} // namespace

const subcommand FIRMWARE_SHOW = {"firmware show", "Shows which versions run, and which were downloaded.",
                                  add_nothing, show};
const subcommand FIRMWARE_DOWNLOAD = {"firmware download", "Copies an image to the card.", add_image,
                                      download};
const subcommand FIRMWARE_ACTIVATE = {
    "firmware activate", "Programs the downloaded image into a device and starts it.", add_device, activate};
const subcommand FIRMWARE_UPDATE = {"firmware update", "Downloads an image and activates it.",
                                    add_device_and_image, update};
