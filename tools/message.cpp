#include "message.h"

#include <cstdio>
#include <mutex>

namespace
{

std::mutex turn;
std::string status;

void write(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stderr);
}

const char* const eraseLine = "\r\x1b[K";

} // namespace

void message_print(const std::string& text)
{
    const std::lock_guard mine(turn);
    const std::string line = "qip-smooth: " + text + "\n";
    write(status.empty() ? line : eraseLine + line + status);
}

void message_setStatus(const std::string& text)
{
    const std::lock_guard mine(turn);
    if (text.empty() && status.empty())
        return;
    status = text;
    write(eraseLine + text);
}
