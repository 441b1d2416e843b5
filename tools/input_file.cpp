#include "input_file.h"

#include "failure.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

input_file input_open(const std::string& path)
{
    // O_NONBLOCK: to open a pipe, which is refused below, must not wait for its other end.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        throw file_failure(path, std::string("cannot be read: ") + std::strerror(errno));
    struct stat about = {};
    if (fstat(descriptor, &about) != 0 || !S_ISREG(about.st_mode)) {
        close(descriptor);
        throw file_failure(path, S_ISDIR(about.st_mode) ? "is a folder" : "is not a regular file");
    }
    std::FILE* stream = fdopen(descriptor, "rb");
    if (!stream) {
        close(descriptor);
        throw file_failure(path, "cannot be read: not enough memory");
    }
    return {std::unique_ptr<std::FILE, stream_closer>(stream), static_cast<uint64_t>(about.st_size)};
}
