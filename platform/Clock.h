#pragma once

#include <chrono>

// Time as the program waits on it. Tests hand in a clock of their own, so that a wait of a
// minute is over at once and a clock that jumps is a case like any other.
namespace nvrprint::platform {

class Clock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    // The time now, on a clock that never goes back.
    virtual TimePoint Now() = 0;
    // Returns after the duration has passed.
    virtual void Sleep(std::chrono::milliseconds duration) = 0;
};

// The system's steady clock. One for the process; it holds no state.
Clock& SystemClock();

}  // namespace nvrprint::platform
