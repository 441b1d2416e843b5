#include "support/program.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

program_folder::program_folder()
{
    std::string pattern = (fs::temp_directory_path() / "qip-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no temporary folder");
    path = pattern;
}

program_folder::~program_folder()
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::string program_folder::listing() const
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path))
        names.insert(entry.path().filename().string());
    std::string all;
    for (const std::string& name : names)
        all += name + " ";
    return all;
}

std::vector<fs::path> program_folder::temporaries() const
{
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(path))
        if (entry.path().extension() == ".tmp")
            found.push_back(entry.path());
    return found;
}

bool program_folder::waitForTemporaries(size_t count) const
{
    for (int i = 0; i < 60000; ++i) {
        if (temporaries().size() >= count)
            return true;
        usleep(1000);
    }
    return false;
}

std::string program_path()
{
    return QIP_SMOOTH;
}

pid_t program_start(const std::vector<std::string>& words, int outputDescriptor, int errorDescriptor)
{
    std::vector<char*> argv;
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outputDescriptor, 1);
    posix_spawn_file_actions_adddup2(&actions, errorDescriptor, 2);
    pid_t process = -1;
    if (posix_spawn(&process, argv[0], &actions, nullptr, argv.data(), environ) != 0)
        process = -1;
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

pid_t program_startSilent(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), program_path());
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t process = program_start(arguments, nowhere, nowhere);
    close(nowhere);
    return process;
}

int program_wait(pid_t process, int64_t* peakMemory)
{
    int status = 0;
    struct rusage used = {};
    if (process < 0 || wait4(process, &status, 0, &used) != process)
        return INT_MIN;
    if (peakMemory)
        *peakMemory = int64_t{used.ru_maxrss} * 1024;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

program_result program_runAny(const std::vector<std::string>& words)
{
    const program_folder streams;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
    const int output = open(streams.file("output").c_str(), flags, 0600);
    const int errors = open(streams.file("errors").c_str(), flags, 0600);
    int64_t peakMemory = 0;
    const int exitStatus = program_wait(program_start(words, output, errors), &peakMemory);
    close(output);
    close(errors);
    return {exitStatus, peakMemory, program_readFile(streams.file("output")),
            program_readFile(streams.file("errors"))};
}

program_result program_run(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), program_path());
    return program_runAny(arguments);
}

std::string program_readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream.is_open()) << path;
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
}

void program_writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

program_picture program_randomPicture(test_random* random, int width, int height, int greatest)
{
    program_picture picture = {width, height, greatest, {}};
    for (int i = 0; i < width * height; ++i)
        picture.pixels.push_back(static_cast<uint16_t>(test_randomInt(random, 0, greatest)));
    return picture;
}

std::string program_pgmOf(const program_picture& picture)
{
    std::string bytes = "P5\n" + std::to_string(picture.width) + " " + std::to_string(picture.height) +
                        "\n" + std::to_string(picture.greatest) + "\n";
    for (const uint16_t pixel : picture.pixels) {
        if (picture.greatest > 255)
            bytes += static_cast<char>(pixel >> 8);
        bytes += static_cast<char>(pixel & 255);
    }
    return bytes;
}

program_picture program_readPgm(const std::string& path)
{
    std::istringstream stream(program_readFile(path));
    program_picture picture;
    std::string magic;
    stream >> magic >> picture.width >> picture.height >> picture.greatest;
    stream.get();
    EXPECT_EQ(magic, "P5");
    for (int64_t i = 0; i < int64_t{picture.width} * picture.height; ++i) {
        int pixel = stream.get();
        if (picture.greatest > 255)
            pixel = pixel << 8 | stream.get();
        picture.pixels.push_back(static_cast<uint16_t>(pixel));
    }
    EXPECT_TRUE(stream.good() && stream.get() == EOF) << path << " has another length than its header says";
    return picture;
}

namespace
{

using ordered_json = nlohmann::ordered_json;

ordered_json parsed(const std::string& json)
{
    const ordered_json object = ordered_json::parse(json, nullptr, false);
    EXPECT_TRUE(object.is_object()) << json;
    return object.is_object() ? object : ordered_json::object();
}

template <typename Value>
Value valueOf(const std::string& json, const std::string& key)
{
    try {
        return parsed(json).at(key).get<Value>();
    } catch (const ordered_json::exception& problem) {
        ADD_FAILURE() << problem.what() << ": " << json;
        return {};
    }
}

} // namespace

std::vector<double> program_jsonNumbers(const std::string& json, const std::string& key)
{
    return valueOf<std::vector<double>>(json, key);
}

double program_jsonNumber(const std::string& json, const std::string& key)
{
    return valueOf<double>(json, key);
}

std::string program_jsonText(const std::string& json, const std::string& key)
{
    return valueOf<std::string>(json, key);
}

std::string program_jsonKeys(const std::string& json)
{
    std::string keys;
    const ordered_json object = parsed(json);
    for (const auto& each : object.items())
        keys += each.key() + " ";
    return keys;
}
