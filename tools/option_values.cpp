#include "option_values.h"

#include "failure.h"

#include <charconv>
#include <system_error>
#include <vector>

namespace
{

[[noreturn]] void failMalformed(const std::string& option, const std::string& text,
                                const std::string& expected)
{
    throw usage_failure(option + ": \"" + text + "\" is not " + expected);
}

template <typename Number>
Number numberFrom(const std::string& option, const std::string& text, const std::string& expected)
{
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc::result_out_of_range)
        throw usage_failure(option + ": \"" + text + "\" is out of range");
    if (error != std::errc() || rest != end)
        failMalformed(option, text, expected);
    return number;
}

// The fields of a list of exactly `count`.
std::vector<std::string> fieldsOf(const std::string& option, const std::string& text, size_t count,
                                  const std::string& expected)
{
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', start)) {
        fields.push_back(text.substr(start, comma - start));
        start = comma + 1;
    }
    fields.push_back(text.substr(start));
    if (fields.size() != count)
        failMalformed(option, text, expected);
    return fields;
}

} // namespace

int32_t option_int(const std::string& option, const std::string& text)
{
    return numberFrom<int32_t>(option, text, "a whole number");
}

int32_t option_intInRange(const std::string& option, const std::string& text, int32_t least,
                          int32_t greatest)
{
    const int32_t number = option_int(option, text);
    if (number < least || number > greatest)
        throw usage_failure(option + ": \"" + text + "\" is not in the range " + std::to_string(least) +
                            " to " + std::to_string(greatest));
    return number;
}

uint32_t option_unsigned(const std::string& option, const std::string& text)
{
    return numberFrom<uint32_t>(option, text, "a whole number of 0 or more");
}

double option_double(const std::string& option, const std::string& text)
{
    return numberFrom<double>(option, text, "a number");
}

int_pair option_intByInt(const std::string& option, const std::string& text)
{
    const size_t by = text.find('x');
    if (by == std::string::npos) {
        const int32_t both = option_int(option, text);
        return {both, both};
    }
    return {option_int(option, text.substr(0, by)), option_int(option, text.substr(by + 1))};
}

int_pair option_point(const std::string& option, const std::string& text)
{
    const auto fields = fieldsOf(option, text, 2, "of the form X,Y");
    return {option_int(option, fields[0]), option_int(option, fields[1])};
}

qstd_rect32 option_rect(const std::string& option, const std::string& text)
{
    const auto fields = fieldsOf(option, text, 4, "of the form X,Y,W,H");
    return {option_int(option, fields[0]), option_int(option, fields[1]),
            option_intInRange(option, fields[2], 1, INT32_MAX),
            option_intInRange(option, fields[3], 1, INT32_MAX)};
}

qmath_xformLinear option_xform(const std::string& option, const std::string& text)
{
    const auto fields = fieldsOf(option, text, 6, "of the form A,B,C,D,TX,TY");
    double n[6];
    for (size_t i = 0; i < 6; ++i)
        n[i] = option_double(option, fields[i]);
    return {n[0], n[1], n[2], n[3], n[4], n[5]};
}
