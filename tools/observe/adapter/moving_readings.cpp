// SPDX-License-Identifier: MIT
#include "observe/adapter/moving_readings.hpp"

namespace kt3::observe {

MovingReadings read_moving(const Adapter& adapter) {
    return {read_live(adapter), read_usage(adapter), read_driver_page(adapter), read_link_width(adapter)};
}

} // namespace kt3::observe
