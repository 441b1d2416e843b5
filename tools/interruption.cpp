#include "interruption.h"

#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>

#include <unistd.h>

namespace
{

enum watch_state { isFree, isBeingNamed, isWatched };

struct watchedFile {
    std::atomic<int> state;
    char name[PATH_MAX];
};

watchedFile watchedFiles[256];

// How many delays there are; `isEnding` once a signal has begun to end the process. The handler may run on
// any thread, hence a number that is changed in one step rather than a signal mask, which is one thread's.
constexpr int isEnding = -1;
std::atomic<int> delays = 0;
std::atomic<int> notedSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers may use nothing that locks");

// All calls here are among those that a signal handler may make.
[[noreturn]] void endBy(int number)
{
    for (const watchedFile& file : watchedFiles)
        if (file.state == isWatched)
            unlink(file.name);
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(number, &byDefault, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    raise(number);
    _exit(128 + number); // the first process of a container does not die of a signal's default action
}

// A signal is noted before `delays` is looked at, and a delay ends before the note is: one of the two sides
// sees the other.
void endUnlessDelayed()
{
    int none = 0;
    if (delays.compare_exchange_strong(none, isEnding))
        endBy(notedSignal);
}

void onSignal(int number)
{
    notedSignal = number;
    endUnlessDelayed();
}

// Signals that stop or continue a process or are ignored by default do not end it; those that a fault in
// the program raises say where it is, and code after it is not to be trusted.
bool isSentToEnd(int number)
{
    switch (number) {
    case SIGCHLD:
    case SIGCONT:
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
    case SIGURG:
    case SIGWINCH:
    case SIGILL:
    case SIGTRAP:
    case SIGBUS:
    case SIGFPE:
    case SIGSEGV:
    case SIGSYS:
        return false;
    default:
        return true;
    }
}

} // namespace

void interruption_catch()
{
    struct sigaction end = {};
    end.sa_handler = onSignal;
    end.sa_flags = SA_RESTART;
    sigfillset(&end.sa_mask);
    for (int number = 1; number <= SIGRTMAX; ++number) {
        // Asking fails for numbers that the C library keeps to itself, setting for those nobody may catch.
        struct sigaction before = {};
        if (isSentToEnd(number) && sigaction(number, nullptr, &before) == 0 &&
            !(before.sa_flags & SA_SIGINFO) && before.sa_handler == SIG_DFL)
            sigaction(number, &end, nullptr);
    }
}

int interruption_watch(const std::string& name)
{
    constexpr int none = -1;
    if (name.size() >= sizeof watchedFiles[0].name)
        return none;
    for (watchedFile& file : watchedFiles) {
        int expected = isFree;
        if (file.state.compare_exchange_strong(expected, isBeingNamed)) {
            std::memcpy(file.name, name.c_str(), name.size() + 1);
            file.state = isWatched;
            return static_cast<int>(&file - watchedFiles);
        }
    }
    return none;
}

void interruption_forget(int watched)
{
    if (watched >= 0)
        watchedFiles[watched].state = isFree;
}

interruption_delay::interruption_delay()
{
    int count = delays;
    while (notedSignal != 0 || count == isEnding || !delays.compare_exchange_weak(count, count + 1)) {
        if (notedSignal != 0 || count == isEnding)
            pause(); // the process is about to end
        count = delays;
    }
}

interruption_delay::~interruption_delay()
{
    --delays;
    if (notedSignal != 0)
        endUnlessDelayed();
}
