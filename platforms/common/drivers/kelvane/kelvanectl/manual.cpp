// The man page, made from the same rows as the help.
#include "control/address.h"
#include "kelvanectl/command_line.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/output.h"
#include "kelvanectl/values.h"

namespace {

constexpr const char *DESCRIPTION = R"(.SH DESCRIPTION
Speaks to
.BR kelvaned ,
the service that owns the card; with
.B \-\-direct
it takes the card itself for one command, which needs that no service runs.
Tables are for people and are the same in a pipe;
.B \-\-json
gives one line of JSON, the result or the error, and in
.B watch
one line an event.)";

constexpr const char *REST = R"(.SH ENVIRONMENT
.TP
.B KELVANE_HOST_ROOT
the folder of a simulated card, below which its service listens, too.
.TP
.B NO_COLOR
no bold text on a terminal either.
.SH FILES
.TP
.I /run/kelvane/kelvaned.sock
where the service listens.)";

// Text that roff takes as it is.
std::string escaped(const std::string &text)
{
    std::string roff = !text.empty() && (text[0] == '.' || text[0] == '\'') ? "\\&" : "";
    for (const char it : text) {
        roff += it == '\\' ? "\\e" : it == '-' ? "\\-" : std::string(1, it);
    }
    return roff;
}

void output_entry(const std::string &head, const std::string &text)
{
    output_line(".TP\n.B " + escaped(head) + "\n" + escaped(text));
}

void output_options(const CLI::App &app)
{
    for (const CLI::Option *const it : app.get_options()) {
        if (!it->get_positional() && it->get_name() != "--help") {
            const std::string value = it->get_expected_min() > 0 ? " " + it->get_type_name() : "";
            output_entry(it->get_name(false, true) + value, it->get_description() + ".");
        }
    }
}

std::string usage_of(const std::string &name, const CLI::App &app)
{
    std::string usage = name;
    for (const CLI::Option *const it : app.get_options()) {
        if (it->get_positional()) {
            const std::string word = it->get_single_name() + (it->get_expected_max() > 1 ? "..." : "");
            usage += it->get_required() ? " " + word : " [" + word + "]";
        }
    }
    return usage;
}

void output_names(const char *head, const std::vector<const operation *> &operations)
{
    output_line(std::string(".SS ") + head);
    for (const operation *const it : operations) {
        std::string name = short_name(it->name);
        for (const parameter &one : it->in) {
            name += std::string(" ") + one.name;
        }
        output_entry(name, it->sentence);
    }
}

exit_status manual(const tool &)
{
    command_options unused;
    const std::unique_ptr<CLI::App> app = command_line_of(unused);
    output_line(".TH KELVANECTL 1\n.SH NAME\nkelvanectl \\- shows and sets what a coherent line card does\n"
                ".SH SYNOPSIS\n.B kelvanectl\n[OPTION...] SUBCOMMAND [OPTION...] [WORD...]");
    output_line(std::string(DESCRIPTION) + "\n.SH OPTIONS\nThey may stand before or behind the subcommand.");
    output_options(*app);
    output_line(".SH SUBCOMMANDS");
    for (const subcommand *const it : all_subcommands()) {
        if (!it->is_hidden) {
            const CLI::App &own = *subcommand_of(*app, it->name);
            output_entry(usage_of(it->name, own), it->sentence);
            output_line(".RS");
            output_options(own);
            output_line(".RE");
        }
    }
    output_line(".SH WHAT\nAn operation of the library without its get_ or set_.");
    output_names("get", gettable(nullptr));
    output_names("set", settable(nullptr));
    output_line(std::string(REST) + "\n.SH NOTES\n.nf\n" + escaped(app->get_footer()) + "\n.fi");
    return STATUS_DONE;
}

} // namespace

const subcommand MANUAL = {"manual", "Prints the man page.", add_nothing, manual, false, true};
