#include "support/handshake.h"

#include "core/transaction_id.h"

void offer_message(const std::vector<uint32_t> &header, const std::vector<uint32_t> &data, uint32_t base)
{
    uint32_t offset = base + 0x100;
    for (const uint32_t word : header) {
        the_bar.word[offset] = word;
        offset += 4;
    }
    for (const uint32_t word : data) {
        the_bar.word[offset] = word;
        offset += 4;
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
    std::vector<uint32_t> words = data.empty() ? request_data : data;
    header[2] = static_cast<uint32_t>(words.size());
    header[5] = rc;
    if (spoil) {
        spoil(header);
    }
    offer_message(header, words);
}

void answering_firmware::on_write(uint32_t offset, uint32_t value)
{
    if (offset == COMMAND_H && value == 4) {
        request_header.clear();
        request_data.clear();
        for (uint32_t i = 0; i < 6; i++) {
            request_header.push_back(the_bar.word[COMMAND_AREA + 4 * i]);
        }
        for (uint32_t i = 0; i < request_header[2] && i < 2048; i++) {
            request_data.push_back(the_bar.word[COMMAND_AREA + 24 + 4 * i]);
        }
        the_bar.word[COMMAND_F] = refuse ? 16 : 4;
        taken_ = true;
    } else if (offset == COMMAND_H && value == 2 && taken_) {
        taken_ = false;
        const bool accepted = the_bar.word[COMMAND_F] == 4;
        the_bar.word[COMMAND_F] = 2;
        if (accepted && answer) {
            offer_answer();
        }
    } else if ((offset == RESPONSE_H || offset == ALARM_H || offset == PERFORMANCE_H) &&
               (value == 4 || value == 16)) {
        the_bar.word[offset + 4] = 2;
    }
}
