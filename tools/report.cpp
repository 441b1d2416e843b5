#include "report.h"

#include "failure.h"

#include <qbase/cpuinfo.h>
#include <qbase/jobs.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

using json = nlohmann::ordered_json;

// On one line. A name of a file may hold bytes that are no text: they become the sign for what cannot be
// read.
void print(const json& object)
{
    report_printText(object.dump(-1, ' ', false, json::error_handler_t::replace));
}

json listOf(const qmath_xformLinear& xform)
{
    return {xform.m00, xform.m01, xform.m10, xform.m11, xform.tx, xform.ty};
}

} // namespace

void report_printText(const std::string& text)
{
    // One call, so that the lines of several threads do not mix.
    const std::string line = text + "\n";
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size() || std::fflush(stdout) != 0)
        throw file_failure("standard output", std::string("cannot be written: ") + std::strerror(errno));
}

void report_print(const report& result)
{
    json object = {
        {"x", result.rect.x},
        {"y", result.rect.y},
        {"width", result.rect.width},
        {"height", result.rect.height},
        {"depth", result.depth},
        {"status", result.status},
        {"cpu", qsys_cpuinfo_levelName()},
        {"threads", qsys_jobs_getThreadCount()},
        {"ms", result.milliseconds},
        {"mpixel_per_s", result.megapixelsPerSecond},
        {"image_from_client", listOf(result.imageFromClient)},
    };
    for (const auto& [key, text] : {std::pair("path", &result.path), std::pair("input", &result.input),
                                    std::pair("output", &result.output)})
        if (!text->empty())
            object[key] = *text;
    print(object);
}

void report_printInfo(const std::string& version, bool asJson)
{
    if (asJson)
        return print({{"version", version},
                      {"cpu", qsys_cpuinfo_levelName()},
                      {"threads", qsys_jobs_getThreadCount()}});
    report_printText("version " + version + "\nprocessor level " + qsys_cpuinfo_levelName() + "\nthreads " +
                     std::to_string(qsys_jobs_getThreadCount()));
}
