// Folders on the way of a walk: what keeps it from going on for ever.
#pragma once

#include "common/files.h"

namespace fcx {

/// A folder that a walk is in, and the one that it was found in.
struct WalkedFolder {
  FileId id;
  FileId target = {};  ///< the folder that it is copied into, if it is
  const WalkedFolder* parent = nullptr;
  bool is_by_link = false;  ///< whether a link has led to it, or to one above it

  /// Whether the walk may go on into a folder that was found in this one. Not into one on its way,
  /// nor into what is made of these; and where a link has led there, not along another: each folder
  /// would be walked as often as there are ways to it.
  /// @param path  of the folder that was found, or of a link to it
  /// @param found has that folder's id, and receives its place in the walk
  bool leads_to(const char* path, WalkedFolder& found) const {
    for (const WalkedFolder* each = this; each != nullptr; each = each->parent) {
      if (each->id == found.id || each->target == found.id) return false;
    }
    FileType type = FileType::other;
    // One that has just gone is not opened either.
    const bool is_link = look_up_type(path, type).ok() && type == FileType::link;
    found.parent = this;
    found.is_by_link = is_by_link || is_link;
    return !(is_by_link && is_link);
  }
};

}  // namespace fcx
