// A fresh virtual phone for what is shown and not kept.
#pragma once

#include <filesystem>
#include <string>

#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/scratch.h"

namespace cli {

/// A phone of a profile, this process's own, that is gone with this object.
class TemporaryPhone {
 public:
  /// @param in the directory that it is made in; where files are quickest when empty
  /// Throws virtual_phone::Error, and std::system_error.
  explicit TemporaryPhone(const std::string& profile, const std::filesystem::path& in = {});
  TemporaryPhone(const TemporaryPhone&) = delete;
  TemporaryPhone& operator=(const TemporaryPhone&) = delete;

  virtual_phone::Phone& phone() const { return virtual_phone::selected(); }

 private:
  /// Gone also when no phone came of it.
  virtual_phone::Scratch scratch_;
};

}  // namespace cli
