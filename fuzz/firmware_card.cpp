#include "firmware_card.h"

#include <iterator>

firmware_card the_card;

namespace {

constexpr uint32_t ACCESS_LIMIT = 6000; // more than twice the polls of the one short wait
constexpr int32_t ACCESS_FAILS = 5;

constexpr uint32_t VERSIONS[] = {0x00050016, 0, 0x00050015, 0x0005000A, 0x00050009, 0x00020006, 0xFFFFFFFF};
constexpr uint32_t STATES[] = {0, 1, 2, 4, 8, 16, 1024, 2048, 6, 20, 0xFFFFFFFF, 2, 4, 2, 4};

// The host's state registers; the firmware's are the words behind them. Four of each sirane, and two.
constexpr uint32_t COMMAND = 0x01C00000, DAP = 0x01C0C000, KEEP_ALIVE = 0x01C0C008, DAP_AREA = 0x01F08000;
constexpr uint32_t OFFERING[] = {0x01C02000, 0x01C08000, 0x01C04000}; // answers, performance, alarms
constexpr uint32_t SIRANE = 0x00100000;
constexpr uint32_t AREA = 0x100; // of a mailbox's message, behind its registers
constexpr uint32_t HEADER_WORDS = 6, WORDS_MOST = HEADER_WORDS + 1978, WORDS_KEPT = HEADER_WORDS + 64;

constexpr uint32_t CONTROLLER_TABLE = 0x01F04000, BUNDLE_VERSION = 0x01F04004, TABLES_END = 0x01F04F20;
constexpr uint32_t MSI_STATUS = 0x24, MSI_SOURCE = 0x2C;

struct spot {
    enum { FIRMWARE_STATE, HOST_STATE, MESSAGE, ELSEWHERE } what;
    uint32_t base; // the host's state register
    uint32_t word; // of the message, header included
};

spot find(uint32_t offset)
{
    const auto look = [offset](uint32_t base, uint32_t area) -> spot {
        const uint32_t word = (offset - area) / 4;
        return offset == base + 4                                 ? spot{spot::FIRMWARE_STATE, base, 0}
               : offset == base                                   ? spot{spot::HOST_STATE, base, 0}
               : area != 0 && offset >= area && word < WORDS_MOST ? spot{spot::MESSAGE, base, word}
                                                                  : spot{spot::ELSEWHERE, 0, 0};
    };
    for (const spot &it : {look(DAP, DAP_AREA), look(KEEP_ALIVE, 0)}) {
        if (it.what != spot::ELSEWHERE) {
            return it;
        }
    }
    const bool is_sirane = offset >= COMMAND && offset < COMMAND + 3 * SIRANE;
    const uint32_t base = offset & ~0x1FFFu;
    return is_sirane && (base & 0xFFFFF) <= 0x8000 ? look(base, base + AREA) : spot{spot::ELSEWHERE, 0, 0};
}

bool is_command(uint32_t base)
{
    return (base & ~0x00300000u) == (COMMAND & ~0x00300000u) && base >= COMMAND;
}

uint32_t odd_or(uint32_t right)
{
    const uint8_t byte = the_card.input->byte();
    if (byte < 0x80) {
        return right;
    }
    return byte == 0xFF ? the_card.input->word() : STATES[byte % std::size(STATES)];
}

uint32_t message_word(uint32_t offset, uint32_t word)
{
    if (word == 0) {
        const uint8_t byte = the_card.input->byte();
        the_card.wrong_header_words = byte < 0x80 ? 0 : byte & 0x3F;
    }
    if (word < HEADER_WORDS) {
        const bool wrong = (the_card.wrong_header_words >> word & 1) != 0;
        const uint32_t value = wrong ? the_card.input->word() : the_card.word[offset];
        if (word == 5) {
            the_card.shown_results.push_back(value);
        }
        return value;
    }
    if (word == HEADER_WORDS) {
        the_card.data_kind = the_card.input->byte() % 5;
    }
    switch (the_card.data_kind) {
    case 1:
        return 0xFFFFFFFF;
    case 2:
        return the_card.input->word();
    case 3:
        return (word - HEADER_WORDS) * 0x9E3779B1;
    case 4:
        return 0x41414141; // text without an end
    default:
        return word < WORDS_KEPT ? the_card.word[offset] : 0;
    }
}

uint32_t word_elsewhere(uint32_t offset)
{
    if (offset == MSI_STATUS) {
        const uint8_t byte = the_card.input->byte();
        return byte < 0x80 ? 0 : byte == 0xFF ? 0xFFFFFFFF : byte & 0x0F;
    }
    if (offset >= MSI_SOURCE && offset < MSI_SOURCE + 12) {
        const uint8_t byte = the_card.input->byte();
        return byte == 0xFF ? the_card.input->word() : byte % 8 + 16;
    }
    if (offset >= CONTROLLER_TABLE && offset < TABLES_END) {
        const uint32_t kinds[] = {1, 0xFFFFFFFF, 0, 0xBBCC0066, 1};
        return offset == BUNDLE_VERSION   ? the_card.firmware_version
               : the_card.table_kind == 2 ? the_card.input->word()
                                          : kinds[the_card.table_kind];
    }
    return the_card.word[offset];
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
    const spot at = find(offset);
    // What the host itself wrote for the DAP channel is read back as it is, until it is answered.
    const bool own = at.what == spot::HOST_STATE ||
                     (at.base == DAP && at.what == spot::MESSAGE && the_card.word[DAP + 4] != 2048);
    *value = the_card.removed                  ? 0xFFFFFFFF
             : own                             ? the_card.word[offset]
             : at.what == spot::FIRMWARE_STATE ? odd_or(the_card.word[offset])
             : at.what == spot::MESSAGE        ? message_word(offset, at.word)
                                               : word_elsewhere(offset);
    return 0;
}

// The command that was just closed is answered with an echo, but for those whose answers come elsewhere.
void answer(uint32_t base)
{
    const uint32_t command = the_card.word[base + AREA];
    if (command != 24 && command != 35 && command != 36) {
        for (uint32_t at = AREA; at < AREA + 4 * WORDS_KEPT; at += 4) {
            the_card.word[base + 0x2000 + at] = the_card.word[base + at];
        }
        the_card.word[base + 0x2004] = 4;
    }
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    if (count_access() != 0) {
        return ACCESS_FAILS;
    }
    const spot at = find(offset);
    if (at.what == spot::HOST_STATE) {
        uint32_t &state = the_card.word[offset + 4];
        const bool closes = is_command(at.base) && value == 2 && state == 4;
        if (at.base == KEEP_ALIVE || at.base == DAP) {
            state = at.base == DAP && value == 4 ? 2048 : value;
        } else if (is_command(at.base)) {
            state = value == 4 ? 4 : 2;
        } else if (value != 2) {
            state = 2;
        }
        if (closes) {
            answer(at.base);
        }
    }
    if (at.what != spot::FIRMWARE_STATE &&
        !(the_card.forgets_writes && (at.what == spot::ELSEWHERE || at.base == DAP))) {
        the_card.word[offset] = value;
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
    for (uint32_t sirane = 0; sirane < 3 * SIRANE; sirane += SIRANE) {
        the_card.word[COMMAND + sirane + 4] = 2;
        for (const uint32_t base : OFFERING) {
            the_card.word[base + sirane + 4] = 2;
        }
    }
    the_card.word[DAP + 4] = the_card.word[KEEP_ALIVE + 4] = 2;
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
    const uint32_t sirane = where % 3 * SIRANE;
    const uint32_t base = OFFERING[where / 16 % std::size(OFFERING)] + sirane;
    const uint8_t slot = input.byte();
    const uint32_t command = COMMANDS[input.byte() % std::size(COMMANDS)];
    const uint32_t size = SIZES[input.byte() % std::size(SIZES)];
    const uint32_t version = input.byte() % 3;
    // References are drawn from a counter: that of the last command fits the newest request.
    const uint32_t reference = the_card.word[COMMAND + sirane + AREA + 4];
    uint32_t at = base + AREA;
    for (const uint32_t word :
         {command, reference, size, version, slot == 0xFF ? 0xFF00FF00 : uint32_t{slot}, 0u}) {
        the_card.word[at] = word;
        at += 4;
    }
    the_card.word[base + 4] = 4;
}

kelvane_init_device_t card_device(void)
{
    const auto restarted = [](kelvane_handle, uint32_t) {
        return (the_card.input->byte() & 0x80) != 0 ? static_cast<int32_t>(KELVANE_RET_CODE_EBUSY)
                                                    : static_cast<int32_t>(KELVANE_EOK);
    };
    kelvane_init_device_t device{};
    device.notify_plugin_cb = plugged;
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    device.app_zynq_restart_notify_cb = restarted;
    device.generic_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    return device;
}
