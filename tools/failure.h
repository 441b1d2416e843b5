// How the program fails: a failure is thrown where it is found, and main turns it into one line on standard
// error and the exit status that it carries.
#pragma once

#include <qip/status.h>

#include <stdexcept>
#include <string>

enum exit_status { EXIT_REFUSED = 1, EXIT_USAGE = 2 };

class failure : public std::runtime_error
{
public:
    failure(exit_status status, const std::string& message)
        : std::runtime_error(message), exitStatus(status)
    {
    }

    exit_status exitStatus;
};

// The command line asks for something that does not exist.
class usage_failure : public failure
{
public:
    explicit usage_failure(const std::string& message) : failure(EXIT_USAGE, message)
    {
    }
};

// A file cannot be read or written.
class file_failure : public failure
{
public:
    file_failure(const std::string& path, const std::string& reason)
        : failure(EXIT_REFUSED, path + ": " + reason)
    {
    }
};

// The library or a base service answered with a negative status.
class refusal : public failure
{
public:
    explicit refusal(qip_status refusedWith);

    qip_status status;
};

// Passes success through; throws a refusal otherwise.
qip_status refusal_check(qip_status status);
