#include "core/trace/message_text.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t DIGITS_MAX = 20; // of a 64-bit number
constexpr size_t WIDTH_MAX = 32;  // wider ones are left to vsnprintf
constexpr size_t NUMBER_BYTES_MAX = WIDTH_MAX + DIGITS_MAX;

// What stands between the '%' and the letter.
struct conversion {
    bool zeros;
    bool is_long;
    size_t width;
};

bool is_plain(const conversion &c)
{
    return !c.zeros && !c.is_long && c.width == 0;
}

const char *read_conversion(const char *at, conversion *c)
{
    if (*at == '0') {
        c->zeros = true;
        at++;
    }
    while (*at >= '0' && *at <= '9' && c->width <= WIDTH_MAX) {
        c->width = c->width * 10 + static_cast<size_t>(*at++ - '0');
    }
    if (*at == 'l') {
        c->is_long = true;
        at++;
    }
    return at;
}

template <unsigned base> size_t digits_of(uint64_t number)
{
    if (base == 16) {
        return static_cast<size_t>(std::bit_width(number | 1) + 3) / 4;
    }
    size_t digits = 1;
    while ((number /= base) != 0) {
        digits++;
    }
    return digits;
}

// The functions below write at `at`, where there is room, and return the place behind.
template <unsigned base> char *put_number(char *at, const conversion &c, uint64_t number, bool is_negative)
{
    const size_t sign = is_negative ? 1 : 0;
    size_t digits = digits_of<base>(number);
    if (c.width > digits + sign) {
        if (c.zeros) {
            digits = c.width - sign;
        } else {
            at = std::fill_n(at, c.width - sign - digits, ' ');
        }
    }
    if (is_negative) {
        *at++ = '-';
    }
    for (char *digit = at + digits; digit != at; number /= base) {
        *--digit = "0123456789abcdef"[number % base];
    }
    return at + digits;
}

char *put_signed(char *at, const conversion &c, long number)
{
    const auto bits = static_cast<uint64_t>(number);
    return put_number<10>(at, c, number < 0 ? 0 - bits : bits, number < 0);
}

char *put_pointer(char *at, const void *pointer)
{
    if (pointer == nullptr) {
        return std::copy_n("(nil)", 5, at);
    }
    at = std::copy_n("0x", 2, at);
    return put_number<16>(at, {}, reinterpret_cast<uintptr_t>(pointer), false);
}

} // namespace

int message_text(char *out, size_t size, const char *format, va_list arguments)
{
    const char *const end = out + size - 1;
    char *at = out;
    size_t cut = 0; // characters of a string that did not fit
    while (*format != '\0') {
        if (*format != '%') {
            if (at == end) {
                break;
            }
            *at++ = *format++;
            continue;
        }
        const auto room = static_cast<size_t>(end - at);
        conversion c = {};
        const char *const letter = read_conversion(format + 1, &c);
        const bool fits = room >= NUMBER_BYTES_MAX && c.width <= WIDTH_MAX;
        if (*letter == 's' && is_plain(c)) {
            const char *text = va_arg(arguments, const char *);
            text = text == nullptr ? "(null)" : text;
            const size_t length = strlen(text);
            at = std::copy_n(text, std::min(length, room), at);
            cut += length - std::min(length, room);
        } else if (fits && *letter == 'd') {
            at = put_signed(at, c, c.is_long ? va_arg(arguments, long) : va_arg(arguments, int));
        } else if (fits && (*letter == 'u' || *letter == 'x')) {
            const uint64_t number =
                c.is_long ? va_arg(arguments, unsigned long) : va_arg(arguments, unsigned);
            at = *letter == 'u' ? put_number<10>(at, c, number, false) : put_number<16>(at, c, number, false);
        } else if (fits && *letter == 'p' && is_plain(c)) {
            at = put_pointer(at, va_arg(arguments, const void *));
        } else if (fits && *letter == 'c' && is_plain(c)) {
            *at++ = static_cast<char>(va_arg(arguments, int));
        } else {
            break;
        }
        format = letter + 1;
    }
    *at = '\0';
    if (*format == '\0') {
        return static_cast<int>(static_cast<size_t>(at - out) + cut);
    }
    // The rest of the text, of the rest of the arguments.
    const int rest = vsnprintf(at, static_cast<size_t>(end - at) + 1, format, arguments);
    return rest < 0 ? rest : static_cast<int>(static_cast<size_t>(at - out) + cut) + rest;
}
