// What was written to the files of the phone and not flushed: a file's data until it is, a name
// until its directory is. What was there before is kept beside the files, so that a killed process
// loses nothing, and a power cut finds what is left of it. Kernel nodes are on no disk, and of
// owners and modes nothing is lost.
#pragma once

#include <android-base/unique_fd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device_home.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/power/power_cut.h"

namespace virtual_phone {

/// Where what was flushed is kept, below the phone's directory.
constexpr char kUnflushedName[] = "unflushed";

/// From before what is flushed is kept until the operation is done and noted, in any process: those
/// that change data do it side by side, and what flushes, or changes names, is alone. So nothing is
/// taken for flushed that was written meanwhile. Others wait for nobody.
class FileTurn {
 public:
  FileTurn(const Phone& phone, const fcx::FileAccess& access);
  /// Alone.
  explicit FileTurn(const Phone& phone);

 private:
  android::base::unique_fd fd_;
};

/// Before an operation on a file, in its turn: keeps what a power cut would leave in place of what
/// it changes. Where that cannot be kept, what it changes counts as flushed, and the log says so.
/// @return whether the operation can change a file or a name that outlives a restart
bool keep_flushed(Phone& phone, const fcx::FileAccess& access);
/// After it has succeeded: what it has flushed is lost no more.
void note_flushed(Phone& phone, const fcx::FileAccess& access);
/// Everything below a path in the phone's directory, as "root", was flushed, and the path itself;
/// or it was replaced by somebody who is no part of the phone's software.
void note_tree_flushed(Phone& phone, const std::filesystem::path& tree);

/// Flushes all that was written to the phone so far, as a phone's own software does before it says
/// that something is done: a power cut loses none of it. Quick where nothing was written since the
/// last time. Throws Error.
void make_durable(Phone& phone);

/// A file of which something is not flushed.
struct UnflushedFile {
  std::string path;  ///< on the phone; of the modem's files "efs:" and theirs
  bool data = false;
  bool name = false;
};
std::vector<UnflushedFile> unflushed_files(Phone& phone);

/// Leaves the files as a power cut does. Interrupted, it can be done again. Throws Error.
std::vector<LostFile> lose_unflushed(Phone& phone, Unflushed unflushed);

}  // namespace virtual_phone
