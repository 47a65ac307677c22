/* The root of the host's file tree.
 *
 * Normally the root is "/" and every path means what it says. When the environment variable
 * KELVANE_HOST_ROOT names a folder, the files of the host that belong to the card (sys/class/uio,
 * dev/uio<N>, root/...) are looked up below that folder instead, which is how a simulated card is
 * reached and how nobody needs to be root to try it. That folder has to be the user's own. The variable is
 * ignored in a set-id process.
 */
#ifndef PLATFORM_HOST_TREE_H
#define PLATFORM_HOST_TREE_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define HOST_TREE_VARIABLE "KELVANE_HOST_ROOT"

/* The root without a closing slash, "" for the real one. Asked of the environment once per process;
 * the text lives as long as the process. Any thread. */
const char *host_tree_root(void);

/* Opens `path` (absolute) below the root, close-on-exec; what O_CREAT makes is the user's alone (0600), on
 * the real host as the umask has it. Below a made-up root no link is followed, and the root and every folder
 * on the way has to belong to the user, with no right for others to write: otherwise the file is refused with
 * ELOOP or EPERM, and a line on standard error says why. Returns the descriptor, or -1 with errno set. Any
 * thread. */
int host_tree_open(const char *path, int flags);

/* fopen in the same way: "r", "w" or "a", each perhaps with "+". Returns NULL with errno set when it fails.
 * Any thread. */
FILE *host_tree_fopen(const char *path, const char *mode);

/* Asks the environment again; for tests that change the variable. The text that host_tree_root gave
 * before is no longer valid. Not while other threads use it. */
void host_tree_forget(void);

#ifdef __cplusplus
}
#endif
#endif
