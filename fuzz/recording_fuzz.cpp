// What the tool makes of recordings of any bytes. The first byte of an input says how the others are meant:
// as what stands behind the head of a file, or as accesses near those that a driver makes. Each command that
// was sent is told once, and nothing is told before what began earlier.
#include <algorithm>
#include <cstring>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz.h"
#include "kelvane_bar.h"
#include "kelvanectl/recording/recording_file.h"
#include "kelvanectl/recording/story.h"

namespace {

constexpr uint32_t PLACES[] = {
    0x01C00000, 0x01C00004, 0x01C00100, 0x01C02000, 0x01C02004, 0x01C02100, 0x01C08000, 0x01C08004,
    0x01C08100, 0x01D00000, 0x01D00004, 0x01D00100, 0x01D04000, 0x01D04004, 0x01D04100, 0x01C0C000,
    0x01C0C004, 0x01C0C008, 0x01C0C00C, 0x20,       0x24,       0x2C,       0x30,       0x02000040,
    0x01D02000, 0x01D02004, 0x01D02100, 0x03FFFFFC, 0x04000000, 0x25,
};
constexpr uint32_t TIME_STEP_NS = 50000000;
constexpr uint8_t WIDE = 0x80; // a value of four bytes follows; others stand for themselves

struct told_commands {
    story tells;
    uint64_t sent = 0;
    bool is_gone = false;

    void hear(const recording_entry &entry)
    {
        if ((entry.kind == RECORDING_READ || entry.kind == RECORDING_WRITE) && entry.offset < BAR_BYTES &&
            entry.offset % 4 == 0) {
            is_gone = (entry.flags & RECORDING_FAILED) != 0;
            const bool is_of_command =
                entry.offset == 0x01C00000 || entry.offset == 0x01D00000 || entry.offset == 0x01E00000;
            sent += !is_gone && is_of_command && entry.kind == RECORDING_WRITE && entry.value == 4 ? 1 : 0;
        }
        tells.hear(entry);
    }

    void finish()
    {
        const std::vector<happening> all = tells.finish();
        const auto commands = std::ranges::count(all, happening_kind::command, &happening::kind);
        must(static_cast<uint64_t>(commands) == sent, "a command that is told never, or twice", "story");
        must(std::ranges::is_sorted(all, {}, &happening::time), "times that are mixed", "story");
    }
};

void hear_accesses(fuzz_input &input)
{
    told_commands told;
    uint64_t time = 0;
    while (!input.is_empty()) {
        const uint8_t what = input.byte();
        time += what >> 4 == 15 ? TIME_STEP_NS : 1000;
        const uint32_t place = input.one_of(PLACES);
        const uint32_t offset = place + ((what >> 3 & 1) != 0 ? 4 * input.byte() : 0);
        const uint8_t small = input.byte();
        const uint32_t value = small == WIDE ? input.word() : small;
        const uint8_t kinds[] = {RECORDING_READ,      RECORDING_WRITE, RECORDING_READ,   RECORDING_WRITE,
                                 RECORDING_INTERRUPT, RECORDING_RUN,   RECORDING_DIGEST, RECORDING_THREAD};
        told.hear({static_cast<uint32_t>(time), static_cast<uint32_t>(time >> 32), offset, value, 1,
                   kinds[what & 7], static_cast<uint8_t>(small == WIDE + 1 ? RECORDING_FAILED : 0)});
    }
    told.finish();
}

void read_file(const fuzz_input &input)
{
    recording_head head{};
    memcpy(head.magic, RECORDING_MAGIC, sizeof head.magic);
    head.version = RECORDING_VERSION;
    head.head_bytes = sizeof head;
    head.crc32 = recording_crc32(&head, offsetof(recording_head, crc32));
    const auto size = static_cast<size_t>(input.end - input.next);
    const int fd = memfd_create("recording", MFD_CLOEXEC);
    must(write(fd, &head, sizeof head) == sizeof head &&
             write(fd, input.next, size) == static_cast<ssize_t>(size),
         "no file", "memfd");
    recording_file file;
    must(file.open("/proc/self/fd/" + std::to_string(fd)).empty(), "a good head is refused",
         "recording_file");
    told_commands told;
    uint64_t entries = 0;
    for (recording_entry entry; file.next(&entry); entries++) {
        told.hear(entry);
    }
    must(entries * sizeof(recording_entry) + file.damaged_bytes() <= size, "more than the file has",
         "recording_file");
    told.tells.finish();
    close(fd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input = {data, data + size};
    if (input.byte() % 4 == 3) {
        read_file(input);
    } else {
        hear_accesses(input);
    }
    return 0;
}
