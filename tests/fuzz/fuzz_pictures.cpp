// Picture files: what the program's readers accept comes through a pipe as well, is written by its writers
// and read back equal; what they refuse is a file_failure.
//
// An input is a file as it stands, or, when it begins with an R, pixels without a header: three bytes for
// their format, width and height, then the file. Bytes changed at random would not get past a PNG's
// checksums and its compressed rows, so that a mutator takes such a file to pieces, changes one of them,
// and puts it together again.
#include "tools/failure.h"
#include "tools/picture_file.h"

#include "fuzz.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace
{

using bytes = std::vector<uint8_t>;

constexpr uint8_t pngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};

bool isPng(std::span<const uint8_t> file)
{
    return file.size() >= sizeof pngSignature &&
           std::equal(pngSignature, std::end(pngSignature), file.data());
}

// ---- reading and writing ----

// A file in memory, which the readers and writers open by its path.
class memoryFile
{
public:
    memoryFile() : descriptor(memfd_create("picture", MFD_CLOEXEC))
    {
    }

    std::string path() const
    {
        return "/proc/self/fd/" + std::to_string(descriptor);
    }

    void put(std::span<const uint8_t> content) const
    {
        const auto size = static_cast<ssize_t>(content.size());
        fuzz_check(ftruncate(descriptor, 0) == 0 &&
                       pwrite(descriptor, content.data(), content.size(), 0) == size,
                   "the file in memory cannot be written");
    }

private:
    int descriptor;
};

std::optional<picture> readAs(const std::optional<raw_layout>& layout, const std::string& path)
{
    try {
        return picture_read(path, layout);
    } catch (const file_failure&) {
        return std::nullopt;
    }
}

void checkEqual(const picture& made, const std::optional<picture>& again, const std::string& name)
{
    fuzz_check(again.has_value(), name + ": it is refused");
    fuzz_check(again->width == made.width && again->height == made.height && again->depth == made.depth,
               name + ": another size or depth is read");
    const size_t size = static_cast<size_t>(made.stride()) * static_cast<size_t>(made.height);
    fuzz_check(std::memcmp(made.pixels.get(), again->pixels.get(), size) == 0,
               name + ": other pixels are read");
}

// The standard input, as a pipe that holds all of it already.
std::optional<picture> readThroughPipe(const std::optional<raw_layout>& layout,
                                       std::span<const uint8_t> content)
{
    int ends[2];
    const bool isMade = pipe2(ends, O_CLOEXEC) == 0;
    fuzz_check(isMade && write(ends[1], content.data(), content.size()) == std::ssize(content) &&
                   dup2(ends[0], STDIN_FILENO) == STDIN_FILENO,
               "a pipe cannot be filled");
    close(ends[0]);
    close(ends[1]);
    return readAs(layout, "-");
}

void writeAndReadBack(const picture& made, picture_format format, const std::string& name,
                      const memoryFile& file)
{
    std::FILE* const stream = std::fopen(file.path().c_str(), "wb");
    picture_write(stream, name, format,
                  {made.width, made.height, made.depth, made.stride(), made.pixels.get()});
    std::fclose(stream);
    std::optional<raw_layout> layout;
    if (format == picture_format::raw)
        layout = {made.width, made.height, made.depth == 8 ? raw_format::mono8 : raw_format::mono16};
    const std::optional<picture> again = readAs(layout, file.path());
    checkEqual(made, again, name + ", read back");
    fuzz_check(!again->wasColour, name + ": grey is read back as colour");
}

// ---- pixels without a header ----

constexpr size_t layoutBytes = 4;

std::optional<raw_layout> layoutOf(std::span<const uint8_t> input)
{
    if (input.size() < layoutBytes || input[0] != 'R')
        return std::nullopt;
    return raw_layout{input[2] + 1, input[3] + 1, static_cast<raw_format>(input[1] % 6)};
}

// Mostly of the one length that is read.
size_t mutateRaw(test_random* random, uint8_t* data, size_t size, size_t maxSize)
{
    size = LLVMFuzzerMutate(data, size, maxSize);
    const std::optional<raw_layout> layout = layoutOf({data, size});
    const size_t wanted = layout ? layoutBytes + raw_byteCount(*layout) : 0;
    if (!layout || wanted > maxSize || test_chance(random, 10))
        return size;
    if (size < wanted)
        std::fill(data + size, data + wanted, uint8_t{1});
    return wanted;
}

// ---- the mutator ----

struct chunk {
    std::string type; // four letters
    bytes data;
};

uint32_t numberAt(const uint8_t* at)
{
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}

void append(bytes* out, uint32_t number)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out->push_back(static_cast<uint8_t>(number >> shift));
}

// The chunks up to the first that is cut short; all pixel data becomes one chunk, unpacked as far as it
// goes.
std::vector<chunk> chunksOf(std::span<const uint8_t> file)
{
    std::vector<chunk> chunks;
    bytes packed;
    for (size_t at = sizeof pngSignature; at + 12 <= file.size();) {
        const size_t length = numberAt(&file[at]);
        if (length > file.size() - at - 12)
            break;
        const auto content = file.subspan(at + 8, length);
        const std::string type(reinterpret_cast<const char*>(&file[at + 4]), 4);
        const bool isFirstPixels = type == "IDAT" && packed.empty();
        if (type == "IDAT")
            packed.insert(packed.end(), content.begin(), content.end());
        if (type != "IDAT" || isFirstPixels)
            chunks.push_back({type, bytes(content.begin(), content.end())});
        at += 12 + length;
    }
    for (chunk& each : chunks)
        if (each.type == "IDAT") {
            each.data.assign(1 << 16, 0);
            z_stream stream = {};
            stream.next_in = packed.data();
            stream.avail_in = static_cast<uInt>(packed.size());
            stream.next_out = each.data.data();
            stream.avail_out = static_cast<uInt>(each.data.size());
            inflateInit(&stream);
            inflate(&stream, Z_FINISH);
            each.data.resize(stream.total_out);
            inflateEnd(&stream);
        }
    return chunks;
}

