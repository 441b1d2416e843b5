// The commands, one file each.
#pragma once

#include "options.h"

// Sets processor level and threads, then runs the command that the options name. Failures: those of
// failure.h; with --json a refusal has been reported by then.
void command_run(const options& o);

void command_gauss(const options& o);
void command_half(const options& o);
void command_binomial(const options& o);
void command_resultMask(const options& o);
