// The attention handler of a thread, for the job service: jobs ask the handler of the thread that dispatched
// them.
#pragma once

#include <qbase/attention.h>

#include <mutex>

struct base_attention {
    qsys_attention_handler handler;
    void* context;
    // Held while the handler is asked, so that it is asked by one thread at a time; null where only its own
    // thread asks it. A handler may use the library itself, which asks it again.
    std::recursive_mutex* oneAtATime;
};

base_attention base_attention_get();
void base_attention_set(const base_attention& attention);

// Makes the handler of this thread one that jobs on other threads may ask, while the object lives.
class base_attentionShared
{
public:
    base_attentionShared();
    ~base_attentionShared();
    base_attentionShared(const base_attentionShared&) = delete;
    base_attentionShared& operator=(const base_attentionShared&) = delete;

private:
    std::recursive_mutex oneAtATime;
};
