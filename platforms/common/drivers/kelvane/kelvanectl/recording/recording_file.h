// The entries of a recording, in the order of their times. What is damaged or cut off is passed over, and
// counted.
#ifndef KELVANECTL_RECORDING_RECORDING_FILE_H
#define KELVANECTL_RECORDING_RECORDING_FILE_H

#include <cstdio>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "platform/recording_layout.h"

inline uint64_t time_of(const recording_entry &entry)
{
    return uint64_t{entry.time_high_ns} << 32 | entry.time_low_ns;
}

class recording_file {
  public:
    // Empty, or why it is no recording.
    std::string open(const std::string &path);

    // False at the end. Names of threads and digests, which have no time, come right behind what they stand
    // behind.
    bool next(recording_entry *entry);

    [[nodiscard]] const recording_head &head() const
    {
        return head_;
    }
    [[nodiscard]] uint64_t lost() const // entries that the recorder left out, so far
    {
        return lost_;
    }
    [[nodiscard]] uint64_t damaged_bytes() const // so far
    {
        return damaged_bytes_;
    }

  private:
    struct waiting {
        uint64_t time;
        uint64_t place; // in the file
        recording_entry entry;

        bool operator>(const waiting &other) const
        {
            return time != other.time ? time > other.time : place > other.place;
        }
    };

    bool read_block();
    bool read_entries(uint64_t at, uint32_t count, uint32_t crc32);
    void take_in(const recording_entry &entry);
    [[nodiscard]] uint64_t find_magic(uint64_t from) const;
    size_t read_at(uint64_t at, void *out, size_t bytes) const;

    struct closer {
        void operator()(FILE *file) const
        {
            fclose(file);
        }
    };

    std::unique_ptr<FILE, closer> file_;
    recording_head head_ = {};
    uint64_t at_ = 0; // of the next block
    uint64_t lost_ = 0;
    uint64_t damaged_bytes_ = 0;
    uint64_t places_ = 0;
    uint64_t newest_ = 0;
    std::vector<uint64_t> time_of_thread_; // its latest
    std::vector<recording_entry> block_;
    std::priority_queue<waiting, std::vector<waiting>, std::greater<>> queue_;
};

#endif
