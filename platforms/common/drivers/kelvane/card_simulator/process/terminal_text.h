// Text for an operator's terminal. A host, a file or another process may have put anything into it.
#ifndef CARD_SIMULATOR_PROCESS_TERMINAL_TEXT_H
#define CARD_SIMULATOR_PROCESS_TERMINAL_TEXT_H

#include <cstdio>
#include <string>

// Writes the text at once, with \xNN for whatever a terminal would obey, line ends and tabulators excepted.
void print_for_terminal(FILE *stream, const std::string &text);

#endif
