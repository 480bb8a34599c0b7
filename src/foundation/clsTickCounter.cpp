// clsTickCounter: the low 32 bits of the monotonic clock in milliseconds.
#include "foundation/clsTickCounter.h"

#include <chrono>

std::int32_t clsTickCounter::Ticks() const {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    // Wraps as the system tick count does; the conversion to signed keeps the bit pattern.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(now.count()));
}

clsTickCounter& clsTickCounter::System() {
    static clsTickCounter counter;
    return counter;
}
