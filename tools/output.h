// The files that a run leaves behind: all of them complete, or none of them touched.
//
// Each file is first written whole to a temporary file in the folder of its destination. `publish` then
// renames the temporaries to their destinations; a rename that fails takes back those before it. A signal
// that asks the process to end waits until the set is destructed.
#pragma once

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

// While one exists, a signal that would end the process is only recorded; the destructor then delivers it.
// There may be one at a time.
class signal_delay
{
public:
    signal_delay();
    ~signal_delay();
    signal_delay(const signal_delay&) = delete;
    signal_delay& operator=(const signal_delay&) = delete;

private:
    static constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction before[3];
};

class output_set
{
public:
    output_set() = default;
    ~output_set();
    output_set(const output_set&) = delete;
    output_set& operator=(const output_set&) = delete;

    // Writes one file's temporary: `write` fills the stream. Failures: file_failure, and what `write`
    // throws; nothing of the file is left then.
    void add(const std::string& path, const std::function<void(std::FILE*)>& write);

    // Puts all files into place. Failures: file_failure; every destination is then as it was.
    void publish();

private:
    struct file {
        std::string name;      // as the user gave it
        std::string target;    // the same with links followed
        std::string temporary; // empty once renamed
        std::string backup;    // the file that was there before, when there was one
    };

    void publishOne(file& output, bool keepBackup);
    void takeBack(file& output);

    signal_delay delay;
    std::vector<file> files;
};
