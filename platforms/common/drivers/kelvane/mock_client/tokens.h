// The words of an argument text, and the numbers they stand for.
#ifndef MOCK_CLIENT_TOKENS_H
#define MOCK_CLIENT_TOKENS_H

#include <cstdint>
#include <string>

// Cuts the next token off `rest`, which then begins after it. Only a blank separates tokens; a tab belongs
// to one. The text itself stays as it is, because it may have to run again. False, with `token`
// untouched, when nothing but blanks is left or the text is null.
bool next_token(const char *&rest, std::string &token);

// Base 10, as sscanf reads an unsigned number: text that is none is 0; one too large for a long, and the same
// below 0, is all ones; of any other, 32 bits are kept.
int32_t decimal_of(const std::string &token);

// Base 16, with or without 0x; otherwise the same.
uint32_t hexadecimal_of(const std::string &token);

#endif
