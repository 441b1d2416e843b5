// qip-smooth: smooths grey pictures with the library, from file to file.
#include "commands.h"
#include "failure.h"
#include "interruption.h"
#include "message.h"

#include <csignal>
#include <exception>
#include <new>

#include <fcntl.h>
#include <unistd.h>

namespace
{

int report(const char* message, exit_status status)
{
    message_print(message);
    return status;
}

// A standard stream that the caller has closed must not become the number of a picture file, into which
// messages would then go: its place is taken by something that nobody can write to.
void occupyStandardStreams()
{
    int descriptor = open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = open("/dev/null", O_RDONLY);
    if (descriptor >= 0)
        close(descriptor);
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that went away, and a limit on the size of files, must not end the program by a signal: the
    // write fails, and no half-written file stays.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    interruption_catch();
    occupyStandardStreams();
    try {
        if (const auto chosen = options_parse(argc, argv))
            command_run(*chosen);
        return 0;
    } catch (const failure& problem) {
        return report(problem.what(), problem.exitStatus);
    } catch (const std::bad_alloc&) {
        return report("not enough memory", EXIT_REFUSED);
    } catch (const std::exception& problem) {
        return report(problem.what(), EXIT_REFUSED);
    }
}
