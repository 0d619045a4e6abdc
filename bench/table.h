#pragma once
// A row of the table that `scripts/run.sh bench` gathers from every benchmark: a figure, the floor
// or reference it is set against (measured in the same run) and their ratio. Each benchmark still
// prints its own detail; the rows carry only what the table shows.
#include <cstdio>

namespace bench {

inline void tableRow(const char* figure, double value, const char* unit, const char* floor, double floorValue)
{
    std::printf("@row|%s|%.2f %s|%s|%.2f %s|%.2f\n", figure, value, unit, floor, floorValue, unit,
                floorValue > 0 ? value / floorValue : 0.0);
    std::fflush(stdout);
}

} // namespace bench
