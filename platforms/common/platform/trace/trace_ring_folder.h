/* The folder of the ring files: their names, whose they are, and which may go.
 *
 * A file is kelvane_trace.<pid>.<index>.<name>. Its owner holds its lock (flock) as long as it lives, and
 * takes it before the file has a header; a file without one is not a ring, or not yet.
 */
#ifndef PLATFORM_TRACE_RING_FOLDER_H
#define PLATFORM_TRACE_RING_FOLDER_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "platform/trace/trace_ring_layout.h"

#define TRACE_RING_FOLDER_VARIABLE "KELVANE_TRACE_DIR"

// The environment's folder, ignored in a set-id process, otherwise /dev/shm.
std::string trace_ring_folder();

std::string trace_ring_file_name(int32_t pid, uint32_t index, const char *name);

struct trace_ring_listed {
    std::string path;
    int32_t pid = 0;
    uint32_t index = 0;
    bool alive = false;
    trace_ring_header header{};
};

struct trace_ring_listing {
    std::vector<trace_ring_listed> rings; // of the process that started last first, then by index
    uint32_t unreadable = 0;              // files that are not sound, or that the caller may not read
    std::set<uint32_t> others;            // other users who have files there, named as they like
};

// The ring files of one user. Returns 0 or the error of opening or reading the folder.
int trace_ring_list(const std::string &folder, uint32_t user, trace_ring_listing *out);

// Removes the ring files of the dead processes of this user, except those of the one that wrote last, and
// files that were left without a header. Several processes may do so at once.
void trace_ring_remove_dead(const std::string &folder);

// Removes the ring files that the user has of a dead process. Returns 0, ESRCH when there are none, EBUSY
// when it lives, or the error of the first removal that failed.
int trace_ring_remove(const std::string &folder, uint32_t user, int32_t pid);

#endif
