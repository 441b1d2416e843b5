// How a signal ends the program: at once, without a temporary file left behind.
//
// The names of temporary files stand in fixed memory, so that a signal's handler, which may interrupt any
// code whatever, can remove them; it then lets the signal do what it does by default. Nothing here is in
// force before `interruption_catch`.
#pragma once

#include <string>

// From now on every signal that others may send to end a process, and whose action is still the default
// one, removes the watched files first. A signal that is ignored (as by nohup) stays ignored.
void interruption_catch();

// From here on `name` is a file to remove, until it is forgotten under the number that is returned. 256
// files may be watched at a time, one for each picture that is being written and more; one more would not
// be removed. Both may be called by several threads.
int interruption_watch(const std::string& name);
void interruption_forget(int watched);

// While one exists a signal is only noted; with the last one's end it takes its effect. For moments in
// which the watched names and the files do not agree: they must be short. None begins once a signal is
// noted; a thread that has one must not begin another.
class interruption_delay
{
public:
    interruption_delay();
    ~interruption_delay();
    interruption_delay(const interruption_delay&) = delete;
    interruption_delay& operator=(const interruption_delay&) = delete;
};
