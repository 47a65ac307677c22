/* The root of the host's file tree.
 *
 * Normally the root is "/" and every path means what it says. When the environment variable
 * KELVANE_HOST_ROOT names a folder, the files of the host that belong to the card (sys/class/uio,
 * dev/uio<N>, root/...) are looked up below that folder instead, which is how a simulated card is
 * reached and how nobody needs to be root to try it. The variable is ignored in a set-id process.
 */
#ifndef PLATFORM_HOST_TREE_H
#define PLATFORM_HOST_TREE_H

#include <stddef.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define HOST_TREE_VARIABLE "KELVANE_HOST_ROOT"

/* The root without a closing slash, "" for the real one. Asked of the environment once per process;
 * the text lives as long as the process. Any thread. */
const char *host_tree_root(void);

/* Writes `path` (absolute) below the root into `out`. Returns 0, or ENAMETOOLONG with an empty
 * text in `out` when `size` bytes do not hold it. Any thread. */
int host_tree_path(char *out, size_t size, const char *path);

/* fopen below the root, close-on-exec. Returns NULL with errno set when it fails. Any thread. */
FILE *host_tree_fopen(const char *path, const char *mode);

/* Asks the environment again; for tests that change the variable. The text that host_tree_root gave
 * before is no longer valid. Not while other threads use it. */
void host_tree_forget(void);

#ifdef __cplusplus
}
#endif
#endif
