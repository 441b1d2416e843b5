#include "input_file.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using owned_stream = std::unique_ptr<std::FILE, stream_closer>;

[[noreturn]] void fail(const std::string& name)
{
    throw file_failure(name, std::string("cannot be read: ") + std::strerror(errno));
}

// Of a regular file, which a shell may have opened for us: that it can be read from its beginning, and how
// large it is.
bool isWholeFile(int descriptor, struct stat* about)
{
    return fstat(descriptor, about) == 0 && S_ISREG(about->st_mode) && lseek(descriptor, 0, SEEK_CUR) == 0;
}

input_file readHead(const std::string& name, int descriptor, const struct stat* wholeFile)
{
    input_file file = {name, owned_stream(fdopen(descriptor, "rb")), 0, wholeFile != nullptr, {}, 0};
    if (!file.stream) {
        close(descriptor);
        throw file_failure(name, "cannot be read: not enough memory");
    }
    file.headSize = std::fread(file.head.data(), 1, file.head.size(), file.stream.get());
    if (std::ferror(file.stream.get()))
        fail(name);
    if (wholeFile) {
        file.size = static_cast<uint64_t>(wholeFile->st_size);
        std::rewind(file.stream.get());
    }
    return file;
}

input_file openStandardInput()
{
    const std::string name = "standard input";
    const int descriptor = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0)
        fail(name);
    struct stat about = {};
    return readHead(name, descriptor, isWholeFile(descriptor, &about) ? &about : nullptr);
}

} // namespace

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

void input_complete(input_file* file, uint64_t most)
{
    if (file->isComplete)
        return;
    owned_stream kept(std::tmpfile()); // gone with the process, whichever way that ends
    if (!kept)
        throw file_failure(file->name, std::string("cannot be kept for reading: ") + std::strerror(errno));
    char bytes[1 << 13];
    size_t count = file->headSize;
    std::memcpy(bytes, file->head.data(), count);
    while (count > 0) {
        file->size += count;
        if (std::fwrite(bytes, 1, count, kept.get()) != count)
            throw file_failure(file->name,
                               std::string("cannot be kept for reading: ") + std::strerror(errno));
        const size_t wanted =
            static_cast<size_t>(std::min<uint64_t>(sizeof bytes, most - std::min(most, file->size)));
        count = std::fread(bytes, 1, wanted, file->stream.get());
    }
    if (std::ferror(file->stream.get()))
        fail(file->name);
    if (std::fflush(kept.get()) != 0)
        throw file_failure(file->name, std::string("cannot be kept for reading: ") + std::strerror(errno));
    std::rewind(kept.get());
    file->stream = std::move(kept);
    file->isComplete = true;
}
