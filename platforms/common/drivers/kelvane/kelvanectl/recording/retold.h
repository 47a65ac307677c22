// A recording read to its end, and the names of what it tells.
#ifndef KELVANECTL_RECORDING_RETOLD_H
#define KELVANECTL_RECORDING_RETOLD_H

#include "kelvanectl/recording/story.h"
#include "kelvanectl/text/failure.h"

struct retold {
    recording_head head;
    std::vector<happening> all; // by their begins
    std::map<uint16_t, std::string> threads;
    uint64_t other_reads;
    uint64_t other_writes;
    uint64_t lost;
    uint64_t damaged_bytes;
    bool has_ended;
};

// Empty, or why it cannot be read.
std::string retell(const std::string &path, retold *out);

// On standard error, what is missing of it. STATUS_FAILED when the file is damaged.
exit_status tell_of_gaps(const retold &story);

double seconds_of(uint64_t time);

// An interrupt as it should be: for a timeline.
bool is_mark(const happening &it);
bool is_of_command(const happening &it);
const char *kind_name(happening_kind kind);
const char *mailbox_name(uint32_t mbox); // empty for none
std::string sirane_name(const happening &it);
std::string what_name(const happening &it); // of its command, or its kind

#endif
