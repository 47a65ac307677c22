#include "firmware_card.h"

#include <algorithm>
#include <iterator>

#include "card/info_tables.h"
#include "kelvane_bar.h"

firmware_card the_card;

namespace {

constexpr uint32_t ACCESS_LIMIT = 6000; // more than twice the polls of the one short wait
constexpr int32_t ACCESS_FAILS = 5;

constexpr uint32_t VERSIONS[] = {0x00050016, 0, 0x00050015, 0x0005000A, 0x00050009, 0x00020006, 0xFFFFFFFF};
constexpr uint32_t STATES[] = {0, 1, 2, 4, 8, 16, 1024, 2048, 6, 20, 0xFFFFFFFF, 2, 4, 2, 4};

enum place { STATE_OF_FIRMWARE, STATE_OF_HOST, MESSAGE, ELSEWHERE };

struct spot {
    place what = ELSEWHERE;
    card_mailbox *mailbox = nullptr;
    uint32_t mbox = MBOX_NONE;
    uint32_t sirane_id = 0;
    uint32_t word = 0; // of the message, header included
};

spot find(uint32_t offset)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (uint32_t mbox = 0; mbox < MBOX_COUNT; mbox++) {
            const mbox_registers registers = mbox_registers_of(sirane_id, mbox);
            const uint32_t word = (offset - registers.mailbox_addr) / 4;
            const bool in_message = registers.mailbox_addr != 0 && offset >= registers.mailbox_addr &&
                                    word < MBOX_HEADER_WORDS + MBOX_DATA_WORDS;
            if (in_message || offset == registers.waiting_reg || offset == registers.resp_reg_to_write) {
                const place what = in_message                        ? MESSAGE
                                   : offset == registers.waiting_reg ? STATE_OF_FIRMWARE
                                                                     : STATE_OF_HOST;
                return {what, &the_card.mailbox[sirane_id][mbox], mbox, sirane_id, word};
            }
        }
    }
    return {};
}

uint32_t odd_or(uint32_t right)
{
    const uint8_t byte = the_card.input->byte();
    if (byte < 0x80) {
        return right;
    }
    return byte == 0xFF ? the_card.input->word() : STATES[byte % std::size(STATES)];
}

uint32_t message_word(card_mailbox &mailbox, uint32_t word)
{
    if (word == 0) {
        const uint8_t byte = the_card.input->byte();
        mailbox.wrong_header_words = byte < 0x80 ? 0 : byte & 0x3F;
    }
    if (word < MBOX_HEADER_WORDS) {
        const bool wrong = (mailbox.wrong_header_words >> word & 1) != 0;
        const uint32_t value = wrong ? the_card.input->word() : mailbox.header[word];
        if (word == 5) {
            the_card.shown_results.push_back(value);
        }
        return value;
    }
    const uint32_t index = word - MBOX_HEADER_WORDS;
    if (index == 0) {
        mailbox.data_kind = the_card.input->byte() % 5;
    }
    switch (mailbox.data_kind) {
    case 1:
        return 0xFFFFFFFF;
    case 2:
        return the_card.input->word();
    case 3:
        return index * 0x9E3779B1;
    case 4:
        return 0x41414141; // text without an end
    default:
        return index < std::size(mailbox.data) ? mailbox.data[index] : 0;
    }
}

uint32_t table_word(uint32_t offset)
{
    const uint32_t zynq_word = (offset - ZYNQ_INFO_TABLE) / 4;
    if (zynq_word == ZYNQ_RUNNING_BUNDLE_VERSION) {
        return the_card.firmware_version;
    }
    switch (the_card.table_kind) {
    case 1:
        return 0xFFFFFFFF;
    case 2:
        return the_card.input->word();
    case 3:
        return DDR_UPSET_UNCORRECTABLE;
    default:
        return 1;
    }
}

uint32_t word_elsewhere(uint32_t offset)
{
    if (offset == MSI_STATUS_REG) {
        const uint8_t byte = the_card.input->byte();
        return byte < 0x80 ? 0 : byte == 0xFF ? 0xFFFFFFFF : byte & 0x0F;
    }
    if (offset >= msi_source_reg(0) && offset <= msi_source_reg(2)) {
        const uint8_t byte = the_card.input->byte();
        return byte == 0xFF ? the_card.input->word() : byte % 8 + MSI_SOURCE_COMMAND;
    }
    if (offset >= ZYNQ_INFO_TABLE && offset < DDR_INFO_TABLE + 4 * DDR_INFO_WORDS) {
        return table_word(offset);
    }
    const auto written = the_card.other_words.find(offset);
    return written == the_card.other_words.end() ? 0 : written->second;
}

int32_t count_access(void)
{
    the_card.accesses++;
    return the_card.accesses > ACCESS_LIMIT || the_card.accesses == the_card.failing_access ? ACCESS_FAILS
                                                                                            : 0;
}

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    if (count_access() != 0) {
        return ACCESS_FAILS;
    }
    if (the_card.removed) {
        *value = PCI_ALL_ONES;
        return 0;
    }
    const spot at = find(offset);
    switch (at.what) {
    case STATE_OF_FIRMWARE:
        *value = odd_or(at.mailbox->state);
        break;
    case STATE_OF_HOST:
        *value = at.mailbox->host_state;
        break;
    case MESSAGE:
        // What the host itself wrote is read back as it is, until it is answered.
        *value = at.mbox == MBOX_DAP && at.mailbox->state != MBOX_STATE_DONE
                     ? the_card.other_words[offset]
                     : message_word(*at.mailbox, at.word);
        break;
    case ELSEWHERE:
        *value = word_elsewhere(offset);
        break;
    }
    return 0;
}

