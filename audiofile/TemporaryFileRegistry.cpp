#include "audiofile/TemporaryFileRegistry.h"

#include <climits>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace kalim
{
namespace
{

enum class SlotState
{
    free,
    changing,
    used
};

struct Slot
{
    std::atomic<SlotState> state = SlotState::free;
    std::array<char, PATH_MAX> path{};
};

static_assert(std::atomic<SlotState>::is_always_lock_free);

std::array<Slot, 16> slots;

void removeAndEnd(int signalNumber)
{
    TemporaryFileRegistry::removeAll();
    // The disposition was reset on entry, so that this ends the process with the right status.
    raise(signalNumber);
}

void installHandler(int signalNumber)
{
    struct sigaction previous
    {
    };

    sigaction(signalNumber, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN)
        return;

    struct sigaction action
    {
    };

    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

} // namespace

TemporaryFileRegistry::Entry::Entry(const std::string& path)
    : slot(slots.size())
{
    if (path.size() >= PATH_MAX)
        return;
    for (std::size_t i = 0; i < slots.size(); ++i)
    {
        auto expected = SlotState::free;
        if (!slots[i].state.compare_exchange_strong(expected, SlotState::changing))
            continue;
        std::ranges::copy(path, slots[i].path.begin());
        slots[i].path[path.size()] = '\0';
        slots[i].state = SlotState::used;
        slot = i;
        return;
    }
}

TemporaryFileRegistry::Entry::~Entry()
{
    if (slot < slots.size())
        slots[slot].state = SlotState::free;
}

void TemporaryFileRegistry::removeAll()
{
    for (const auto& slot : slots)
        if (slot.state == SlotState::used)
            unlink(slot.path.data());
}

void TemporaryFileRegistry::installSignalHandlers()
{
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP})
        installHandler(signalNumber);
}

} // namespace kalim
