// The clean-up stack, and the attention handlers.
#include "support/faults.h"

#include <qbase/attention.h>
#include <qbase/cleanup.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

namespace
{

// What was released, in order.
std::string order;

struct Resource {
    char name;
    qsys_status answer = QSYS_OK;
};

qsys_status release(void* resource)
{
    const auto* const object = static_cast<const Resource*>(resource);
    order += object->name;
    return object->answer;
}

constexpr qsys_status failureA = QSYS_FAILURE(0x1001);
constexpr qsys_status failureB = QSYS_FAILURE(0x1002);

class Cleanup : public testing::Test
{
public:
    static constexpr int capacity = 4;

    Cleanup()
    {
        order.clear();
    }

    qsys_status push(Resource* resource, int* id = nullptr)
    {
        return qsys_cleanup_register_(stack, capacity, &count, &status, QSYS_CLEANUP_OBJECT, resource,
                                      release, id);
    }
    qsys_status run(int limit = -1)
    {
        return qsys_cleanupExecute_(stack, &count, &status, limit);
    }

    qsys_cleanupEntry stack[capacity];
    int count = 0;
    int status = 0;
    Resource a{'a'}, b{'b'}, c{'c'}, d{'d'}, e{'e'};
};

} // namespace

TEST_F(Cleanup, RunsNewestFirstDownToTheLimit)
{
    int ids[4] = {};
    Resource* const all[] = {&a, &b, &c, &d};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(push(all[i], &ids[i]), QSYS_OK);
        EXPECT_EQ(ids[i], i);
    }
    EXPECT_EQ(stack[1].kind, QSYS_CLEANUP_OBJECT);
    for (const auto& [limit, expected] : {std::pair(ids[1], "dc"), {-1, "dcba"}, {-1, "dcba"}}) {
        EXPECT_EQ(run(limit), QSYS_OK);
        EXPECT_EQ(order, expected);
    }
}

TEST_F(Cleanup, TheFirstFailureWins)
{
    b.answer = failureB;
    c.answer = failureA;
    push(&a);
    push(&b);
    push(&c);
    EXPECT_EQ(run(), failureA);
    EXPECT_EQ(order, "cba");

    push(&b);
    status = failureA;
    EXPECT_EQ(run(), failureA);
    EXPECT_EQ(status, failureA);

    // A positive status is a success, which a failing clean-up replaces.
    push(&b);
    status = 1;
    EXPECT_EQ(run(), failureB);
}

TEST_F(Cleanup, AFullStackReleasesWhatItCannotHold)
{
    e.answer = failureB;
    for (Resource* resource : {&a, &b, &c, &d})
        push(resource);
    EXPECT_EQ(push(&e), QSYS_E_CLEANUP_FULL);
    EXPECT_EQ(order, "e");
    EXPECT_EQ(status, QSYS_E_CLEANUP_FULL);
    run();
    EXPECT_EQ(order, "edcba");

    status = failureA;
    EXPECT_EQ(qsys_cleanup_register_(stack, -1, &count, &status, QSYS_CLEANUP_OBJECT, &a, release, nullptr),
              QSYS_E_CLEANUP_FULL);
    EXPECT_EQ(status, failureA);
    // Nor may the numbers of a stack that lives for ever wrap.
    stack[0] = {INT32_MAX, QSYS_CLEANUP_OBJECT, &a, release};
    count = 1;
    EXPECT_EQ(push(&b), QSYS_E_CLEANUP_FULL);
}

TEST_F(Cleanup, OneEntryByItsNumber)
{
    int ids[4] = {};
    push(&a, &ids[0]);
    push(&b, &ids[1]);
    push(&c, &ids[2]);
    EXPECT_EQ(qsys_cleanup_doId_(stack, &count, &status, ids[1], 1), QSYS_OK);
    EXPECT_EQ(qsys_cleanup_doId_(stack, &count, &status, ids[1], 1), QSYS_E_ARGUMENT);
    EXPECT_EQ(order, "b");
    EXPECT_EQ(status, QSYS_OK);
    // A new entry is not mistaken for one that is still there.
    push(&d, &ids[3]);
    EXPECT_EQ(ids[3], 3);
    EXPECT_EQ(qsys_cleanup_doId_(stack, &count, &status, ids[2], 0), QSYS_OK);
    a.answer = failureA;
    EXPECT_EQ(qsys_cleanup_doId_(stack, &count, &status, ids[0], 1), failureA);
    EXPECT_EQ(qsys_cleanup_doId_(stack, &count, &status, ids[3], 1), failureA);
    EXPECT_EQ(order, "bad");
    EXPECT_EQ(count, 0);
}

// A release function that ends the same stack finds itself gone from it.
TEST_F(Cleanup, AReleaseFunctionMayCleanUp)
{
    static Cleanup* self;
    self = this;
    push(&a);
    qsys_cleanup_register_(
        stack, capacity, &count, &status, QSYS_CLEANUP_OBJECT, nullptr,
        [](void*) {
            order += '!';
            return self->run();
        },
        nullptr);
    push(&b);
    run();
    EXPECT_EQ(order, "b!a");
}

TEST_F(Cleanup, WhatCannotBeRegisteredIsReleased)
{
    const auto refuse = [&](qsys_cleanupEntry* entries, int* number, int* result, Resource* resource,
                            auto* function) {
        EXPECT_EQ(qsys_cleanup_register_(entries, 4, number, result, QSYS_CLEANUP_OBJECT, resource,
                                         function, nullptr),
                  QSYS_E_ARGUMENT);
    };
    refuse(nullptr, &count, &status, &a, release);
    EXPECT_EQ(status, QSYS_E_ARGUMENT);
    refuse(stack, nullptr, &status, &b, release);
    refuse(stack, &count, nullptr, &c, release);
    refuse(stack, &count, &status, &d, static_cast<decltype(&release)>(nullptr));
    EXPECT_EQ(order, "abc");
}

TEST(Attention, EachThreadHasItsOwnHandler)
{
    EXPECT_EQ(qsys_attention_check(), QSYS_OK);
    {
        const test_attention handler(2, failureA);
        EXPECT_EQ(qsys_attention_check(), QSYS_OK);
        EXPECT_EQ(qsys_attention_check(), failureA);
        std::thread([] {
            EXPECT_EQ(qsys_attention_check(), QSYS_OK);
            const test_attention mine(1, failureB);
            EXPECT_EQ(qsys_attention_check(), failureB);
        }).join();
        EXPECT_EQ(qsys_attention_check(), failureA);
        EXPECT_EQ(handler.polls(), 3);
    }
    EXPECT_EQ(qsys_attention_check(), QSYS_OK);
}
