// The logs that download mode has left.
#pragma once

#include <string_view>

namespace fcx {

/// Writes the two last logs of download mode, as far as there are any, into a folder: as
/// "rkf_last_dmesg_0.txt" and "rkf_last_dmesg_1.txt". Everything is logged.
/// @param folder with a '/' at its end
void save_last_logs(std::string_view folder);

}  // namespace fcx
