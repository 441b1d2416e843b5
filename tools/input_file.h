// A file opened for reading whose size is known, so that a header can be held against it before memory is
// taken.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

struct stream_closer {
    void operator()(std::FILE* stream) const
    {
        std::fclose(stream);
    }
};

struct input_file {
    std::string name; // as messages call it
    std::unique_ptr<std::FILE, stream_closer> stream;
    uint64_t size;               // 0 while the file is not complete
    bool isComplete;             // else its bytes beyond `head` have yet to come, through a pipe
    std::array<uint8_t, 8> head; // the first bytes, by which formats are known; 0 where there are none
    size_t headSize;
};

// Opens a regular file; anything else (missing, a folder, a pipe) is a file_failure. "-" is the standard
// input, whatever it is. The stream stands at the file's beginning.
input_file input_open(const std::string& path);

// Brings the rest of a pipe, up to `most` bytes in all, into a temporary file without a name; a file that
// is complete stays as it is. Failures: file_failure.
void input_complete(input_file* file, uint64_t most = UINT64_MAX);
