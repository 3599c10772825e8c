// The SD card: a directory that is mounted, or kept beside the phone's file tree while it is out.
#pragma once

#include <filesystem>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

constexpr char kCardMount[] = "/storage/6A3F-11E2";
/// In the phone's directory, while the card is out.
constexpr char kCardName[] = "card";

/// Whether the card is mounted, as "/proc/mounts" says.
bool is_card_inserted(const Phone& phone);

/// Puts the card in, with the files that it has; the first time an empty one. It may be in already.
/// Throws Error.
void insert_card(Phone& phone);

/// Takes it out, with its files. It may be out already. Throws Error.
void remove_card(Phone& phone);

}  // namespace virtual_phone