// The command that was just closed is answered with an echo, but for those whose answers come elsewhere.
void answer(uint32_t sirane_id)
{
    const card_mailbox &command = the_card.mailbox[sirane_id][MBOX_COMMAND];
    const uint32_t cmd = command.header[0];
    if (cmd == 24 || cmd == 35 || cmd == 36) {
        return;
    }
    card_mailbox &response = the_card.mailbox[sirane_id][MBOX_RESPONSE];
    std::copy(std::begin(command.header), std::end(command.header), response.header);
    std::copy(std::begin(command.data), std::end(command.data), response.data);
    response.state = MBOX_STATE_READY;
}

void follow_host(const spot &at, uint32_t value)
{
    card_mailbox &mailbox = *at.mailbox;
    const uint32_t before = mailbox.state;
    mailbox.host_state = value;
    if (at.mbox == MBOX_KEEP_ALIVE) {
        mailbox.state = value;
    } else if (at.mbox == MBOX_DAP) {
        mailbox.state = value == MBOX_STATE_READY ? static_cast<uint32_t>(MBOX_STATE_DONE) : value;
    } else if (at.mbox == MBOX_COMMAND) {
        mailbox.state = value == MBOX_STATE_READY ? static_cast<uint32_t>(MBOX_STATE_READY) : MBOX_STATE_IDLE;
        if (value == MBOX_STATE_IDLE && before == MBOX_STATE_READY) {
            answer(at.sirane_id);
        }
    } else if (value != MBOX_STATE_IDLE) {
        mailbox.state = MBOX_STATE_IDLE;
    }
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    if (count_access() != 0) {
        return ACCESS_FAILS;
    }
    const spot at = find(offset);
    if (at.what == STATE_OF_HOST) {
        follow_host(at, value);
    } else if (at.what == MESSAGE && at.word < MBOX_HEADER_WORDS) {
        at.mailbox->header[at.word] = value;
    } else if (at.what == MESSAGE && at.word - MBOX_HEADER_WORDS < std::size(at.mailbox->data)) {
        at.mailbox->data[at.word - MBOX_HEADER_WORDS] = value;
    }
    if (!the_card.forgets_writes && (at.what == ELSEWHERE || at.mbox == MBOX_DAP)) {
        the_card.other_words[offset] = value;
    }
    return 0;
}

int32_t plugged(kelvane_handle handle, kelvane_device_address device_address, uint32_t)
{
    const uint8_t byte = the_card.input->byte();
    if ((byte & 0x80) != 0) { // a command from a callback of the answer mailbox fails and harms nothing
        uint32_t value = 0;
        kelvane_read_register(handle, device_address, 0x9010, &value);
    }
    return (byte & 0x40) != 0 ? KELVANE_RET_CODE_EBUSY : KELVANE_EOK;
}

} // namespace

void card_start(fuzz_input *input)
{
    the_card = {};
    the_card.input = input;
    for (auto &sirane : the_card.mailbox) {
        for (card_mailbox &mailbox : sirane) {
            mailbox.state = MBOX_STATE_IDLE;
        }
    }
    const uint8_t version = input->byte();
    the_card.firmware_version = version == 0xFF ? input->word() : VERSIONS[version % std::size(VERSIONS)];
    the_card.table_kind = input->byte() % 5;
}

void card_offer_message(void)
{
    constexpr uint32_t COMMANDS[] = {37, 41, 24, 35, 0, 2, 14, 54, 66};
    constexpr uint32_t SIZES[] = {3, 0, 31, 55, 111, 463, 1978, 1979, 0xFFFFFFFF};
    fuzz_input &input = *the_card.input;
    const uint8_t where = input.byte();
    const uint32_t sirane_id = where % SIRANE_COUNT;
    card_mailbox &mailbox = the_card.mailbox[sirane_id][where / 16 % MBOX_THREAD_COUNT];
    const uint8_t slot = input.byte();
    // References are drawn from a counter: that of the last command fits the newest request.
    mailbox.header[0] = COMMANDS[input.byte() % std::size(COMMANDS)];
    mailbox.header[1] = the_card.mailbox[sirane_id][MBOX_COMMAND].header[1];
    mailbox.header[2] = SIZES[input.byte() % std::size(SIZES)];
    mailbox.header[3] = input.byte() % 3;
    mailbox.header[4] = slot == 0xFF ? MBOX_SYNC_WORD : slot;
    mailbox.header[5] = 0;
    mailbox.state = MBOX_STATE_READY;
}

kelvane_init_device_t card_device(void)
{
    kelvane_init_device_t device{};
    device.notify_plugin_cb = plugged;
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    device.app_zynq_restart_notify_cb = [](kelvane_handle, uint32_t) {
        return (the_card.input->byte() & 0x80) != 0 ? static_cast<int32_t>(KELVANE_RET_CODE_EBUSY)
                                                    : static_cast<int32_t>(KELVANE_EOK);
    };
    device.generic_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    return device;
}
