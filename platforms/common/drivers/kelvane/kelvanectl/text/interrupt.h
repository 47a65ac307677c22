// How Ctrl-C and SIGTERM end the tool: at once, with the status that a shell expects, and nothing left
// behind.
#ifndef KELVANECTL_TEXT_INTERRUPT_H
#define KELVANECTL_TEXT_INTERRUPT_H

void interrupt_prepare();

// A whole line for standard error, static text; null for none.
void interrupt_say(const char *line);

// A file to remove, whose name stays; null for none.
void interrupt_remove(const char *path);

#endif
