// A file opened for reading whose size is known, so that a header can be held against it before memory is
// taken.
//
// What comes through a pipe arrives first: it is read as far as its own head says, and no further, and is
// kept in a temporary file, which is the file from then on.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

struct stream_closer {
    void operator()(std::FILE* stream) const
    {
        std::fclose(stream);
    }
};

using input_stream = std::unique_ptr<std::FILE, stream_closer>;

struct input_arrival {
    input_stream pipe;
    input_stream kept; // what has come
    uint64_t size;     // of it
    size_t headLeft;   // bytes of the head that input_read has yet to give
};

struct input_file {
    std::string name;                       // as messages call it
    input_stream stream;                    // null while the file arrives
    uint64_t size;                          // 0 while it arrives
    std::unique_ptr<input_arrival> arrival; // null when the file is complete
    std::array<uint8_t, 8> head; // the first bytes, by which formats are known; 0 where there are none
    size_t headSize;
};

// What messages call a file of this name: "standard input" for "-".
std::string input_nameOf(const std::string& path);

// Opens a regular file; anything else (missing, a folder, a pipe) is a file_failure. "-" is the standard
// input, whatever it is. The stream stands at the file's beginning.
input_file input_open(const std::string& path);

// The next bytes, also of a file that arrives; fewer only where it ends. Failures: file_failure.
size_t input_read(const input_file& file, void* bytes, size_t count);

// Reads on by `count` blocks of `size` bytes, or to the end, in a file that arrives. Failures: file_failure.
void input_pass(const input_file& file, uint64_t count, uint64_t size = 1);

// Completes a file that arrives: `passPicture` reads from its beginning all that belongs to the picture. A
// file that is complete stays as it is. Failures: file_failure, and what `passPicture` throws.
void input_complete(input_file* file, const std::function<void(const input_file& file)>& passPicture);

// A file without a name, which is gone with the process, whichever way that ends; in the folder that the
// environment's TMPDIR names where that is possible, else in /tmp. Null with errno when there is none.
input_stream input_openTemporary();
