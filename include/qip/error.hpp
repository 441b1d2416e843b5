// qip/error.hpp - how calls end that do not succeed, in C++17: the exception, and the stop button of an application.
#ifndef QIP_ERROR_HPP
#define QIP_ERROR_HPP

#include <qip/status.h>

#include <qbase/attention.h>

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace qip
{

// Libraries that hide what they do not name share the classes of this file with the program.
#pragma GCC visibility push(default)

// A call that failed; its text names the function and the reason.
class error : public std::runtime_error
{
public:
    error(const char* where, qip_status code)
        : std::runtime_error(std::string(where) + ": " + qip_statusText(code)), code_(code)
    {
    }
    qip_status code() const noexcept { return code_; } // see qip/status.h

private:
    qip_status code_;
};

// While it lives, the calls of its thread ask `go_on` many times a second: false ends them with an error of the
// code QSYS_E_CANCELLED, and what it throws leaves the call. It is asked on the library's threads too, one at a
// time. Of several the newest counts; they end on the thread that made them, in reverse order. What it throws in
// a call of the C interface leaves the next call of this one. A handler set by the C interface is not asked
// meanwhile and is gone afterwards.
class attention
{
public:
    explicit attention(std::function<bool()> go_on) : go_on_(std::move(go_on)), outer_(newest())
    {
        install(this);
    }
    ~attention() { install(outer_); }
    attention(const attention&) = delete;
    attention& operator=(const attention&) = delete;

    // Throws for a status that is a failure: what a handler of this thread has thrown, else an error.
    static void check(const char* where, qip_status status)
    {
        if (status < 0 && newest() && newest()->thrown_)
            std::rethrow_exception(std::exchange(newest()->thrown_, nullptr));
        if (status < 0)
            throw error(where, status);
    }

private:
    static attention*& newest()
    {
        thread_local attention* handler = nullptr;
        return handler;
    }
    static void install(attention* handler)
    {
        newest() = handler;
        qsys_attention_setHandler(handler ? &ask : nullptr, handler);
    }
    static qsys_status ask(void* context) noexcept
    {
        auto* const self = static_cast<attention*>(context);
        try {
            return !self->thrown_ && self->go_on_() ? QSYS_OK : QSYS_E_CANCELLED;
        } catch (...) {
            self->thrown_ = std::current_exception();
            return QSYS_E_CANCELLED;
        }
    }

    std::function<bool()> go_on_;
    attention* outer_;
    std::exception_ptr thrown_;
};

#pragma GCC visibility pop

} // namespace qip

#endif
