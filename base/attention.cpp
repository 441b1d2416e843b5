// The attention handler of each thread. A check costs one look at a thread-local pointer while no handler
// is installed.
#include "base/attention.h"

namespace
{

thread_local constinit base_attention attention = {};

} // namespace

base_attention base_attention_get()
{
    return attention;
}

void base_attention_set(const base_attention& other)
{
    attention = other;
}

base_attentionShared::base_attentionShared()
{
    attention.oneAtATime = &oneAtATime;
}

// A job on this thread may have installed another handler, which stays.
base_attentionShared::~base_attentionShared()
{
    attention.oneAtATime = nullptr;
}

qsys_status qsys_attention_setHandler(qsys_attention_handler handler, void* context)
{
    attention.handler = handler;
    attention.context = context;
    return QSYS_OK;
}

qsys_status qsys_attention_check(void)
{
    const base_attention asked = attention;
    if (!asked.handler)
        return QSYS_OK;
    if (!asked.oneAtATime)
        return asked.handler(asked.context);
    const std::lock_guard<std::recursive_mutex> lock(*asked.oneAtATime);
    return asked.handler(asked.context);
}
