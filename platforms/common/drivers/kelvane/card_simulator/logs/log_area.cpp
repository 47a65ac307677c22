#include "card_simulator/logs/log_area.h"

#include <algorithm>
#include <cstring>

#include "kelvane_bar.h"

namespace {

// Two words in the middle of the firmware's log belong to the host, which writes its version there.
constexpr uint32_t HOST_WORDS_BYTES = 8;

bool is_hosts(uint32_t place)
{
    return place >= SDK_TO_ARM_DATA && place < SDK_TO_ARM_DATA + HOST_WORDS_BYTES;
}

} // namespace

uint32_t log_area_get(const log_area &area, uint32_t offset)
{
    const size_t word = offset / sizeof(uint32_t);
    return word < area.words.size() ? area.words[word] : 0;
}

void log_area_put(log_area &area, bar &bar, uint32_t offset, uint32_t value)
{
    const bool seen = log_area_is_intact(area, bar) && !is_hosts(area.base + offset);
    const size_t word = offset / sizeof(uint32_t);
    if (word >= area.words.size()) {
        area.words.resize(word + 1);
    }
    area.words[word] = value;
    if (seen) {
        bar_write(bar, area.base + offset, value);
    }
}

void log_area_put_text(log_area &area, bar &bar, uint32_t offset, const char *text, uint32_t bytes)
{
    const size_t length = strnlen(text, bytes);
    for (uint32_t done = 0; done < bytes; done += sizeof(uint32_t)) {
        uint32_t word = 0;
        if (done < length) {
            std::memcpy(&word, text + done, std::min(sizeof word, length - done));
        }
        log_area_put(area, bar, offset + done, word);
    }
}

void log_area_clear(log_area &area)
{
    area.words.clear();
}

bool log_area_is_intact(const log_area &area, const bar &bar)
{
    for (uint32_t offset = 0; offset < area.head_bytes; offset += sizeof(uint32_t)) {
        if (bar_read(bar, area.base + offset) != log_area_get(area, offset)) {
            return false;
        }
    }
    return true;
}

void log_area_restore(const log_area &area, bar &bar)
{
    for (uint32_t offset = 0; offset < area.bytes; offset += sizeof(uint32_t)) {
        const uint32_t place = area.base + offset;
        const uint32_t value = log_area_get(area, offset);
        if (!is_hosts(place) && bar_read(bar, place) != value) {
            bar_write(bar, place, value);
        }
    }
}
