// SPDX-License-Identifier: MIT
#include "kt3/clock_text.hpp"

#include <ctime>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

std::string time_of_day(const std::tm& parts, long nanoseconds) {
    return fmt::format("{:02}:{:02}:{:02}.{:03}", parts.tm_hour, parts.tm_min, parts.tm_sec, nanoseconds / 1'000'000);
}

} // namespace

Moment this_moment() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc{};
    std::tm local{};
    ::gmtime_r(&now.tv_sec, &utc);
    ::localtime_r(&now.tv_sec, &local);
    return {fmt::format("{:04}-{:02}-{:02}T{}Z", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                        time_of_day(utc, now.tv_nsec)),
            time_of_day(local, now.tv_nsec)};
}

} // namespace kt3::cli
