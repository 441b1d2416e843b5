// The files that a run leaves behind: all of them complete, or none of them touched.
//
// Each file is first written whole to a temporary file in the folder of its destination. `publish` then
// renames the temporaries to their destinations; a rename that fails takes back those before it. A signal
// that ends the process takes the temporaries with it (interruption.h) and waits for nothing but `publish`.
//
// The name "-" stands for the standard output, to which a file goes as soon as it is whole, before the
// others are renamed.
//
// A destination that exists keeps its owner, its group and its access rights. An owner that the system does
// not let us give is the caller, as for any file that is replaced; where it does not let us give the group,
// the rights of the group are dropped, and those of others that the group did not have. A new destination
// gets the rights of any new file. Until it is complete, a temporary gives nobody rights that the finished
// file does not give.
#pragma once

#include "input_file.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// The file that an output of this name replaces or creates: where the name is a link, the file at its end,
// which need not be there yet. The link itself stays. Failures: file_failure for links in a circle.
std::string output_target(const std::string& name);

// The whole path of that file; empty when it cannot be told: for links in a circle, names that are too long,
// folders that may not be searched, a working folder that was deleted. Nothing can be written there anyhow.
std::filesystem::path output_fullPath(const std::string& name);

class output_set
{
public:
    output_set() = default;
    ~output_set();
    output_set(const output_set&) = delete;
    output_set& operator=(const output_set&) = delete;

    // Fills a stream, in which it may seek; `name` is what messages call it.
    using writer = std::function<void(std::FILE* stream, const std::string& name)>;

    // Writes one file's temporary. Failures: file_failure, and what `write` throws; nothing of the file is
    // left then.
    void add(const std::string& path, const writer& write);

    // Puts all files into place. Failures: file_failure; every destination is then as it was, save for the
    // standard output.
    void publish();

private:
    struct file {
        std::string name;      // as the user gave it
        std::string target;    // the same with links followed
        std::string temporary; // empty once renamed
        int watched;           // its number with interruption_watch
        std::string backup;    // the file that was there before, while others are renamed
    };

    void addStandardOutput(const writer& write);
    void copyToStandardOutput();
    void publishOne(file& output, bool keepBackup);
    void takeBack(file& output);

    std::vector<file> files;
    input_stream forStandardOutput; // a temporary file without a name
};
