// What the program says to people, on standard error: lines, and below them a status that changes in place.
// All of it may come from several threads.
#pragma once

#include <string>

// One line, with the program's name in front. Control characters, which names of files may hold, are written
// as in C: \n, \x1b.
void message_print(const std::string& text);

// The status from now on; "" when there is none any more. For a terminal only: it is written over itself, and
// cut where the terminal ends.
void message_setStatus(const std::string& text);
