// The MD5 of 32-bit words, each as four bytes, the lowest first: what md5sum says of a file of them.
#ifndef PLATFORM_WORD_DIGEST_H
#define PLATFORM_WORD_DIGEST_H

#include <array>
#include <cstdint>

class word_digest {
  public:
    void add(uint32_t word)
    {
        block_[words_++ % 16] = word;
        if (words_ % 16 == 0) {
            mix();
        }
    }

    // Of the words so far; more may follow.
    [[nodiscard]] std::array<uint32_t, 4> finish() const;

  private:
    void mix();

    std::array<uint32_t, 4> state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::array<uint32_t, 16> block_ = {};
    uint64_t words_ = 0;
};

#endif
