#include "failure.h"

#include <cstdint>
#include <cstdio>

namespace
{

std::string refusalText(qip_status status)
{
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(status));
    return std::string("refused with status ") + code + ": " + qip_statusText(status);
}

} // namespace

refusal::refusal(qip_status refusedWith)
    : failure(EXIT_REFUSED, refusalText(refusedWith)), status(refusedWith)
{
}

qip_status refusal_check(qip_status status)
{
    if (status < 0)
        throw refusal(status);
    return status;
}
