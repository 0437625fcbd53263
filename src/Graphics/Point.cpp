// SPDX-License-Identifier: MIT
#include <ORVEX/Point.h>

namespace ORVEX {

const std::int32_t Point::TypeZero;
const std::int32_t Point::TypeMin;
const std::int32_t Point::TypeMax;

} // namespace ORVEX
