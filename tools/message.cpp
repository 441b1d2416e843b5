#include "message.h"

#include <cstdio>
#include <mutex>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

std::mutex turn;
std::string status;

void write(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stderr);
}

const char* const eraseLine = "\r\x1b[K";

// A name may hold any bytes, and a terminal obeys some: the control characters are written as in C. Bytes
// from 128 on are parts of other characters, save for those of UTF-8's further control characters.
std::string withoutControls(const std::string& text)
{
    const auto isFurther = [&](size_t i) {
        return i + 1 < text.size() && text[i] == '\xc2' && (text[i + 1] & 0xe0) == 0x80;
    };
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", c);
        if (c == '\n')
            shown += "\\n";
        else if (c < 0x20 || c == 0x7f || isFurther(i) || (i > 0 && isFurther(i - 1)))
            shown += code;
        else
            shown += text[i];
    }
    return shown;
}

// A line that is wider than the terminal could not be written over itself.
size_t widthOfTerminal()
{
    struct winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col - 1u : 40;
}

} // namespace

void message_print(const std::string& text)
{
    const std::lock_guard mine(turn);
    const std::string line = "qip-smooth: " + withoutControls(text) + "\n";
    write(status.empty() ? line : eraseLine + line + status);
}

void message_setStatus(const std::string& text)
{
    const std::lock_guard mine(turn);
    if (text.empty() && status.empty())
        return;
    status = text.substr(0, widthOfTerminal());
    write(eraseLine + status);
}
