// Many pictures side by side, each from a file to one in a folder.
#pragma once

#include "options.h"

#include <functional>
#include <vector>

// The runs that a command line with --out-dir asks for: one for each input, its output in that folder under
// the input's name. That keeps its ending where pictures of such a name can be written and no format is
// asked for; else it gets the format's, PNG when there is none. Failures: usage_failure where the folder is
// not there, two inputs come to one output, or an output is an input.
std::vector<options> batch_plan(const options& o);

// Runs them all, as many at a time as the options say; the library splits none of them. A failure is one
// line, and the others go on. On a terminal a status says how far it is. Failures: a failure that counts
// those of the runs.
void batch_run(const options& o, const std::function<void(const options& one)>& run);
