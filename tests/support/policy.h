// Choosing the code that runs: processor levels, and the inhibition of fast paths by name.
//
// The classes install themselves and put the default back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Inhibits one routine, all of them ("*") or none (""), and records the names asked, in order. Thread-safe.
class test_inhibition
{
public:
    explicit test_inhibition(const std::string& name);
    ~test_inhibition();
    test_inhibition(const test_inhibition&) = delete;
    test_inhibition& operator=(const test_inhibition&) = delete;

    static std::vector<std::string> asked();
};

// Reports this processor class, and those of the feature bits that the machine has.
class test_processor
{
public:
    test_processor(int32_t processorClass, uint32_t features);
    ~test_processor();
    test_processor(const test_processor&) = delete;
    test_processor& operator=(const test_processor&) = delete;
};

// Runs the body at every processor level that the machine has, with the level's name in every failure.
void test_atEveryLevel(const std::function<void(const std::string& level)>& body);
