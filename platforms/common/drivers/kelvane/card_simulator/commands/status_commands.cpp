// The control and status registers of a sirane as one record, and the check of a firmware image.
#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/measurements.h"

namespace {

constexpr uint32_t MEASURED = 0; // no register's number

// The record, word by word: the register that stands there, or one of the four oscillators' voltages.
constexpr uint32_t STATUS_WORDS[] = {
    0xB00C, 0xB00D,   0xB00E,   0xB00F,   0xB016,   0xB02F, 0xB050, 0xB010, 0x9010, 0x9018,
    0x9020, 0x9030,   0x9031,   0x9040,   0x9041,   0x9200, 0x9201, 0x9202, 0x9203, 0x9100,
    0x9101, 0x9110,   0x9111,   0x9118,   0x9119,   0x9120, 0x9121, 0x9128, 0x9129, 0x9130,
    0x9131, MEASURED, MEASURED, MEASURED, MEASURED, 0xB01D, 0xB024,
};

constexpr uint32_t IMAGE_VERIFIED = 1;
constexpr size_t IMAGE_WORD = 1; // 1 the working image, 2 the golden one
constexpr uint32_t IMAGES = 2;

int32_t get_subsystem_status(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    if (result != 0) {
        return result;
    }
    uint32_t oscillator = 0;
    for (size_t i = 0; i < std::size(STATUS_WORDS); i++) {
        uint32_t &word = exchange.words[RECORD_WORD + i];
        if (STATUS_WORDS[i] == MEASURED) {
            const float voltage = measure_oscillator(exchange.state, sirane_id, oscillator++);
            std::memcpy(&word, &voltage, sizeof word);
        } else {
            word = register_value(exchange.state, sirane_device(sirane_id), STATUS_WORDS[i]);
        }
    }
    return 0;
}

int32_t check_image(command_exchange &exchange)
{
    const uint32_t image = exchange.words[IMAGE_WORD];
    exchange.words[VALUE_WORD] = 0;
    if (image == 0 || image > IMAGES) {
        return ORDUNE_RSA_ERROR;
    }
    exchange.words[VALUE_WORD] = IMAGE_VERIFIED;
    return 0;
}

constexpr command_row ROWS[] = {
    {CMD_GET_SUBSYSTEM_STATUS_INFO, 39, 0, get_subsystem_status},
    {CMD_GET_ZYNQ_RSA_CHECK, 3, 0, check_image},
};

} // namespace

constinit const command_family status_commands = ROWS;
