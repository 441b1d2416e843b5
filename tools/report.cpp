#include "report.h"

#include "failure.h"

#include <qbase/cpuinfo.h>
#include <qbase/jobs.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{

// The shortest text that reads back as the same number; JSON has no word for what is not a finite number.
std::string numberText(double value)
{
    if (!std::isfinite(value))
        return "null";
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// Texts side by side, with brackets around them and commas between.
std::string bracketed(char open, const std::vector<std::string>& texts, char close)
{
    std::string all(1, open);
    for (const std::string& text : texts) {
        if (all.size() > 1)
            all += ", ";
        all += text;
    }
    return all += close;
}

std::string quoted(const std::string& text)
{
    return bracketed('"', {text}, '"');
}

std::string field(const char* name, const std::string& value)
{
    return quoted(name) + ": " + value;
}

std::string field(const char* name, int32_t value)
{
    return field(name, std::to_string(value));
}

std::string xformText(const qmath_xformLinear& xform)
{
    std::vector<std::string> elements;
    for (const double element : {xform.m00, xform.m01, xform.m10, xform.m11, xform.tx, xform.ty})
        elements.push_back(numberText(element));
    return bracketed('[', elements, ']');
}

std::string cpuField()
{
    return field("cpu", quoted(qsys_cpuinfo_levelName()));
}

std::string threadsField()
{
    return field("threads", qsys_jobs_getThreadCount());
}

} // namespace

void report_printText(const std::string& text)
{
    if (std::puts(text.c_str()) < 0 || std::fflush(stdout) != 0)
        throw file_failure("standard output", std::string("cannot be written: ") + std::strerror(errno));
}

void report_print(const report& result)
{
    std::vector<std::string> fields = {
        field("x", result.rect.x),
        field("y", result.rect.y),
        field("width", result.rect.width),
        field("height", result.rect.height),
        field("depth", result.depth),
        field("status", result.status),
        cpuField(),
        threadsField(),
        field("ms", numberText(result.milliseconds)),
        field("mpixel_per_s", numberText(result.megapixelsPerSecond)),
        field("image_from_client", xformText(result.imageFromClient)),
    };
    if (!result.path.empty())
        fields.push_back(field("path", quoted(result.path)));
    report_printText(bracketed('{', fields, '}'));
}

void report_printInfo(const std::string& version, bool json)
{
    if (json)
        return report_printText(
            bracketed('{', {field("version", quoted(version)), cpuField(), threadsField()}, '}'));
    std::string text = "version " + version;
    text += "\nprocessor level ";
    text += qsys_cpuinfo_levelName();
    text += "\nthreads " + std::to_string(qsys_jobs_getThreadCount());
    report_printText(text);
}
