// The attention handler of each thread. A check costs one look at a thread-local pointer while no handler
// is installed.
#include <qbase/attention.h>

namespace
{

struct handlerRecord {
    qsys_attention_handler handler;
    void* context;
};

thread_local constinit handlerRecord attention = {};

} // namespace

qsys_status qsys_attention_setHandler(qsys_attention_handler handler, void* context)
{
    attention = {handler, context};
    return QSYS_OK;
}

qsys_status qsys_attention_check(void)
{
    return attention.handler ? attention.handler(attention.context) : QSYS_OK;
}
