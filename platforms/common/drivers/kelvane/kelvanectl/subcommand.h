// One subcommand of the tool. Help, completion and the man page are made from these rows.
#ifndef KELVANECTL_SUBCOMMAND_H
#define KELVANECTL_SUBCOMMAND_H

#include <span>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "kelvanectl/session/service_session.h"
#include "kelvanectl/text/failure.h"

// What a line says: first what every subcommand takes, then what some of them do.
struct command_options {
    bool direct = false;
    bool as_json = false;
    bool yes = false;
    double timeout_seconds = 0; // 0: as long as the library waits
    std::string socket_path;    // empty: the usual one
    std::string record_path;    // empty: none
    host_kind kind = host_kind::ethernet;

    std::string address;
    std::string what;
    std::vector<std::string> values;
    std::string method;
    std::string parameters = "{}";
    std::string image_kind;
    std::string file;
    std::string folder = ".";
    double from_seconds = 0;
    int reset_kind = 1;
    bool all = false;
    bool keep_going = false;
};

struct tool {
    const command_options &options;
    session &card;
    service_session *service; // the same, null with --direct
};

struct subcommand {
    const char *name; // a second word is that of a subcommand below the first
    const char *sentence;
    void (*add_options)(CLI::App &app, command_options &options);
    exit_status (*run)(const tool &tool);
    bool needs_service = false;
    bool is_hidden = false; // from the help
};

extern const subcommand LIST, SHOW, PM, ALARMS, INVENTORY, CONFIG;
extern const subcommand GET, SET, REGISTER_READ, REGISTER_WRITE;
extern const subcommand INIT, RESET;
extern const subcommand FIRMWARE_SHOW, FIRMWARE_DOWNLOAD, FIRMWARE_ACTIVATE, FIRMWARE_UPDATE;
extern const subcommand RECORDING_SHOW, RECORDING_TIMELINE;
extern const subcommand LOGS, TOP, WATCH, CALL, METHODS, BATCH, SUPPORT, COMPLETION, MANUAL;

// In the order of the help.
std::span<const subcommand *const> all_subcommands();

void add_nothing(CLI::App &app, command_options &options);

// Of a result or an error; no text is printed of a result that is empty.
exit_status output_answer(const answer &answer, bool as_json);

#endif
