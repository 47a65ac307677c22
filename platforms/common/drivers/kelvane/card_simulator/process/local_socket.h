// Unix sockets of whole packets, in a folder that is open. None of these blocks.
#ifndef CARD_SIMULATOR_PROCESS_LOCAL_SOCKET_H
#define CARD_SIMULATOR_PROCESS_LOCAL_SOCKET_H

#include "card_simulator/process/event_loop.h"

// A listening socket, `name` in the folder, for this user alone; nothing may have that name. Or -1 with errno
// set.
int local_socket_listen(int folder, const char *name);

// The next connection, not blocking; or -1. When the process has no descriptor for it, the loop leaves the
// listener alone for a while, and who connects waits in its queue.
int local_socket_accept(event_loop &loop, int listener);

#endif
