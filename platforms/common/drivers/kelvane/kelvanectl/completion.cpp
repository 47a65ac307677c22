// What a shell completes, made from the tables.
#include <algorithm>

#include "control/address.h"
#include "kelvanectl/command_line.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/output.h"
#include "kelvanectl/values.h"

namespace {

// `words` are those before the cursor, without options, each with a space behind it.
constexpr const char *BEGIN = R"(_kelvanectl_words()
{
    local cur=${COMP_WORDS[COMP_CWORD]} words='' found='' i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --timeout | --socket | --host-kind | --output | -o | --kind) ((i++)) ;;
        -*) ;;
        *) words+="${COMP_WORDS[i]} " ;;
        esac
    done
    if ((i > COMP_CWORD)); then
        case ${COMP_WORDS[COMP_CWORD - 1]} in
        --host-kind) found='ethernet otn' ;;
        --socket | --output | -o) found=FILE ;;
        esac
    elif [[ $cur == -* ]]; then
        case $words in)";

constexpr const char *BETWEEN = R"(        esac
    else
        case $words in)";

constexpr const char *END = R"(        esac
    fi
    if [[ $found == FILE ]]; then
        COMPREPLY=($(compgen -f -- "$cur"))
    else
        COMPREPLY=($(compgen -W "$found" -- "$cur"))
    fi
}
complete -F _kelvanectl_words kelvanectl)";

using names = std::vector<std::string>;

void output_case(const std::string &words, const names &found)
{
    std::string text;
    for (const std::string &it : found) {
        text += (text.empty() ? "" : " ") + it;
    }
    if (!text.empty()) {
        output_line("        " + words + ") found='" + text + "' ;;");
    }
}

// A pattern for the words of `name` and as many of the user's behind them.
std::string pattern(const std::string &name, size_t others)
{
    std::string text = "'" + name + (name.empty() ? "'" : " '");
    for (size_t i = 0; i < others; i++) {
        text += "*' '";
    }
    return text;
}

names names_of(const std::vector<const operation *> &operations)
{
    names found;
    for (const operation *const it : operations) {
        found.push_back(short_name(it->name));
    }
    return found;
}

names names_of(const value_words &words)
{
    names found;
    for (const value_word &it : words) {
        found.emplace_back(it.word);
    }
    return found;
}

// What may stand where the help says `place`.
names choices_of(const subcommand &what, const std::string &place)
{
    if (place == "ADDRESS") {
        names found = all_address_words();
        if (&what == &RESET) {
            found.emplace_back("card");
        }
        return found;
    }
    if (place == "WHAT") {
        return names_of(&what == &SET ? settable(nullptr) : gettable(nullptr));
    }
    if (place == "KIND") {
        return names_of(DOWNLOAD_DEVICES);
    }
    if (place == "SHELL") {
        return {"bash", "zsh"};
    }
    if (place == "METHOD") {
        names found;
        for (const operation &it : all_operations()) {
            found.emplace_back(it.name);
        }
        return found;
    }
    return place == "FILE" ? names{place} : names();
}

// The words of each value that has such.
void output_values(const char *verb, const std::vector<const operation *> &operations)
{
    for (const operation *const it : operations) {
        for (size_t i = it->in.size(); i-- > 0;) {
            const value_words *const words = it->in[i].words;
            const std::string before = "'" + std::string(verb) + " '*' " + short_name(it->name) + " '";
            std::string others;
            for (size_t at = 0; at < i; at++) {
                others += "*' '";
            }
            output_case(before + others, words != nullptr ? names_of(*words) : names());
        }
    }
}

void output_options(CLI::App &app)
{
    const auto options_of = [](const CLI::App &one) {
        names found;
        for (const CLI::Option *const it : one.get_options()) {
            for (const std::string &name : it->get_lnames()) {
                found.push_back("--" + name);
            }
        }
        return found;
    };
    const names common = options_of(app);
    for (const subcommand *const it : all_subcommands()) {
        names found = options_of(*subcommand_of(app, it->name));
        if (it->is_hidden || found.size() == 1) { // --help
            continue;
        }
        std::ranges::copy_if(common, std::back_inserter(found),
                             [](const std::string &name) { return name != "--help"; });
        output_case("'" + std::string(it->name) + " '*", found);
    }
    output_case("*", common);
}

// The longest patterns first.
void output_places(CLI::App &app)
{
    for (const subcommand *const it : all_subcommands()) {
        names places;
        for (const CLI::Option *const option : subcommand_of(app, it->name)->get_options()) {
            if (option->get_positional()) {
                places.push_back(option->get_single_name());
            }
        }
        for (size_t i = places.size(); i-- > 0;) {
            output_case(pattern(it->name, i), choices_of(*it, places[i]));
        }
    }
    const auto names_below = [](const CLI::App &one) {
        names found;
        for (const CLI::App *const it : one.get_subcommands(nullptr)) {
            if (!it->get_group().empty()) {
                found.push_back(it->get_name());
            }
        }
        return found;
    };
    for (const CLI::App *const it : app.get_subcommands(nullptr)) {
        output_case(pattern(it->get_name(), 0), names_below(*it));
    }
    output_case(pattern("", 0), names_below(app));
}

void add_completion(CLI::App &app, command_options &options)
{
    app.add_option("SHELL", options.what, "bash or zsh")->required()->check(CLI::IsMember({"bash", "zsh"}));
}

exit_status completion(const tool &tool)
{
    command_options unused;
    const std::unique_ptr<CLI::App> app = command_line_of(unused);
    if (tool.options.what == "zsh") {
        output_line("#compdef kelvanectl\nautoload -U +X bashcompinit && bashcompinit");
    }
    output_line(BEGIN);
    output_options(*app);
    output_line(BETWEEN);
    output_values("set", settable(nullptr));
    output_values("get", gettable(nullptr));
    output_places(*app);
    output_line(END);
    if (tool.options.what == "zsh") { // which loads it as a function, that is called at the same time
        output_line("[[ ${funcstack[1]-} != _kelvanectl ]] || _bash_complete -F _kelvanectl_words");
    }
    return STATUS_DONE;
}

} // namespace

const subcommand COMPLETION = {"completion", "Prints what a shell needs to complete: `source <(...)`.",
                               add_completion, completion};
