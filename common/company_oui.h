// The maker's IEEE company identifier, from which the default Bluetooth address is made.
#pragma once

#include <string_view>

// Set by the build (FCX_COMPANY_OUI): six hexadecimal digits.
#define FCX_DEFAULT_BT_ADDRESS FCX_COMPANY_OUI "000000"

namespace fcx {

/// 12 hexadecimal digits.
inline constexpr char kDefaultBtAddress[] = FCX_DEFAULT_BT_ADDRESS;
static_assert(sizeof kDefaultBtAddress == 13, "FCX_COMPANY_OUI has six digits");

}  // namespace fcx
