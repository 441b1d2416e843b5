// The values that options take, read strictly: the whole text is the value, or it is a usage failure that
// names the option.
#pragma once

#include <qbase/rect.h>
#include <qbase/xform.h>

#include <cstdint>
#include <string>

struct int_pair {
    int32_t x;
    int32_t y;
};

int32_t option_int(const std::string& option, const std::string& text);
int32_t option_intInRange(const std::string& option, const std::string& text, int32_t least,
                          int32_t greatest);
uint32_t option_unsigned(const std::string& option, const std::string& text);
double option_double(const std::string& option, const std::string& text);

// "A" (for both directions) or "AxB".
int_pair option_intByInt(const std::string& option, const std::string& text);

// "X,Y", "X,Y,W,H" with sizes of at least 1, and "A,B,C,D,TX,TY".
int_pair option_point(const std::string& option, const std::string& text);
qstd_rect32 option_rect(const std::string& option, const std::string& text);
qmath_xformLinear option_xform(const std::string& option, const std::string& text);
