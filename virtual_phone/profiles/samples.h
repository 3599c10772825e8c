// What a phone has collected before anybody asks for its logs: log files, crash reports, the last
// log of a download mode, the result of a touch self-test. All of it is invented, the same for
// every phone, and small: a phone is made for every test.
#pragma once

#include <string>
#include <vector>

#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {

/// Log files of the vendor's and of the system side, and the touch result.
const std::vector<ProfileFile>& sample_logs();

/// The items of the crash counter and of the reports that it counts.
const std::vector<ProfileItem>& sample_crashes();

/// The records in the partition of the factory items.
const std::vector<ProfileRecord>& sample_last_logs();

/// What the kernel has logged since the phone was switched on.
std::string sample_kernel_log();

}  // namespace virtual_phone
