// The faults that are set on a phone, as they are told.
#pragma once

#include <vector>

#include "tools/json.h"
#include "virtual_phone/faults/faults.h"

namespace cli {

Json faults_json(const std::vector<virtual_phone::Fault>& faults);
void print_faults(const std::vector<virtual_phone::Fault>& faults);

}  // namespace cli
