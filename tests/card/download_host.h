// A host that downloads images: it writes digest and image word by word, and waits for the answer in
// virtual time.
#ifndef TESTS_CARD_SIMULATOR_DOWNLOAD_HOST_H
#define TESTS_CARD_SIMULATOR_DOWNLOAD_HOST_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "card/card_host.h"
#include "support/virtual_time.h"

constexpr uint64_t MS = 1000000;

struct image {
    uint32_t bytes;
    const char *digest; // md5sum's, of the bytes that write_image makes
};

constexpr image IMAGE_OF_4 = {4, "6cc307a7ec2e27a14f140a7161c487cf"};
constexpr image IMAGE_OF_1_MIB = {0x100000, "fa96db107ea6798f1aae94572355296a"};
constexpr image LARGEST_IMAGE = {33553403, "2514a3e0714ad103cb196520773b5740"};

// The card is made in virtual time, so that comes first.
struct host_time {
    virtual_time time;
};

struct download_host : host_time, card_host {
    explicit download_host(const card_options &options = {}) : card_host(options)
    {
        link_up();
    }

    void pass(uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(it);
    }

    void write_digest(const std::string &digest)
    {
        for (uint32_t i = 0; i < 8; i++) {
            uint32_t word = 0;
            for (uint32_t letter = 0; letter < 4; letter++) {
                word |= static_cast<uint32_t>(static_cast<unsigned char>(digest.at(4 * i + letter)))
                        << 8 * letter;
            }
            write(0x02000000 + 4 * i, word);
        }
    }

    // Words that differ from each other; the last one padded with zeros.
    void write_image(uint32_t bytes)
    {
        for (uint32_t i = 0; 4 * i < bytes; i++) {
            const uint32_t left = std::min(4u, bytes - 4 * i);
            const uint32_t mask = left == 4 ? 0xFFFFFFFF : (1u << 8 * left) - 1;
            write(0x02000040 + 4 * i, (i * 2654435761u + 0x13579BDF) & mask);
        }
    }

    // Until the answer comes, a second at most: its error word, and the milliseconds that it took.
    uint32_t wait_for_answer(uint64_t *ms = nullptr, uint32_t sirane = 0)
    {
        for (uint64_t passed = 0; passed <= 1000; passed++) {
            const received got = take_answer(sirane);
            if (got.there) {
                if (ms != nullptr) {
                    *ms = passed;
                }
                return got.header[5];
            }
            pass(1 * MS);
        }
        ADD_FAILURE() << "no answer";
        return 0xBAD;
    }

    uint32_t download(uint32_t kind, const image &image, uint64_t *ms = nullptr)
    {
        write_digest(image.digest);
        write_image(image.bytes);
        send(14, {0, kind, image.bytes});
        return wait_for_answer(ms);
    }

    uint32_t activate(uint32_t address, uint64_t *ms = nullptr)
    {
        send(15, {0, address, 7});
        return wait_for_answer(ms);
    }
};

#endif
