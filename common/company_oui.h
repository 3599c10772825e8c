// The maker's IEEE company identifier, from which the default Bluetooth address is made.
#pragma once

namespace fcx {

/// 12 hexadecimal digits, of which the build gives the first six (FCX_COMPANY_OUI).
inline constexpr char kDefaultBtAddress[] = FCX_COMPANY_OUI "000000";
static_assert(sizeof kDefaultBtAddress == 13, "FCX_COMPANY_OUI has six digits");

}  // namespace fcx
