// Customisation packages of the ready-made phones, in the format of docs/customisation.md.
// Everything in them is invented, but for the numbers of countries and networks.
#pragma once

#include <string>
#include <vector>

#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {

/// A package, wherever it lies. Paths are below the directory of all packages.
struct Package {
  /// A network whose phones are customised by this package.
  struct Network {
    const char* code;    ///< MCC and MNC
    const char* subset;  ///< two digits
    const char* carrier;
    const char* values;  ///< KEY=VALUE lines of that carrier
  };

  const char* directory;
  std::vector<Network> networks;
  std::vector<ProfileFile> files;
  const char* petnames;
};

/// Several carriers in Europe.
const Package& open_europe();
/// A small one for North America, which docs/customisation.md shows whole.
const Package& north_america();

/// The value of "ro.vendor.qve.capp_tamra.rootdir" that goes with the files.
std::string root_in_place(const Package& package);
std::string root_on_overlay(const Package& package);

/// The files where the library opens them.
std::vector<ProfileFile> files_in_place(const Package& package);
/// The files where only the file-handle service reads them.
std::vector<ProfileFile> files_on_overlay(const Package& package);

}  // namespace virtual_phone
