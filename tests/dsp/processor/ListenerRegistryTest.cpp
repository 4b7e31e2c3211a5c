#include "dsp/processor/ListenerRegistry.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>

using orvo::audio::ListenerRegistry;

namespace
{

struct Listener
{
    char name = '?';
    std::atomic<bool> isAlive{true};

    ~Listener() { isAlive = false; }
};

std::string lastToFirst(ListenerRegistry<Listener>& registry)
{
    std::string names;
    registry.callLastToFirst([&](Listener& listener) { names += listener.name; });
    return names;
}

} // namespace

TEST(ListenerRegistry, keepsTheOrderOfAddingThroughGaps)
{
    std::array<Listener, 5> all{{{'a'}, {'b'}, {'c'}, {'d'}, {'e'}}};
    ListenerRegistry<Listener> registry;
    registry.add(nullptr);
    for (Listener& listener : all)
        registry.add(&listener);
    registry.add(&all[0]); // there already, keeps its place
    EXPECT_EQ(lastToFirst(registry), "edcba");
    registry.remove(&all[1]);
    registry.remove(&all[1]);
    registry.remove(nullptr);
    EXPECT_EQ(lastToFirst(registry), "edca");
    registry.add(&all[1]);
    EXPECT_EQ(lastToFirst(registry), "bedca");
    std::string names;
    registry.callFirstToLast([&](Listener& listener) { names += listener.name; });
    EXPECT_EQ(names, "acdeb");
}

TEST(ListenerRegistry, letsListenersRemoveThemselvesAndOthersDuringACall)
{
    std::array<Listener, 4> all{{{'a'}, {'b'}, {'c'}, {'d'}}};
    ListenerRegistry<Listener> registry;
    for (Listener& listener : all)
        registry.add(&listener);
    std::string names;
    registry.callLastToFirst(
        [&](Listener& listener)
        {
            names += listener.name;
            if (listener.name == 'c')
            {
                registry.remove(&all[2]);
                registry.remove(&all[1]); // has not been called yet, and will not be
            }
        });
    EXPECT_EQ(names, "dca");
    EXPECT_EQ(lastToFirst(registry), "da");
}

TEST(ListenerRegistry, neverCallsAListenerThatWasRemovedAndDestroyed)
{
    ListenerRegistry<Listener> registry;
    std::atomic<bool> isRunning{true};
    std::atomic<int> numLate{0};
    const auto notify = [&]
    {
        while (isRunning)
            registry.callLastToFirst([&](Listener& listener)
                                     { numLate += listener.isAlive ? 0 : 1; });
    };
    std::thread first(notify);
    std::thread second(notify);
    for (int round = 0; round < 5000; ++round)
    {
        const auto listener = std::make_unique<Listener>();
        registry.add(listener.get());
        registry.remove(listener.get());
    }
    isRunning = false;
    first.join();
    second.join();
    EXPECT_EQ(numLate, 0);
}
