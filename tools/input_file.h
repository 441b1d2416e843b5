// A file opened for reading whose size is known, so that a header can be held against it before memory is
// taken.
#pragma once

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
    std::unique_ptr<std::FILE, stream_closer> stream;
    uint64_t size;
};

// Opens a regular file; anything else (missing, a folder, a pipe) is a file_failure.
input_file input_open(const std::string& path);
