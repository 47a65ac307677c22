#include "library/wire_rows.h"

words count_up(uint32_t count)
{
    words counted;
    for (uint32_t i = 1; i <= count; i++) {
        counted.push_back(0x00010000 + i);
    }
    return counted;
}

words count_up_but(uint32_t count, std::initializer_list<replaced_word> replaced)
{
    words counted = count_up(count);
    for (const replaced_word &word : replaced) {
        counted[word.index] = word.value;
    }
    return counted;
}
