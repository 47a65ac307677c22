// All that an engineer far away needs, in one archive.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>
#include <unistd.h>

#include "control/address.h"
#include "kelvanectl/logs.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/interrupt.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t LOG_BYTES_MAX = 64 << 20;
constexpr size_t PIECE_BYTES = 1 << 16;
constexpr mode_t MODE = 0600;
constexpr const char *FOLDER = "kelvane_support/";

// Under a made-up name until it is whole; without finish() nothing is left of it.
class support_file {
  public:
    explicit support_file(const std::string &path) : path_(path), made_up_(path + ".XXXXXX")
    {
        struct stat there = {};
        const bool is_special = stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode);
        file_ = is_special ? -1 : mkstemp(made_up_.data()); // 0600
        errno = is_special ? EEXIST : errno;                // a device or folder is not to be replaced
        interrupt_remove(file_ >= 0 ? made_up_.c_str() : nullptr);
        const bool is_open = file_ >= 0 && archive_write_add_filter_gzip(archive_) == ARCHIVE_OK &&
                             archive_write_set_format_pax_restricted(archive_) == ARCHIVE_OK &&
                             archive_write_open_fd(archive_, file_) == ARCHIVE_OK;
        problem_ = is_open ? 0 : file_ < 0 ? errno : archive_errno(archive_);
    }
    ~support_file()
    {
        archive_write_free(archive_);
        if (file_ >= 0) {
            close(file_);
            unlink(made_up_.c_str());
        }
        interrupt_remove(nullptr);
    }
    support_file(const support_file &) = delete;
    support_file &operator=(const support_file &) = delete;

    void add(const std::string &name, const std::string &text)
    {
        archive_entry *const entry = archive_entry_new();
        archive_entry_set_pathname(entry, (FOLDER + name).c_str());
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_perm(entry, MODE);
        archive_entry_set_mtime(entry, time(nullptr), 0);
        archive_entry_set_size(entry, static_cast<la_int64_t>(text.size()));
        const bool is_written =
            problem_ == 0 && archive_write_header(archive_, entry) == ARCHIVE_OK &&
            archive_write_data(archive_, text.data(), text.size()) == static_cast<la_ssize_t>(text.size());
        problem_ = is_written || problem_ != 0 ? problem_ : archive_errno(archive_);
        archive_entry_free(entry);
    }

    void add(const std::string &name, const json &value)
    {
        add(name, value.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
    }

    // 0, or errno.
    int finish()
    {
        if (problem_ == 0 && archive_write_close(archive_) != ARCHIVE_OK) {
            problem_ = archive_errno(archive_);
        }
        if (problem_ == 0 && (fsync(file_) != 0 || rename(made_up_.c_str(), path_.c_str()) != 0)) {
            problem_ = errno;
        }
        return problem_;
    }

    int problem() const
    {
        return problem_;
    }

  private:
    std::string path_;
    std::string made_up_;
    archive *archive_ = archive_write_new();
    int file_ = -1;
    int problem_ = 0;
};

struct part {
    const char *file;
    std::vector<reading> readings;
};

std::vector<part> all_parts()
{
    std::vector<part> parts = {
        {"versions.json", {}},
        {"inventory.json", readings_of_inventory("")},
        {"config.json", readings_of_config("")},
        {"alarms.json", {}},
        {"pm.json", readings_of_pm("")},
        {"subsystem_status.json", {}},
        {"memory_errors.json", {{"board", "get_ddr_ecc_counters"}, {"board", "get_seu_pl_uncorrectable"}}}};
    for (const std::string &address : all_address_words()) {
        if (!address.starts_with("host/")) {
            parts[0].readings.push_back({address, "get_software_running"});
            parts[0].readings.push_back({address, "get_software_downloaded"});
        }
        if (address.starts_with("sirane/")) {
            parts[3].readings.push_back({address, "get_global_alarms"});
            parts[5].readings.push_back({address, "get_subsystem_status_info"});
        }
    }
    parts[0].readings.push_back({"board", "software_version_comp_check"});
    return parts;
}

// Empty, with errno set, when it cannot be read.
bool read_all(int file, std::string *text)
{
    std::vector<char> piece(PIECE_BYTES);
    ssize_t got = 0;
    while (text->size() < LOG_BYTES_MAX &&
           (got = pread(file, piece.data(), piece.size(), static_cast<off_t>(text->size()))) > 0) {
        text->append(piece.data(), static_cast<size_t>(got));
    }
    return got >= 0;
}

void add_log(const tool &tool, const card_log &log, support_file *file)
{
    const std::string name = "logs/" + log.file;
    const answer answer = tool.card.ask(log.request.method, log.request.parameters);
    std::string text;
    if (!answer.error.is_null()) {
        file->add(name + ".error.json", answer.error);
    } else if (answer.file < 0 || read_all(answer.file, &text)) {
        file->add(name, text);
    } else {
        file->add(name + ".error.json", json{{"error", "the service's file cannot be read"}});
    }
    if (answer.file >= 0) {
        close(answer.file);
    }
}

// What cannot be read stands there as its error; but without service or card there is nothing to tell.
exit_status collect(const tool &tool, support_file *file)
{
    const answer service = tool.card.ask("service_status", json::object());
    if (tool.service != nullptr && fatal_error({service}) != nullptr) {
        return fail(service.error, tool.options.as_json);
    }
    file->add("service_status.json", service.error.is_null() ? service.result : service.error);
    for (const part &it : all_parts()) {
        const std::vector<answer> answers = tool.card.ask_all(questions_of(it.readings));
        const json error = fatal_error(answers);
        if (tool.service == nullptr && error != nullptr) {
            return fail(error, tool.options.as_json);
        }
        file->add(it.file, records_of(it.readings, answers));
    }
    for (const card_log &it : all_logs()) {
        add_log(tool, it, file);
    }
    return STATUS_DONE;
}

void add_support(CLI::App &app, command_options &options)
{
    app.add_option("FILE", options.file, "the archive to write, .tar.gz")->required();
}

exit_status support(const tool &tool)
{
    support_file file(tool.options.file);
    const exit_status status = file.problem() == 0 ? collect(tool, &file) : STATUS_DONE;
    if (status != STATUS_DONE) {
        return status;
    }
    errno = file.finish();
    return errno == 0 ? STATUS_DONE : fail_file("cannot write " + tool.options.file, tool.options.as_json);
}

} // namespace

const subcommand SUPPORT = {"support", "Writes what an engineer far away needs into an archive.", add_support,
                            support};
