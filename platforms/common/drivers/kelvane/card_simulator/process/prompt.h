// The operator's verbs from standard input and from a file.
#ifndef CARD_SIMULATOR_PROCESS_PROMPT_H
#define CARD_SIMULATOR_PROCESS_PROMPT_H

#include <string>

#include "card_simulator/process/event_loop.h"
#include "card_simulator/process/uio_server.h"

struct prompt {
    uio_server *server = nullptr;
    event_loop *loop = nullptr;
    bool terminal = false;
    bool ended = false; // the operator closed the terminal's input
    bool too_long = false;
    std::string line; // as far as it has come
};

// Reads standard input as it comes. A terminal gets a prompt, and the end of its input ends the card;
// otherwise the card goes on without input.
void prompt_start(prompt &prompt, uio_server &server, event_loop &loop);

// Runs the file's lines. Returns false with the line's number and the reason at the first one refused.
bool prompt_run_script(uio_server &server, const std::string &path, std::string *problem);

#endif
