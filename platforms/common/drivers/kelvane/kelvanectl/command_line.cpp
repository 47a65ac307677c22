#include "kelvanectl/command_line.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "control/open_rpc.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr double TIMEOUT_SECONDS_MAX = 3600;

constexpr const char *EXAMPLES = R"(
Examples:
  kelvanectl list                                   all devices at a glance
  kelvanectl get module/0 laser                     kelvanectl set module/0 laser on
  kelvanectl set module/0 laser_channel 193500 tx   values in the order of `methods`
  kelvanectl --json pm module/0 | jq .xpm2_port_pm  one line of JSON for scripts
  kelvanectl alarms && kelvanectl watch             what is raised, and what happens
  kelvanectl firmware update sirane/0 sirane sirane.bin
  kelvanectl batch settings.txt                     lines as on this command line
  kelvanectl support card.tar.gz                    for an engineer far away

Devices: board, sirane/0 to sirane/2, module/0 to module/5, host/0.0 to host/2.3, or a number: 0xff01ffff.

Exit status: 0 done; 1 the card or library refused; 2 wrong usage; 3 no card, service or right to it, or still
linking; 4 a time-out; 5 done in part (batch --keep-going); 130 Ctrl-C.)";

struct group {
    const char *name;
    const char *sentence;
};

constexpr group GROUPS[] = {
    {"register", "Reads or writes a register of a device."},
    {"firmware", "Versions of the firmware, and new ones."},
    {"recording", "What crossed the link to the card, from a file."},
};

CLI::App *below(CLI::App &app, const std::string &name)
{
    const auto found = app.get_subcommands([&](CLI::App *it) { return it->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

CLI::App &group_of(CLI::App &app, const std::string &name)
{
    CLI::App *app_of_group = below(app, name);
    if (app_of_group == nullptr) {
        const auto found = std::ranges::find_if(GROUPS, [&](const group &it) { return name == it.name; });
        app_of_group = app.add_subcommand(name, found->sentence)->require_subcommand(1);
        app_of_group->group("Subcommands");
    }
    return *app_of_group;
}

void add_common(CLI::App &app, command_options &options)
{
    app.add_flag("--json", options.as_json, "the result, or the error, as one line of JSON");
    app.add_flag("--direct", options.direct, "take the card for this one command, without the service");
    app.add_option(
           "--record", options.record_path,
           "with --direct: record all that crosses the link in this file; the one before becomes FILE.1")
        ->type_name("FILE");
    app.add_flag("-y,--yes", options.yes, "go on with what disturbs traffic");
    app.add_option("--timeout", options.timeout_seconds, "wait no longer for each operation")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, TIMEOUT_SECONDS_MAX).description(""));
    app.add_option("--socket", options.socket_path, "where the service listens")->type_name("PATH");
    app.add_option("--host-kind", options.kind, "with --direct: what the host ports carry, ethernet or otn")
        ->type_name("KIND")
        ->transform(
            CLI::CheckedTransformer(
                std::map<std::string, host_kind>{{"ethernet", host_kind::ethernet}, {"otn", host_kind::otn}},
                CLI::ignore_case)
                .description(""))
        ->option_text("KIND");
}

// What does not depend on the subcommand.
std::string problem_of(const subcommand &what, const command_options &options)
{
    if (options.direct && what.needs_service) {
        return std::string(what.name) + " needs the service, not --direct";
    }
    if (options.direct && options.timeout_seconds > 0) {
        return "--timeout is the service's; with --direct an operation lasts as long as the library waits";
    }
    if (!options.direct && !options.record_path.empty()) {
        return "--record goes with --direct; the service has an option of that name itself";
    }
    return options.direct && !options.socket_path.empty() ? "--direct uses no --socket" : "";
}

} // namespace

CLI::App *subcommand_of(CLI::App &app, const std::string &name)
{
    const size_t space = name.find(' ');
    CLI::App *const first = below(app, name.substr(0, space));
    return space == name.npos ? first : below(*first, name.substr(space + 1));
}

std::unique_ptr<CLI::App> command_line_of(command_options &options)
{
    auto app = std::make_unique<CLI::App>("Shows and sets what a coherent line card does.", "kelvanectl");
    app->require_subcommand(1)->fallthrough()->footer(EXAMPLES);
    app->get_formatter()->column_width(28);
    app->set_version_flag("--version", library_version(), "its version, which is the library's");
    add_common(*app, options);
    for (const subcommand *const it : all_subcommands()) {
        const std::string name = it->name;
        const size_t space = name.find(' ');
        CLI::App &parent = space == name.npos ? *app : group_of(*app, name.substr(0, space));
        CLI::App *const added =
            parent.add_subcommand(space == name.npos ? name : name.substr(space + 1), it->sentence);
        added->group(it->is_hidden ? "" : "Subcommands")->footer("");
        it->add_options(*added, options);
    }
    return app;
}

parsed_line parse_line(std::vector<std::string> words, command_options &options)
{
    const std::unique_ptr<CLI::App> app = command_line_of(options);
    std::ranges::reverse(words); // as CLI11 takes them
    try {
        app->parse(words);
    } catch (const CLI::Success &help) {
        app->exit(help);
        fflush(stdout);
        return {};
    } catch (const CLI::ParseError &wrong) {
        return {nullptr, fail_usage(std::string(wrong.what()) + "; --help tells more", options.as_json)};
    }
    for (const subcommand *const it : all_subcommands()) {
        if (subcommand_of(*app, it->name)->parsed()) {
            const std::string problem = problem_of(*it, options);
            return problem.empty() ? parsed_line{it}
                                   : parsed_line{nullptr, fail_usage(problem, options.as_json)};
        }
    }
    return {nullptr, STATUS_USAGE};
}
