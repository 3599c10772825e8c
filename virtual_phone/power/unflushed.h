// What was written to the files of the phone and not flushed: a file's data until it is, a name
// until its directory is. What was there before is kept beside the files, so that a killed process
// loses nothing, and a power cut finds what is left of it. Kernel nodes are on no disk.
#pragma once

#include "platform/device_home.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/power/power_cut.h"

namespace virtual_phone {

/// Where what was flushed is kept, below the phone's directory.
constexpr char kUnflushedName[] = "unflushed";

/// Before an operation on a file: keeps what a power cut would leave in place of what it changes.
/// Throws Error when that cannot be kept.
/// @return whether the operation can change a file or a name that outlives a restart
bool keep_flushed(Phone& phone, const fcx::FileAccess& access);
/// After it has succeeded: what it has flushed is lost no more.
void note_flushed(Phone& phone, const fcx::FileAccess& access);
/// Everything in a tree of the phone, as "root", was flushed.
void note_all_flushed(Phone& phone, std::string_view tree);

/// Leaves the files as a power cut does.
void lose_unflushed(Phone& phone, Unflushed unflushed);

}  // namespace virtual_phone
