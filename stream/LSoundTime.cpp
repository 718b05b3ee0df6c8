#include "stream/LSoundTime.h"

#include <climits>
#include <cstdio>

namespace {

struct Parts {
    bool negative;
    unsigned long long hours;
    int minutes, seconds, milliseconds;
};

// Splits the magnitude after adding the rounding offset; unsigned so that the
// most negative value has a magnitude too.
Parts Split(long long ms, unsigned long long roundingMs) {
    const bool negative = ms < 0;
    unsigned long long a = negative ? 0ULL - static_cast<unsigned long long>(ms) : static_cast<unsigned long long>(ms);
    a += roundingMs;
    return {negative, a / 3600000ULL, static_cast<int>(a / 60000 % 60), static_cast<int>(a / 1000 % 60),
            static_cast<int>(a % 1000)};
}

std::string Format(const Parts& p, bool wideHours, int fractionDigits) {
    static const int kDivisor[4] = {1000, 100, 10, 1};
    char buffer[64];
    const int fraction = p.milliseconds / kDivisor[fractionDigits];
    const char* sign = p.negative ? "-" : "";
    if (wideHours)
        std::snprintf(buffer, sizeof buffer, "%s%llu:%.2d:%.2d.%.*d", sign, p.hours, p.minutes, p.seconds,
                      fractionDigits, fraction);
    else
        std::snprintf(buffer, sizeof buffer, "%s%d:%.2d:%.2d.%.*d", sign, static_cast<int>(p.hours), p.minutes,
                      p.seconds, fractionDigits, fraction);
    return buffer;
}

constexpr unsigned long long kMax = static_cast<unsigned long long>(LLONG_MAX);

unsigned long long AddSat(unsigned long long a, unsigned long long b) { return a > kMax - b ? kMax : a + b; }
unsigned long long MulSat(unsigned long long a, unsigned long long b) { return b != 0 && a > kMax / b ? kMax : a * b; }

}  // namespace

std::string LSoundTime::_GetText() const { return Format(Split(ms_, 0), true, 3); }
std::string LSoundTime::_GetText2() const { return Format(Split(ms_, 5), true, 2); }
std::string LSoundTime::_GetTextHMMSSF() const { return Format(Split(ms_, 50), false, 1); }
std::string LSoundTime::_GetTextHMMSSFF() const { return Format(Split(ms_, 5), false, 2); }
std::string LSoundTime::_GetTextHMMSSFFF() const { return Format(Split(ms_, 0), false, 3); }

void LSoundTime::SetText(const char* text) {
    unsigned long long done = 0;   // completed fields, already scaled by their ":"s
    unsigned long long field = 0;  // whole seconds of the current field, in ms
    unsigned long long fraction = 0;
    int place = 0;                 // ms of the next fraction digit; 0 = not in a fraction
    bool inFraction = false;
    bool negative = false;
    int colons = 0;
    for (const char* c = text ? text : ""; *c; ++c) {
        if (*c >= '0' && *c <= '9') {
            const unsigned digit = static_cast<unsigned>(*c - '0');
            if (inFraction) {
                fraction += digit * place;  // places past the third add nothing
                place /= 10;
            } else {
                field = AddSat(MulSat(field, 10), digit * 1000ULL);
            }
        } else if (*c == '.' || (*c == ':' && ++colons == 3)) {
            inFraction = true;
            place = 100;
        } else if (*c == ':') {
            done = MulSat(AddSat(AddSat(done, field), fraction), 60);
            field = fraction = 0;
            inFraction = false;
        } else if (*c == '-') {
            negative = true;
        }
    }
    const auto total = static_cast<long long>(AddSat(AddSat(done, field), fraction));
    ms_ = negative ? -total : total;
}

bool LSoundTime::IsValid(const char* text) {
    if (text == nullptr || *text == 0) return false;
    int dots = 0, colons = 0;
    for (const char* c = text; *c; ++c) {
        if (*c == '.') {
            if (++dots > 1) return false;
        } else if (*c == ':') {
            if (++colons > 3 || dots > 0) return false;
        } else if (*c < '0' || *c > '9') {
            return false;
        }
    }
    return true;
}
