#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <chrono>
#include <future>
#include <thread>

#include "engine_probe.h"
#include "fenxi/fenxi.h"

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using namespace std::chrono_literals;

namespace {

void Fill(FENXIDATA* rows, int from, int to, double base) {
    for (int i = from; i < to; ++i)
        for (double& v : rows[i].FenXi) v = base + i;
}

}  // namespace

TEST(Buffer, GenerateBufferZeroesRowsAndLeavesLockFree) {
    CAnalysisTechniques e;
    FENXIDATA* out = reinterpret_cast<FENXIDATA*>(0x1);
    e.GenerateBuffer(nullptr, 100, out, 0);
    EXPECT_EQ(out, reinterpret_cast<FENXIDATA*>(0x1));  // n <= 0: untouched
    e.GenerateBuffer(nullptr, 100, out, -5);
    EXPECT_EQ(out, reinterpret_cast<FENXIDATA*>(0x1));

    e.GenerateBuffer(nullptr, 100, out, 3);
    ASSERT_NE(out, nullptr);
    Fill(out, 0, 3, 7.0);
    e.GenerateBuffer(nullptr, 100, out, 3);
    for (int i = 0; i < 3; ++i) {
        for (double v : out[i].FenXi) EXPECT_EQ(v, 0.0);
        for (double v : out[i].Reserved) EXPECT_EQ(v, 0.0);
    }
    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u);
}

TEST(Buffer, ShrinkingRequestReusesBlockAndKeepsTail) {
    CAnalysisTechniques e;
    FENXIDATA* first = nullptr;
    e.GenerateBuffer(nullptr, 100, first, 100);
    Fill(first, 0, 100, 1.0);
    FENXIDATA* second = nullptr;
    e.GenerateBuffer(nullptr, 100, second, 50);
    EXPECT_EQ(second, first);
    EXPECT_EQ(FenxiEngineProbe::Capacity(e), 100);
    EXPECT_EQ(second[49].FenXi[0], 0.0);
    for (int i = 50; i < 100; ++i) EXPECT_EQ(second[i].FenXi[42], 1.0 + i);
}

TEST(Buffer, GrowingRequestMovesRowsAndZeroesNewOnes) {
    CAnalysisTechniques e;
    auto& buffer = FenxiEngineProbe::State(e).Buffer;
    FENXIDATA* small = buffer.Acquire(50);
    Fill(small, 0, 50, 3.0);
    buffer.Leave();
    FENXIDATA* large = buffer.Acquire(100);
    buffer.Leave();
    EXPECT_EQ(buffer.Capacity, 100);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(large[i].FenXi[5], 3.0 + i);
    for (int i = 50; i < 100; ++i) EXPECT_EQ(large[i].FenXi[5], 0.0);
}

TEST(Buffer, ImpossibleRequestGivesNullWithLockLeft) {
    CAnalysisTechniques e;
    auto& buffer = FenxiEngineProbe::State(e).Buffer;
    EXPECT_EQ(buffer.Acquire(std::int64_t{1} << 40), nullptr);
    EXPECT_EQ(buffer.Lock.DepthHeldByMe(), 0u);
    EXPECT_EQ(buffer.Capacity, 0);
}

TEST(Copies, ShareRowsAndSurviveAnyDestructionOrder) {
    for (bool originalFirst : {true, false}) {
        auto* original = new CAnalysisTechniques;
        FENXIDATA* rows = nullptr;
        original->GenerateBuffer(nullptr, 100, rows, 10);
        auto* copy = new CAnalysisTechniques(*original);
        FENXIDATA* copyRows = nullptr;
        Fill(rows, 0, 10, 9.0);
        copy->GenerateBuffer(nullptr, 100, copyRows, 4);
        EXPECT_EQ(copyRows, rows);
        EXPECT_EQ(rows[3].FenXi[0], 0.0);   // the copy's call zeroed the shared rows
        EXPECT_EQ(rows[4].FenXi[0], 13.0);
        if (originalFirst) std::swap(original, copy);
        delete original;
        copy->GenerateBuffer(nullptr, 100, copyRows, 20);  // survivor keeps working
        EXPECT_NE(copyRows, nullptr);
        delete copy;
    }
}

TEST(Copies, AssignmentDropsOldStateAndSharesNew) {
    CAnalysisTechniques a, b;
    FENXIDATA* ra = nullptr;
    FENXIDATA* rb = nullptr;
    a.GenerateBuffer(nullptr, 100, ra, 5);
    b.GenerateBuffer(nullptr, 100, rb, 5);
    b = a;
    b = b;
    FENXIDATA* again = nullptr;
    b.GenerateBuffer(nullptr, 100, again, 5);
    EXPECT_EQ(again, ra);
    EXPECT_EQ(&FenxiEngineProbe::State(a), &FenxiEngineProbe::State(b));
    EXPECT_EQ(FenxiEngineProbe::State(a).Owners.load(), 2);
}

TEST(Lock, AnotherThreadBlocksUntilOwnerLeaves) {
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    e.GenerateBuffer(nullptr, 100, rows, 8);
    auto& lock = FenxiEngineProbe::Lock(e);
    lock.Enter();  // as a generator in progress
    std::atomic<bool> done{false};
    std::thread other([&] {
        FENXIDATA* mine = nullptr;
        e.GenerateBuffer(nullptr, 100, mine, 8);
        // Whatever the owner wrote is gone: this call's rows are whole.
        for (int i = 0; i < 8; ++i) EXPECT_EQ(mine[i].FenXi[0], 0.0);
        done = true;
    });
    Fill(rows, 0, 8, 1.0);
    std::this_thread::sleep_for(40ms);
    EXPECT_FALSE(done);
    lock.Leave();
    other.join();
    EXPECT_TRUE(done);
}

TEST(Lock, OwnerReentersAndSeparateEnginesRunInParallel) {
    CAnalysisTechniques held, free;
    auto& lock = FenxiEngineProbe::Lock(held);
    lock.Enter();
    FENXIDATA* rows = nullptr;
    held.GenerateBuffer(nullptr, 100, rows, 4);  // same thread: re-enters
    EXPECT_EQ(lock.DepthHeldByMe(), 1u);
    auto other = std::async(std::launch::async, [&] {
        FENXIDATA* r = nullptr;
        free.GenerateBuffer(nullptr, 100, r, 4);
        return r != nullptr;
    });
    EXPECT_EQ(other.wait_for(5s), std::future_status::ready);
    EXPECT_TRUE(other.get());
    lock.Leave();
}

TEST(Lock, EngineDestroyedWhileItsThreadHoldsTheLock) {
    auto* e = new CAnalysisTechniques;
    FENXIDATA* rows = nullptr;
    e->GenerateBuffer(nullptr, 100, rows, 4);
    FenxiEngineProbe::Lock(*e).Enter();
    FenxiEngineProbe::Lock(*e).Enter();
    delete e;
}

TEST(Property, ResetTouchesOnlyStartStyleAndTwoFlags) {
    CAnalysisTechniques::FENXIDATA_PROPERTY p;
    std::memset(&p, 0xAB, sizeof p);
    FenxiEngineProbe::ResetProperty(&p);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&p);
    for (std::size_t b = 0; b < sizeof p; ++b) {
        unsigned char want = 0xAB;
        if (b < 84 || (b >= 252 && b < 273) || b == 355) want = 0;
        if (b == 356) want = 1;
        EXPECT_EQ(bytes[b], want) << "byte " << b;
    }
}
