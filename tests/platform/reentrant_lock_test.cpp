#include "platform/reentrant_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using fenxi::platform::ReentrantLock;
using namespace std::chrono_literals;

TEST(ReentrantLock, OwnerReentersAndMustLeaveAsOften) {
    ReentrantLock lock;
    lock.Enter();
    lock.Enter();
    EXPECT_EQ(lock.DepthHeldByMe(), 2u);
    std::atomic<bool> got{false};
    std::thread other([&] {
        lock.Enter();
        got = true;
        lock.Leave();
    });
    lock.Leave();
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(got);  // still held once
    lock.Leave();
    other.join();
    EXPECT_TRUE(got);
    EXPECT_EQ(lock.DepthHeldByMe(), 0u);
}

TEST(ReentrantLock, LeaveByNonOwnerIsIgnored) {
    ReentrantLock lock;
    lock.Enter();
    std::thread([&] {
        lock.Leave();
        EXPECT_FALSE(lock.TryEnter());
    }).join();
    EXPECT_EQ(lock.DepthHeldByMe(), 1u);
    lock.Leave();
    lock.Leave();  // not held: ignored
    EXPECT_TRUE(lock.TryEnter());
    lock.Leave();
}

TEST(ReentrantLock, DestroyedWhileHeldByDestroyingThread) {
    auto* lock = new ReentrantLock;
    lock->Enter();
    lock->Enter();
    delete lock;  // must not abort or leak
}
