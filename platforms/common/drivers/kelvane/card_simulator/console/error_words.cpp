#include "card_simulator/console/error_words.h"

#include <algorithm>
#include <iterator>

#include "kelvane.h"

namespace {

struct error_word {
    int32_t word;
    std::string_view name;
};

#define ERROR_WORD(name, low_31_bits) {name, #name},
constexpr error_word ERROR_WORDS[] = {KELVANE_ARM_ERRORS(ERROR_WORD, ERROR_WORD)};
#undef ERROR_WORD

} // namespace

bool error_word_of_name(std::string_view name, uint32_t *word)
{
    const auto *row = std::ranges::find(ERROR_WORDS, name, &error_word::name);
    if (row == std::end(ERROR_WORDS)) {
        return false;
    }
    *word = static_cast<uint32_t>(row->word);
    return true;
}

std::string_view name_of_error_word(uint32_t word)
{
    const auto *row = std::ranges::find(ERROR_WORDS, static_cast<int32_t>(word), &error_word::word);
    return row == std::end(ERROR_WORDS) ? std::string_view{} : row->name;
}
