// The file of a recording of a card's accesses: a head, then blocks of entries, to the end of the file. All
// numbers are little-endian. docs/recordings.md describes it for those who write a reader of their own.
#ifndef PLATFORM_RECORDING_LAYOUT_H
#define PLATFORM_RECORDING_LAYOUT_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little);

constexpr char RECORDING_MAGIC[8] = "KELVREC";
constexpr uint32_t RECORDING_VERSION = 1;
constexpr uint32_t RECORDING_BLOCK_MAGIC = 0x4B4C424B; // "KBLK"
constexpr uint32_t RECORDING_BLOCK_ENTRIES_MAX = 4096;

struct recording_head {
    char magic[8];
    uint32_t version;
    uint32_t head_bytes; // where the first block begins; a later version may have more here
    uint64_t began_ns;   // UTC, since 1970
    uint32_t process;
    uint32_t image_from;  // from this offset on, words that are written in a row are counted and digested
    char program[16];     // ends in a 0, cut if need be
    uint32_t reserved[3]; // 0
    uint32_t crc32;       // of what comes before
};
static_assert(sizeof(recording_head) == 64);

struct recording_block {
    uint32_t magic;
    uint32_t entries; // that follow, 1 to RECORDING_BLOCK_ENTRIES_MAX
    uint32_t lost;    // before this block: the disk was too slow for them
    uint32_t crc32;   // of the entries
};
static_assert(sizeof(recording_block) == 16);

enum recording_kind : uint8_t {
    RECORDING_READ = 1,
    RECORDING_WRITE = 2,
    RECORDING_INTERRUPT =
        3,             // value: the device's count of them; with RECORDING_FAILED the error, 0 for an end
    RECORDING_RUN = 4, // words of an image written so far: from offset on, value is how many
    RECORDING_DIGEST =
        5, // of the thread's latest run, which ends with it: the entry begins with 16 bytes of MD5
    RECORDING_THREAD = 6, // a thread's first entry: the entry begins with its name, 16 bytes that end in a 0
    RECORDING_END = 7,    // the recording was ended in order: the last entry
};

enum recording_flag : uint8_t {
    RECORDING_FAILED = 1, // nothing answered: beyond the mapping, or the card is gone
};

struct recording_entry {
    uint32_t time_low_ns; // since the recording began
    uint32_t time_high_ns;
    uint32_t offset; // bytes from the BAR's begin
    uint32_t value;
    uint16_t thread; // counted from 1 in the order of their first access
    uint8_t kind;    // recording_kind
    uint8_t flags;   // recording_flag
};
static_assert(sizeof(recording_entry) == 20);
static_assert(offsetof(recording_entry, thread) == 16);

namespace recording_detail {

constexpr std::array<uint32_t, 256> crc32_table = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; byte++) {
        uint32_t rest = byte;
        for (int bit = 0; bit < 8; bit++) {
            rest = (rest >> 1) ^ ((rest & 1) != 0 ? 0xEDB88320 : 0);
        }
        table[byte] = rest;
    }
    return table;
}();

} // namespace recording_detail

// The CRC-32 of zlib, gzip and Ethernet.
inline uint32_t recording_crc32(const void *data, size_t bytes)
{
    const auto *byte = static_cast<const unsigned char *>(data);
    uint32_t rest = 0xFFFFFFFF;
    for (size_t i = 0; i < bytes; i++) {
        rest = (rest >> 8) ^ recording_detail::crc32_table[(rest ^ byte[i]) & 0xFF];
    }
    return ~rest;
}

#endif
