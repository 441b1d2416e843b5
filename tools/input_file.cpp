#include "input_file.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

[[noreturn]] void fail(const std::string& name)
{
    throw file_failure(name, std::string("cannot be read: ") + std::strerror(errno));
}

[[noreturn]] void failToKeep(const std::string& name)
{
    throw file_failure(name, std::string("cannot be kept for reading: ") + std::strerror(errno));
}

// Of a regular file, which a shell may have opened for us: that it can be read from its beginning, and how
// large it is.
bool isWholeFile(int descriptor, struct stat* about)
{
    return fstat(descriptor, about) == 0 && S_ISREG(about->st_mode) && lseek(descriptor, 0, SEEK_CUR) == 0;
}

input_file readHead(const std::string& name, int descriptor, const struct stat* wholeFile)
{
    input_file file = {name, input_stream(fdopen(descriptor, "rb")), 0, nullptr, {}, 0};
    if (!file.stream) {
        close(descriptor);
        throw file_failure(name, "cannot be read: not enough memory");
    }
    if (!wholeFile)
        std::setvbuf(file.stream.get(), nullptr, _IONBF, 0); // what follows the picture stays in the pipe
    file.headSize = std::fread(file.head.data(), 1, file.head.size(), file.stream.get());
    if (std::ferror(file.stream.get()))
        fail(name);
    if (wholeFile) {
        file.size = static_cast<uint64_t>(wholeFile->st_size);
        std::rewind(file.stream.get());
    } else {
        file.arrival.reset(new input_arrival{std::move(file.stream), nullptr, 0, file.headSize});
    }
    return file;
}

input_file openStandardInput()
{
    const std::string name = input_nameOf("-");
    const int descriptor = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0)
        fail(name);
    struct stat about = {};
    return readHead(name, descriptor, isWholeFile(descriptor, &about) ? &about : nullptr);
}

} // namespace

std::string input_nameOf(const std::string& path)
{
    return path == "-" ? "standard input" : path;
}

input_file input_open(const std::string& path)
{
    if (path == "-")
        return openStandardInput();
    // O_NONBLOCK: to open a pipe, which is refused below, must not wait for its other end.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        fail(path);
    struct stat about = {};
    if (!isWholeFile(descriptor, &about)) {
        close(descriptor);
        throw file_failure(path, S_ISDIR(about.st_mode) ? "is a folder" : "is not a regular file");
    }
    return readHead(path, descriptor, &about);
}

size_t input_read(const input_file& file, void* bytes, size_t count)
{
    input_arrival* const arrival = file.arrival.get();
    std::FILE* const from = arrival ? arrival->pipe.get() : file.stream.get();
    uint8_t* target = static_cast<uint8_t*>(bytes);
    size_t fromHead = 0;
    if (arrival && arrival->headLeft > 0) {
        fromHead = std::min(count, arrival->headLeft);
        std::memcpy(target, file.head.data() + file.headSize - arrival->headLeft, fromHead);
        arrival->headLeft -= fromHead;
        target += fromHead;
    }
    const size_t fresh = std::fread(target, 1, count - fromHead, from);
    if (std::ferror(from))
        fail(file.name);
    if (arrival) {
        arrival->size += fromHead + fresh;
        if (std::fwrite(bytes, 1, fromHead + fresh, arrival->kept.get()) != fromHead + fresh)
            failToKeep(file.name);
    }
    return fromHead + fresh;
}

void input_pass(const input_file& file, uint64_t count, uint64_t size)
{
    uint64_t left = size > 0 && count > UINT64_MAX / size ? UINT64_MAX : count * size;
    uint8_t bytes[1 << 13];
    while (left > 0) {
        const size_t wanted = static_cast<size_t>(std::min<uint64_t>(sizeof bytes, left));
        if (input_read(file, bytes, wanted) != wanted)
            return;
        left -= wanted;
    }
}

void input_complete(input_file* file, const std::function<void(const input_file& file)>& passPicture)
{
    if (!file->arrival)
        return;
    file->arrival->kept = input_openTemporary();
    if (!file->arrival->kept)
        failToKeep(file->name);
    passPicture(*file);
    if (std::fflush(file->arrival->kept.get()) != 0)
        failToKeep(file->name);
    file->size = file->arrival->size;
    file->stream = std::move(file->arrival->kept);
    file->arrival.reset();
    std::rewind(file->stream.get());
}

input_stream input_openTemporary()
{
    const char* const folder = secure_getenv("TMPDIR");
    const int descriptor = folder ? open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600) : -1;
    return input_stream(descriptor >= 0 ? fdopen(descriptor, "w+b") : std::tmpfile());
}
