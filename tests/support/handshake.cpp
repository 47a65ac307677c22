#include "support/handshake.h"

#include <algorithm>
#include <utility>

#include "core/transaction_id.h"

void offer_message(std::vector<uint32_t> message, const std::vector<uint32_t> &data, uint32_t base)
{
    message.insert(message.end(), data.begin(), data.end());
    for (size_t i = 0; i < message.size(); i++) {
        the_bar.word[static_cast<uint32_t>(base + 0x100 + 4 * i)] = message[i];
    }
    the_bar.word[base + 4] = 4;
}

void answering_firmware::next_reference(uint32_t reference)
{
    kelvane_transaction_counter.next = reference;
}

void answering_firmware::install()
{
    for (const uint32_t state : {0x01C00004, 0x01C02004, 0x01C04004, 0x01C08004, 0x01D00004, 0x01D02004,
                                 0x01D04004, 0x01D08004, 0x01E00004, 0x01E02004, 0x01E04004, 0x01E08004}) {
        the_bar.word[state] = 2;
    }
    the_bar.on_write = [this](uint32_t offset, uint32_t value) { on_write(offset, value); };
}

void answering_firmware::offer_answer()
{
    std::vector<uint32_t> header = request_header;
    const std::vector<uint32_t> &words = data.empty() ? request_data : data;
    header[2] = static_cast<uint32_t>(words.size());
    header[5] = rc;
    if (spoil) {
        spoil(header);
    }
    offer_message(header, words);
}

void answering_firmware::on_write(uint32_t offset, uint32_t value)
{
    const auto read = [](uint32_t at, uint32_t count) {
        std::vector<uint32_t> words;
        for (uint32_t i = 0; i < count; i++) {
            words.push_back(the_bar.word[at + 4 * i]);
        }
        return words;
    };
    if (offset == COMMAND_H && value == 4) {
        request_header = read(COMMAND_AREA, 6);
        request_data = read(COMMAND_AREA + 24, std::min(request_header[2], 2048u));
        the_bar.word[COMMAND_F] = refuse ? 16 : 4;
        taken_ = true;
    } else if (offset == COMMAND_H && value == 2 && std::exchange(taken_, false)) {
        if (std::exchange(the_bar.word[COMMAND_F], 2) == 4 && answer) {
            offer_answer();
        }
    } else if ((offset == RESPONSE_H || offset == ALARM_H || offset == PERFORMANCE_H) &&
               (value == 4 || value == 16)) {
        the_bar.word[offset + 4] = 2;
    }
}
