/* Reading a ring's file, which another process may be writing, or have forged.
 *
 * The file is read with pread and never mapped: a file that is cut short under a mapping would kill the
 * reader. Nothing in it is believed before it is checked.
 */
#ifndef PLATFORM_TRACE_RING_FILE_H
#define PLATFORM_TRACE_RING_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/trace/trace_ring_layout.h"

// A word of 1 to 31 letters, digits, '_' and '-'.
bool trace_ring_name_is_plain(const char *name);

struct trace_ring_file {
    int fd = -1;
    trace_ring_header header{}; // as it stood when it was last read; its texts are ended and printable
};

// Opens a plain file, no link. Returns 0, the error of a system call, or EINVAL when it is no ring file.
int trace_ring_file_open(const std::string &path, trace_ring_file *out);

// The same for an open descriptor, which stays the caller's.
int trace_ring_file_read_header(int fd, trace_ring_header *out);

void trace_ring_file_close(trace_ring_file *file);

// True when the process that made the ring is there: it, or a child of it, holds the file's lock.
bool trace_ring_file_owner_lives(int fd);

struct trace_ring_mark {
    uint64_t ticket;
    uint64_t time_ns;
    uint32_t place; // index of the entry
};

// All complete entries, by ticket. Returns 0 or the error of a read.
int trace_ring_file_marks(const trace_ring_file &file, std::vector<trace_ring_mark> *out);

struct trace_ring_line {
    trace_ring_entry entry;
    std::string function; // of printable characters, others as \xNN
    std::string message;  // the same, the tag's arguments with a blank between
};

enum class trace_ring_reading {
    complete,
    pending, // not written yet, or being written
    lost,    // overwritten by a later one, or no longer there
};

// The entry of that ticket at that place.
trace_ring_reading trace_ring_file_read(const trace_ring_file &file, uint64_t ticket, uint32_t place,
                                        trace_ring_line *out);

#endif
