#include "virtual_phone/power/power_cut.h"

#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/roll_back.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {

std::vector<LostFile> cut_power(Phone& phone, Unflushed unflushed) {
  // First: what is written from here on may flush what is lost.
  roll_back_unsynced(phone, unflushed);
  const std::vector<LostFile> lost = lose_unflushed(phone, unflushed);
  end_uptime(phone, kPowerCutEvent, std::string("what was not flushed is ") + name_of(unflushed));
  return lost;
}

}  // namespace virtual_phone
