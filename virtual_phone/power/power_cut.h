// A power cut: what was flushed is kept, and the rest is lost.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/enum_names.h"

namespace virtual_phone {

/// What becomes of what was not flushed: it is lost, cut at the end of a block, or kept.
enum class Unflushed { dropped, torn, kept };
template <>
inline constexpr EnumName<Unflushed> kEnumNames<Unflushed>[] = {
    {Unflushed::dropped, "dropped"}, {Unflushed::torn, "torn"}, {Unflushed::kept, "kept"}};

/// What became of a file: it is gone, has another content, or is back under its name.
enum class Became { gone, content, name };
template <>
inline constexpr EnumName<Became> kEnumNames<Became>[] = {
    {Became::gone, "gone"}, {Became::content, "content"}, {Became::name, "name"}};

/// A file that a power cut has changed.
struct LostFile {
  std::string path;  ///< on the phone; of the modem's files "efs:" and theirs
  Became became;
  std::optional<uint64_t> bytes;  ///< that it has now; none where it is gone, or a directory
};

class Phone;

/// Cuts the power of a phone that is at rest: what was not flushed goes as `unflushed` says, and
/// the uptime ends. Recorded as an event of the kind kPowerCutEvent. Throws Error.
/// @return what was lost of the files, by their paths
std::vector<LostFile> cut_power(Phone& phone, Unflushed unflushed);

}  // namespace virtual_phone
