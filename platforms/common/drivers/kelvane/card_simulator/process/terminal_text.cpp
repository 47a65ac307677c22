#include "card_simulator/process/terminal_text.h"

namespace {

// The controls of ASCII, and those with the eighth bit, which some terminals obey.
bool is_obeyed(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return (byte & 0x7F) < 0x20 || byte == 0x7F;
}

} // namespace

void print_for_terminal(FILE *stream, const std::string &text)
{
    std::string shown;
    for (const char character : text) {
        char code[8] = {character};
        if (is_obeyed(character) && character != '\n' && character != '\t') {
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(character));
        }
        shown += code;
    }
    std::fputs(shown.c_str(), stream);
    std::fflush(stream);
}