bytes packed(const bytes& plain)
{
    uLongf size = compressBound(static_cast<uLong>(plain.size()));
    bytes out(size);
    compress2(out.data(), &size, plain.data(), static_cast<uLong>(plain.size()), 6);
    out.resize(size);
    return out;
}

bytes fileOf(const std::vector<chunk>& chunks)
{
    bytes file(pngSignature, std::end(pngSignature));
    for (const chunk& each : chunks) {
        const bytes content = each.type == "IDAT" ? packed(each.data) : each.data;
        append(&file, static_cast<uint32_t>(content.size()));
        const size_t checked = file.size();
        file.insert(file.end(), each.type.begin(), each.type.end());
        file.insert(file.end(), content.begin(), content.end());
        append(&file, static_cast<uint32_t>(
                          crc32(0, file.data() + checked, static_cast<uInt>(file.size() - checked))));
    }
    return file;
}

// A header of a small picture of any kind. Most pairs of colour type and depth exist.
void changeHeader(test_random* random, bytes* header)
{
    header->resize(13);
    const int field = test_randomInt(random, 0, 4);
    if (field < 2)
        (*header)[static_cast<size_t>(4 * field + 3)] = static_cast<uint8_t>(test_randomInt(random, 1, 40));
    else if (field == 2)
        (*header)[8] = static_cast<uint8_t>(1 << test_randomInt(random, 0, 4));
    else if (field == 3)
        (*header)[9] = test_pick(random, std::vector<uint8_t>{0, 2, 3, 4, 6});
    else
        (*header)[12] ^= 1;
}

// Rows as many and as long as the header says: without these a changed header leads to a refusal only.
void fitRows(const bytes& header, bytes* rows)
{
    if (header.size() != 13)
        return;
    const size_t channels[] = {1, 0, 3, 1, 2, 0, 4};
    const size_t depth = header[8];
    const size_t bits = channels[header[9] % 7] * depth * (numberAt(&header[0]) & 255);
    const size_t height = numberAt(&header[4]) & 255;
    // Interlaced pictures have up to two partial rows for each row, and their beginnings.
    const size_t wanted =
        header[12] ? height * 2 * (bits / 8 + 3) : height * (bits / 8 + (bits % 8 != 0) + 1);
    if (rows->size() < wanted)
        rows->resize(wanted);
}

void change(test_random* random, std::vector<chunk>* chunks, size_t maxSize)
{
    static const char* const types[] = {"PLTE", "tRNS", "gAMA", "sBIT", "bKGD", "tEXt",
                                        "zTXt", "iTXt", "cHRM", "iCCP", "sRGB", "eXIf"};
    const size_t index = static_cast<size_t>(test_randomRange(random, 0, std::ssize(*chunks) - 1));
    chunk& one = (*chunks)[index];
    const int way = test_randomInt(random, 0, 9);
    if (way == 0)
        chunks->erase(chunks->begin() + static_cast<std::ptrdiff_t>(index));
    else if (way == 1)
        std::swap(one, chunks->back());
    else if (way == 2)
        chunks->insert(
            chunks->begin() + static_cast<std::ptrdiff_t>(index),
            {test_pick(random, types), bytes(static_cast<size_t>(test_randomInt(random, 0, 30)),
                                             static_cast<uint8_t>(test_randomInt(random, 0, 255)))});
    else if (way == 3)
        chunks->insert(chunks->begin() + static_cast<std::ptrdiff_t>(index), chunk(one));
    else if (way < 7 && chunks->front().type == "IHDR")
        changeHeader(random, &chunks->front().data);
    else {
        const size_t size = one.data.size();
        one.data.resize(std::max(size + 16, maxSize));
        one.data.resize(LLVMFuzzerMutate(one.data.data(), size, one.data.size()));
    }
    for (chunk& each : *chunks)
        if (each.type == "IDAT" && !test_chance(random, 10))
            fitRows(chunks->front().data, &each.data);
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed)
{
    test_random random{seed};
    if (layoutOf({data, size}))
        return mutateRaw(&random, data, size, maxSize);
    std::vector<chunk> chunks;
    if (isPng({data, size}) && !test_chance(&random, 15))
        chunks = chunksOf({data, size});
    if (chunks.empty())
        return LLVMFuzzerMutate(data, size, maxSize);
    change(&random, &chunks, maxSize);
    const bytes file = fileOf(chunks);
    if (file.size() > maxSize)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::copy(file.begin(), file.end(), data);
    return file.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const memoryFile file;
    const std::optional<raw_layout> layout = layoutOf({data, size});
    const std::span content = std::span(data, size).subspan(layout ? layoutBytes : 0);
    file.put(content);
    const std::optional<picture> made = readAs(layout, file.path());
    const std::optional<picture> piped = readThroughPipe(layout, content);
    fuzz_check(made.has_value() || !piped.has_value(), "a pipe: what a file may not hold is read");
    if (!made)
        return 0;
    checkEqual(*made, piped, "a pipe");
    for (const auto& [format, name] :
         {std::pair(picture_format::png, "PNG"), std::pair(picture_format::pgm, "PGM"),
          std::pair(picture_format::tiff, "TIFF"), std::pair(picture_format::raw, "raw")})
        writeAndReadBack(*made, format, name, file);
    return 0;
}
