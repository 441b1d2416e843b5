// What a run says on standard output; to a script it is one JSON object.
#pragma once

#include <qip/status.h>

#include <qbase/rect.h>
#include <qbase/xform.h>

#include <string>

// The result's numbers; all zero when there is none. Of several pictures it also says which one it was.
struct report {
    qstd_rect32 rect = {0, 0, 0, 0};
    int depth = 0;
    qip_status status = 0;
    double milliseconds = 0; // median of the calls
    double megapixelsPerSecond = 0;
    qmath_xformLinear imageFromClient = {0, 0, 0, 0, 0, 0};
    std::string input;
    std::string output;
    std::string path; // of the library; "" when the command has only one, or nothing was computed
};

// Everything on standard output goes through here: `text` and a line end. Failures: file_failure when it
// does not arrive.
void report_printText(const std::string& text);

void report_print(const report& result);

// Version, processor level and thread count, as JSON or for people.
void report_printInfo(const std::string& version, bool asJson);
