#include "card_simulator/process/options.h"

#include <charconv>
#include <getopt.h>
#include <string_view>

#include "card_simulator/console/arguments.h"

namespace {

constexpr size_t NAME_BYTES_MAX = 63;

enum option_id {
    OPTION_CLIENT_TYPE = 256,
    OPTION_EXIT_WITH_PARENT,
    OPTION_FIRMWARE,
    OPTION_HELP,
    OPTION_HOST,
    OPTION_INTERRUPT_FILE,
    OPTION_LINK,
    OPTION_NAME,
    OPTION_QUIET,
    OPTION_READY_FD,
    OPTION_SCRIPT,
    OPTION_SEED,
    OPTION_SEND,
    OPTION_UIO_DEVICE,
};

constexpr option OPTIONS[] = {
    {"client-type", required_argument, nullptr, OPTION_CLIENT_TYPE},
    {"exit-with-parent", no_argument, nullptr, OPTION_EXIT_WITH_PARENT},
    {"firmware", required_argument, nullptr, OPTION_FIRMWARE},
    {"help", no_argument, nullptr, OPTION_HELP},
    {"host", required_argument, nullptr, OPTION_HOST},
    {"interrupt-file", required_argument, nullptr, OPTION_INTERRUPT_FILE},
    {"link", required_argument, nullptr, OPTION_LINK},
    {"name", required_argument, nullptr, OPTION_NAME},
    {"quiet", no_argument, nullptr, OPTION_QUIET},
    {"ready-fd", required_argument, nullptr, OPTION_READY_FD},
    {"script", required_argument, nullptr, OPTION_SCRIPT},
    {"seed", required_argument, nullptr, OPTION_SEED},
    {"send", no_argument, nullptr, OPTION_SEND},
    {"uio-device", required_argument, nullptr, OPTION_UIO_DEVICE},
    {nullptr, 0, nullptr, 0},
};

template <typename number> bool to_number(std::string_view text, number *out)
{
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *out);
    return error == std::errc{} && stop == end;
}

bool take_version(std::string_view text, card_options *card)
{
    firmware_version version = {};
    const bool is_version = to_version(text, &version);
    card->firmware_major = version.major;
    card->firmware_minor = version.minor;
    return is_version;
}

bool to_client(std::string_view text, host_client *client)
{
    *client = text == "otn" ? host_client::otn : host_client::ethernet;
    return text == "otn" || text == "ethernet";
}

bool is_device_name(std::string_view name)
{
    return !name.empty() && name.size() <= NAME_BYTES_MAX && name.find('\n') == std::string_view::npos;
}

// Takes one option; false when its argument makes no sense.
bool take_option(int id, const char *argument, simulator_options *options)
{
    switch (id) {
    case OPTION_CLIENT_TYPE:
        return to_client(argument, &options->card.client);
    case OPTION_EXIT_WITH_PARENT:
        options->exit_with_parent = true;
        return true;
    case OPTION_FIRMWARE:
        return take_version(argument, &options->card);
    case OPTION_HELP:
        options->help = true;
        return true;
    case OPTION_HOST:
        options->host = argument;
        return !options->host.empty();
    case OPTION_INTERRUPT_FILE:
        options->device.interrupt = argument;
        return !options->device.interrupt.empty();
    case OPTION_LINK:
        options->link = argument;
        return !options->link.empty();
    case OPTION_NAME:
        options->name = argument;
        return is_device_name(options->name);
    case OPTION_QUIET:
        options->quiet = true;
        return true;
    case OPTION_READY_FD:
        return to_number(argument, &options->ready_fd) && options->ready_fd >= 0;
    case OPTION_SCRIPT:
        options->script = argument;
        return true;
    case OPTION_SEED:
        return to_number(argument, &options->card.seed);
    case OPTION_SEND:
        options->send = true;
        return true;
    case OPTION_UIO_DEVICE:
        options->device.memory = argument;
        return !options->device.memory.empty();
    default:
        return false;
    }
}

} // namespace

bool parse_options(int count, char **words, simulator_options *options, std::string *problem)
{
    opterr = 0;
    optind = 1;
    for (;;) {
        const int at = optind;
        const int id = getopt_long(count, words, "+", OPTIONS, nullptr); // the first verb ends the options
        if (id < 0) {
            break;
        }
        if (!take_option(id, optarg, options)) {
            *problem = std::string("bad option ") + words[at] + "; --help tells more";
            return false;
        }
    }
    for (int i = optind; i < count; i++) {
        options->verb += (options->verb.empty() ? "" : " ") + std::string(words[i]);
    }
    if (options->help) {
        return true;
    }
    if (options->send != !options->verb.empty()) {
        *problem = options->send ? "a verb is missing; --help lists them"
                                 : "nothing is expected but options; --help tells more";
        return false;
    }
    if (options->device.memory.empty() != options->device.interrupt.empty()) {
        *problem = "--uio-device and --interrupt-file go together";
        return false;
    }
    if (options->send && options->host.empty()) {
        *problem = "--send needs --host";
        return false;
    }
    return true;
}

std::string options_help()
{
    return "card_simulator [OPTION...]                  run a simulated card\n"
           "card_simulator --send --host DIR VERB...    send a verb to the card that runs on DIR\n"
           "\n"
           "  --host DIR           folder of the host's tree (a new one in $TMPDIR or /tmp)\n"
           "  --link PATH          make PATH a symbolic link to that folder while the card runs\n"
           "  --firmware M.m       version of the card's firmware (5.22)\n"
           "  --client-type TYPE   what the host ports carry, ethernet or otn (ethernet)\n"
           "  --seed N             seed of what the card measures (1)\n"
           "  --name NAME          name of the UIO device (ZYNQFPGA)\n"
           "  --script FILE        verbs to run before the card is ready\n"
           "  --quiet              no prompt, standard input is not read\n"
           "  --ready-fd N         when ready, write the tree's path to descriptor N and close it\n"
           "  --exit-with-parent   end when the process that started the card ends\n"
           "  --uio-device FILE    for test rigs: the BAR is the memory of this UIO device, which the "
           "kernel\n"
           "                       has, and which a host then finds without KELVANE_HOST_ROOT\n"
           "  --interrupt-file FILE  with it: a 1 is written there for each interrupt\n"
           "  --help\n"
           "\n"
           "A host reaches the card with KELVANE_HOST_ROOT=DIR in its environment.\n";
}
