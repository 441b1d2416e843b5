#include "output.h"

#include "failure.h"
#include "interruption.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr const char* standardOutput = "standard output";

[[noreturn]] void fail(const std::string& name, int error)
{
    throw file_failure(name, std::string("cannot be written: ") + std::strerror(error));
}

// What a destination that exists passes on to the file that replaces it.
struct fileRights {
    uid_t owner;
    gid_t group;
    mode_t mode;
};

// The destination has to be a file that its owner lets us write, although a rename would not ask.
std::optional<fileRights> rightsOf(const std::string& name, const std::string& target)
{
    struct stat about = {};
    if (stat(target.c_str(), &about) != 0)
        return std::nullopt;
    if (S_ISDIR(about.st_mode))
        throw file_failure(name, "cannot be written: is a folder");
    if (!S_ISREG(about.st_mode))
        throw file_failure(name, "cannot be written: is not a regular file");
    if (access(target.c_str(), W_OK) != 0)
        fail(name, errno);
    return fileRights{about.st_uid, about.st_gid, about.st_mode & 0777};
}

// For a file that its owner alone may use so far: group and others get their rights last, when it is clear
// who they are. Where the group cannot be given, the one that the file has instead gets no rights, and others
// only those that the old group had too: its members are others now. Where rights cannot be changed at all
// they stay narrow.
void giveRights(int descriptor, const fileRights& rights)
{
    constexpr uid_t unchanged = static_cast<uid_t>(-1);
    mode_t mode = rights.mode;
    if (fchown(descriptor, rights.owner, rights.group) != 0 &&
        fchown(descriptor, unchanged, rights.group) != 0)
        mode &= 0700 | (mode >> 3 & 07);
    fchmod(descriptor, mode);
}

// A name in the folder of `target` that is not in use; short, so that it fits where the target's own name
// just fits.
std::string nameBeside(const std::string& target, unsigned number)
{
    const std::string name =
        ".qip-smooth-" + std::to_string(getpid()) + "-" + std::to_string(number) + ".tmp";
    return (fs::path(target).parent_path() / name).string();
}

// Calls `make` with new names until one is not in use yet; answers that name, or "" with errno set.
template <typename Make>
std::string makeBeside(const std::string& target, const Make& make)
{
    for (unsigned number = 0; number < 10000; ++number) {
        std::string name = nameBeside(target, number);
        if (make(name.c_str()))
            return name;
        if (errno != EEXIST)
            break;
    }
    return "";
}

// Keeps the old file under another name: by a second link, so that the destination never lacks a file, or,
// on file systems without links, by a rename.
std::string setAside(const std::string& target)
{
    const auto linkTo = [&](const char* name) {
        return link(target.c_str(), name) == 0;
    };
    std::string backup = makeBeside(target, linkTo);
    if (!backup.empty() || errno == ENOENT)
        return backup;
    const auto renameTo = [&](const char* name) {
        return renameat2(AT_FDCWD, target.c_str(), AT_FDCWD, name, RENAME_NOREPLACE) == 0;
    };
    return makeBeside(target, renameTo);
}

} // namespace

std::string output_target(const std::string& name)
{
    constexpr int mostLinks = 40; // as many as the system follows
    fs::path target = name;
    for (int count = 0; count <= mostLinks; ++count) {
        std::error_code error;
        const fs::path next = fs::read_symlink(target, error);
        if (error) // not a link, or not there; what else is wrong shows when the file is created
            return target.string();
        target = target.parent_path() / next;
    }
    fail(name, ELOOP);
}

fs::path output_fullPath(const std::string& name)
{
    try {
        return fs::weakly_canonical(fs::absolute(output_target(name)));
    } catch (const file_failure&) {
    } catch (const fs::filesystem_error&) {
    }
    return {};
}

output_set::~output_set()
{
    for (const file& output : files)
        if (!output.temporary.empty()) {
            unlink(output.temporary.c_str());
            interruption_forget(output.watched);
        }
}

void output_set::addStandardOutput(const writer& write)
{
    const std::string name = "temporary file for the standard output";
    forStandardOutput = input_openTemporary();
    if (!forStandardOutput)
        fail(name, errno);
    write(forStandardOutput.get(), name);
    if (std::ferror(forStandardOutput.get()) || std::fflush(forStandardOutput.get()) != 0)
        fail(name, errno);
}

void output_set::copyToStandardOutput()
{
    std::FILE* const from = forStandardOutput.get();
    std::rewind(from);
    char bytes[1 << 13];
    while (const size_t count = std::fread(bytes, 1, sizeof bytes, from))
        if (std::fwrite(bytes, 1, count, stdout) != count)
            fail(standardOutput, errno);
    if (std::ferror(from) || std::fflush(stdout) != 0)
        fail(standardOutput, errno);
}

void output_set::add(const std::string& path, const writer& write)
{
    if (path == "-")
        return addStandardOutput(write);
    files.push_back({path, output_target(path), "", -1, ""}); // the destructor removes the temporary
    file& output = files.back();
    const std::optional<fileRights> rights = rightsOf(path, output.target);
    // Rights for others come with the last byte. A new file has them from the start: the system grants what
    // it would grant any new file.
    const mode_t modeMeanwhile = rights ? rights->mode & 0600 : 0666;
    int descriptor = -1;
    {
        const interruption_delay untilWatched;
        output.temporary = makeBeside(output.target, [&](const char* name) {
            descriptor = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, modeMeanwhile);
            return descriptor >= 0;
        });
        if (descriptor < 0)
            fail(path, errno);
        output.watched = interruption_watch(output.temporary);
    }

    input_stream stream(fdopen(descriptor, "wb"));
    if (!stream) {
        close(descriptor);
        throw file_failure(path, "cannot be written: not enough memory");
    }
    write(stream.get(), path);
    if (std::ferror(stream.get()) || std::fflush(stream.get()) != 0)
        fail(path, errno);
    if (rights)
        giveRights(descriptor, *rights);
    if (std::fclose(stream.release()) != 0)
        fail(path, errno);
}

void output_set::publishOne(file& output, bool keepBackup)
{
    if (keepBackup) {
        output.backup = setAside(output.target);
        if (output.backup.empty() && errno != ENOENT)
            fail(output.name, errno);
    }
    if (std::rename(output.temporary.c_str(), output.target.c_str()) != 0)
        fail(output.name, errno);
    interruption_forget(output.watched);
    output.temporary.clear();
}

// Works after a rename that failed half-way too: the backup is then the only name, or a second one, of the
// old file.
void output_set::takeBack(file& output)
{
    if (!output.backup.empty()) {
        if (std::rename(output.backup.c_str(), output.target.c_str()) == 0)
            unlink(output.backup.c_str()); // two names of one file both stay after a rename
        output.backup.clear();
    } else if (output.temporary.empty()) {
        unlink(output.target.c_str());
    }
}

void output_set::publish()
{
    if (forStandardOutput)
        copyToStandardOutput(); // a reader may take its time, and a signal end it
    const interruption_delay untilAllAreInPlace;
    // After the last rename nothing can fail any more, so that one needs no backup.
    for (size_t i = 0; i < files.size(); ++i) {
        try {
            publishOne(files[i], i + 1 < files.size());
        } catch (const file_failure&) {
            for (size_t done = 0; done <= i; ++done)
                takeBack(files[done]);
            throw;
        }
    }
    for (file& output : files)
        if (!output.backup.empty())
            unlink(std::exchange(output.backup, "").c_str());
}
