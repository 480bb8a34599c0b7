#pragma once
// clsTickCounter: the millisecond tick count that time budgets and check intervals are measured
// with. Ticks are 32-bit and signed, as the budgets' overflow rules expect: the count wraps after
// about 24.8 days into negative numbers, and a sum that overflows is the callers' business.
// The system counter reads CLOCK_MONOTONIC; tests hand their own counter in. Any thread.

#include <cstdint>

class clsTickCounter {
public:
    virtual ~clsTickCounter() = default;
    virtual std::int32_t Ticks() const;

    // The process's system counter.
    static clsTickCounter& System();
};
