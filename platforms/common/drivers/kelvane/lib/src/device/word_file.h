// A host file read as 32-bit words, the first byte in the least significant place.
#ifndef DEVICE_WORD_FILE_H
#define DEVICE_WORD_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <endian.h>

constexpr size_t FILE_PIECE_BYTES = 16384;

struct word_file {
    int fd = -1;
    size_t have = 0; // bytes of the piece in memory
    size_t next = 0; // the first of them that has not been read
    uint8_t piece[FILE_PIECE_BYTES];
};

// Does not wait for the other end of a pipe. Returns 0 or errno.
int word_file_open(word_file &file, const char *name);
void word_file_close(word_file &file);

// The position of the end; the file then stands at its start. Returns 0 or errno.
int word_file_size(word_file &file, uint64_t *bytes);

// The slow path of word_file_read: bytes that are not all in memory yet, or not four of them.
size_t word_file_read_bytes(word_file &file, size_t wanted, uint32_t *word);

// Reads `wanted` bytes, at most 4, into a zeroed word. Returns how many there were. The path for a whole word
// in memory is inline: an image has eight million of them.
inline size_t word_file_read(word_file &file, size_t wanted, uint32_t *word)
{
    if (wanted != 4 || file.have - file.next < 4) {
        return word_file_read_bytes(file, wanted, word);
    }
    memcpy(word, &file.piece[file.next], 4);
    *word = le32toh(*word);
    file.next += 4;
    return 4;
}

#endif
