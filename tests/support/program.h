// Runs the built program as a user does, and looks at what it leaves behind.
#pragma once

#include "support/random.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

// A folder of its own that is gone with the object.
class program_folder
{
public:
    program_folder();
    ~program_folder();
    program_folder(const program_folder&) = delete;
    program_folder& operator=(const program_folder&) = delete;

    std::string file(const std::string& name) const
    {
        return (path / name).string();
    }

    // The names of what is in it, hidden files included, sorted, with a blank behind each.
    std::string listing() const;

    // The temporary files of a run that are in it now.
    std::vector<std::filesystem::path> temporaries() const;

    // Waits until there are so many; false when they do not come.
    bool waitForTemporaries(size_t count) const;

    std::filesystem::path path;
};

struct program_result {
    int exitStatus;     // as program_wait has it
    int64_t peakMemory; // bytes
    std::string output;
    std::string errors;
};

// The path of qip-smooth.
std::string program_path();

// Starts `words`, the first of which is a path, with these descriptors as standard output and errors.
pid_t program_start(const std::vector<std::string>& words, int outputDescriptor, int errorDescriptor);

// Starts qip-smooth with its standard streams thrown away.
pid_t program_startSilent(std::vector<std::string> arguments);

// The exit status, or less than 0: minus the number of the signal that ended it. *peakMemory, when given,
// receives bytes.
int program_wait(pid_t process, int64_t* peakMemory = nullptr);

// Runs any program, with its standard streams caught.
program_result program_runAny(const std::vector<std::string>& words);

// Runs qip-smooth.
program_result program_run(std::vector<std::string> arguments);

std::string program_readFile(const std::string& path);
void program_writeFile(const std::string& path, const std::string& bytes);

// A grey picture as the tests see it; any depth in 16 bits.
struct program_picture {
    int width = 0;
    int height = 0;
    int greatest = 255;
    std::vector<uint16_t> pixels;

    bool operator==(const program_picture&) const = default;
};

program_picture program_randomPicture(test_random* random, int width, int height, int greatest);

// P5 as text and bytes, written from the definition of the format, not with the program's code.
std::string program_pgmOf(const program_picture& picture);
program_picture program_readPgm(const std::string& path);

// From JSON: the number, the numbers, or the text behind a key; the keys in their order, with a blank behind
// each. What is not there, or no JSON, fails the test.
std::vector<double> program_jsonNumbers(const std::string& json, const std::string& key);
double program_jsonNumber(const std::string& json, const std::string& key);
std::string program_jsonText(const std::string& json, const std::string& key);
std::string program_jsonKeys(const std::string& json);
