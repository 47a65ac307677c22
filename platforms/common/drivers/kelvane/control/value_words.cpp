#include "control/value_words.h"

#include <algorithm>
#include <charconv>

#include "kelvane.h"

namespace {

constexpr value_word switch_words[] = {{0, "off"}, {1, "on"}, {0, "false"}, {1, "true"}};

#define TRAFFIC_TYPE(name, word)                                                                             \
    {                                                                                                        \
        KELVANE_TRAFFIC_TYPE_##name, word                                                                    \
    }
constexpr value_word traffic_type_words[] = {
    TRAFFIC_TYPE(OTU_CLIENT_100G_QPSK_FEC15_DIFF, "otu_client_100g_qpsk_fec15_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_100G_QPSK_FEC15_NODIFF, "otu_client_100g_qpsk_fec15_nodiff"),
    TRAFFIC_TYPE(OTU_CLIENT_100G_QPSK_FEC25_DIFF, "otu_client_100g_qpsk_fec25_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_100G_QPSK_FEC25_NODIFF, "otu_client_100g_qpsk_fec25_nodiff"),
    TRAFFIC_TYPE(OTU_CLIENT_200G_16QAM_FEC15_DIFF, "otu_client_200g_16qam_fec15_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_200G_16QAM_FEC15_NODIFF, "otu_client_200g_16qam_fec15_nodiff"),
    TRAFFIC_TYPE(OTU_CLIENT_200G_16QAM_FEC25_DIFF, "otu_client_200g_16qam_fec25_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_200G_16QAM_FEC25_NODIFF, "otu_client_200g_16qam_fec25_nodiff"),
    TRAFFIC_TYPE(OTU_CLIENT_150G_8QAM_FEC15_DIFF, "otu_client_150g_8qam_fec15_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_150G_8QAM_FEC15_NODIFF, "otu_client_150g_8qam_fec15_nodiff"),
    TRAFFIC_TYPE(OTU_CLIENT_150G_8QAM_FEC25_DIFF, "otu_client_150g_8qam_fec25_diff"),
    TRAFFIC_TYPE(OTU_CLIENT_150G_8QAM_FEC25_NODIFF, "otu_client_150g_8qam_fec25_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_100G_QPSK_FEC15_DIFF, "100ge_client_100g_qpsk_fec15_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_100G_QPSK_FEC15_NODIFF, "100ge_client_100g_qpsk_fec15_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_100G_QPSK_FEC25_DIFF, "100ge_client_100g_qpsk_fec25_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_100G_QPSK_FEC25_NODIFF, "100ge_client_100g_qpsk_fec25_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_200G_16QAM_FEC15_DIFF, "100ge_client_200g_16qam_fec15_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_200G_16QAM_FEC15_NODIFF, "100ge_client_200g_16qam_fec15_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_200G_16QAM_FEC25_DIFF, "100ge_client_200g_16qam_fec25_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_200G_16QAM_FEC25_NODIFF, "100ge_client_200g_16qam_fec25_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_150G_8QAM_FEC15_DIFF, "100ge_client_150g_8qam_fec15_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_150G_8QAM_FEC15_NODIFF, "100ge_client_150g_8qam_fec15_nodiff"),
    TRAFFIC_TYPE(100GE_CLIENT_150G_8QAM_FEC25_DIFF, "100ge_client_150g_8qam_fec25_diff"),
    TRAFFIC_TYPE(100GE_CLIENT_150G_8QAM_FEC25_NODIFF, "100ge_client_150g_8qam_fec25_nodiff"),
    TRAFFIC_TYPE(NONE, "none"),
};
#undef TRAFFIC_TYPE

constexpr value_word led_words[] = {
    {KELVANE_LED_GREEN, "green"},
    {KELVANE_LED_YELLOW, "yellow"},
    {KELVANE_LED_RED, "red"},
    {KELVANE_LED_OFF, "off"},
};
constexpr value_word direction_words[] = {{KELVANE_TX, "tx"}, {KELVANE_RX, "rx"}};
constexpr value_word download_device_words[] = {
    {KELVANE_DOWNLOAD_HESPERA_GOLDEN, "hespera_golden"},
    {KELVANE_DOWNLOAD_HESPERA, "hespera"},
    {KELVANE_DOWNLOAD_SIRANE, "sirane"},
};
constexpr value_word run_type_words[] = {{KELVANE_ZYNQ_RUN_WORKING, "working"},
                                         {KELVANE_ZYNQ_RUN_GOLDEN, "golden"}};
constexpr value_word secure_type_words[] = {{KELVANE_SECURED, "secured"}, {KELVANE_UNSECURED, "unsecured"}};
constexpr value_word upset_words[] = {
    {KELVANE_SEU_PL_UNDEF, "undef"}, {KELVANE_SEU_PL_OK, "ok"}, {KELVANE_SEU_PL_UNC, "unc"}};
constexpr value_word verdict_words[] = {
    {KELVANE_COMP_UNDEF, "undef"},
    {KELVANE_COMP_SW_ALIGNED, "aligned"},
    {KELVANE_COMP_SW_WARNING_NOT_ALIGNED, "warning_not_aligned"},
    {KELVANE_COMP_SW_FATAL_NOT_ALIGNED, "fatal_not_aligned"},
};
constexpr value_word diagnostic_words[] = {
    {KELVANE_DIAGNOSTIC_HIGH_POWER, "high_power"},
    {KELVANE_DIAGNOSTIC_LOW_POWER, "low_power"},
    {KELVANE_DIAGNOSTIC_LASER_TIMEOUT, "laser_timeout"},
};
constexpr value_word module_type_words[] = {{KELVANE_XPM2_TYPE_ELECTRICAL, "electrical"},
                                            {KELVANE_XPM2_TYPE_OPTICAL, "optical"}};
constexpr value_word keep_alive_words[] = {
    {KELVANE_UNDEF, "undef"}, {KELVANE_ALIVE, "alive"}, {KELVANE_NOT_ALIVE, "not_alive"}};

constexpr value_word restart_words[] = {
    {KELVANE_APP_ZYNQ_RESTART_UNDEF, "undef"},         {KELVANE_APP_ZYNQ_RESTART_WARM, "warm"},
    {KELVANE_APP_ZYNQ_RESTART_WARM_FAIL, "warm_fail"}, {KELVANE_APP_ZYNQ_RESTART_COLD, "cold"},
    {KELVANE_APP_ZYNQ_RESTART_WARM_DONE, "warm_done"},
};

// The whole text, or nothing.
template <typename number, typename how> bool number_of_text(std::string_view text, number *value, how base)
{
    number parsed = 0;
    const char *const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, parsed, base);
    if (text.empty() || error != std::errc() || at != end) {
        return false;
    }
    *value = parsed;
    return true;
}

} // namespace

const value_words SWITCH = switch_words;
const value_words TRAFFIC_TYPES = traffic_type_words;
const value_words LEDS = led_words;
const value_words DIRECTIONS = direction_words;
const value_words DOWNLOAD_DEVICES = download_device_words;
const value_words RUN_TYPES = run_type_words;
const value_words SECURE_TYPES = secure_type_words;
const value_words UPSETS = upset_words;
const value_words VERDICTS = verdict_words;
const value_words DIAGNOSTICS = diagnostic_words;
const value_words MODULE_TYPES = module_type_words;
const value_words KEEP_ALIVE_STATUSES = keep_alive_words;
const value_words RESTARTS = restart_words;

const char *word_of_value(value_words words, uint32_t value)
{
    const auto found = std::ranges::find(words, value, &value_word::value);
    return found != words.end() ? found->word : nullptr;
}

bool value_of_word(const value_words *words, std::string_view word, int64_t *value)
{
    for (const value_word &it : words != nullptr ? *words : value_words()) {
        if (word == it.word) {
            *value = it.value;
            return true;
        }
    }
    const int base = word.starts_with("0x") ? 16 : 10;
    word.remove_prefix(base == 16 ? 2 : 0);
    return !(base == 16 && word.starts_with("-")) && number_of_text(word, value, base);
}

bool real_of_text(std::string_view text, double *value)
{
    return number_of_text(text, value, std::chars_format::general);
}
