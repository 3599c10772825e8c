// Files of the customisation package, and what carrier set-up finds out about the device at its
// start. On a product whose package lies on an overlay, files of the system and product trees are
// read whole through the file-handle service; everywhere else they are opened.
// docs/customisation.md describes the package.
//
// Lines go to the system log buffer with priority INFO, tag "Fcx" and the prefix "[QVE][SBP]", but
// none at all once qve_check_fboot_status() has found the build type "user". XML in an encoding
// that is refused is told at priority ERROR.
//
// Example:
//
//   #include <cstdio>
//
//   char mapping[2048];
//   char directory[128];
//   qve_get_tamra_file_path("/cust_path_mapping.cfg", mapping);
//   if (fexists(mapping) == 0) return;                                        // no such file
//   if (qve_get_value_from_file(mapping, "310410,01", directory) != 0) return;  // no such key
//   puts(directory);
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

struct _xmlDoc;  // libxml2's document, xmlDoc

#pragma GCC visibility push(default)

/// Whether the package must be read through the file-handle service. Asked of the platform's
/// feature library when this library is loaded.
extern bool e_is_overlayfs;

// Reaching a file. Paths are the device's.

/// Whether a path is one of the system or product tree.
/// @return 1 when the path contains "/product" or "/system" anywhere, else 0. Not a prefix test, on
///         purpose: "/vendor/productx/a.xml" counts.
int is_system_path(const std::string& path);

/// The whole contents of a file of the system or product tree, read through the file-handle
/// service, however long the service takes. Empty for any other path, without the service, and for
/// what it cannot read.
std::string get_halData_from_file(const std::string& path);

/// Copies a file that only the service can read to "/mnt/vendor/persist-qv/kelp", under its last
/// component. A copy of that name is overwritten: not two at once.
/// @param copy the copy's path; untouched when 0 is returned
/// @return 1 when the copy could be opened for writing, also where not all could be written to it
///         then, which is logged; 0 when it could not, and where get_halData_from_file() is empty
int get_hal_copied_file(const std::string& path, std::string& copy);

/// Parses an XML file, in either mode. Through the service it is copied first; the copy is removed
/// once it is parsed, and stays on purpose when it could not be. Where no copy can be made the file
/// is opened as in the other mode. Nothing is fetched from a network, and no external entity is
/// loaded.
/// @return the document, to be freed with xmlFreeDoc(). Null, which is logged, for what is not
///         there, cannot be read, has more than 16 MiB, is no XML, or has an encoding that no phone
///         reads (docs/customisation.md); null for a null name, too
_xmlDoc* getXmlParseFile(const char* name);

/// Whether a file exists.
/// @return 1 when it does in the way of that mode: the service has contents for it; the
///         file can be found; whichever of the two reaches it. Else 0, also for null and where that
///         cannot be found out
int fexists_hal(const char* path);
int fexists_direct(const char* path);
int fexists(const char* path);

/// The path of a file of the package: the root, "/etc" in overlay mode, and `name` with its slash.
/// @param name may be null: the root alone
/// @param out 2048 bytes that receive NUL-terminated text; a longer path is cut
/// @return `out`, also when it is null
char* qve_get_tamra_file_path(const char* name, char* out);

// Values in files.

/// Finds a key in a file of KEY=VALUE lines. The first line with that key counts; a carriage return
/// at its end does not. Opened directly, a line of more than 127 characters counts as several.
/// @param value 128 bytes with the NUL; a longer value is cut. Untouched when 1 is returned
/// @return 0 when the key was found; 1 when it was not, the file is not there or cannot be read
///         (see fcx::PackageCache), or an argument is null
int qve_get_value_from_file(const char* path, const char* key, char* value);
int qve_get_value_from_file_direct(const char* path, const char* key, char* value);
int qve_get_value_from_file_hal(const char* path, const char* key, char* value);

/// Finds the customisation directory of this device in "cust_path_mapping.cfg", whose lines are
/// MCCMNC,SUBSET=PATH. The network code's order decides between its entries, as many as the
/// network-code count says; the file's order between lines. Overlay mode compares the two
/// characters after the comma only, direct mode everything up to "=", on purpose.
/// @param path        overlay mode: the directory found; empty otherwise
/// @param mccmnc_list comma-separated, parallel to `subset_list`; 127 characters of it count
/// @param subset_list comma-separated; 63 characters of it count
/// @param out         92 bytes: the directory, cut at 91 characters; untouched when none was found
/// @param pieces      overlay mode: receives what the line's value holds between its ":", after
///                    what is there; untouched when none was found. May be null. A null pointer for
///                    any other only empties `path`
void qve_parse_cust_path(std::string& path, const char* mccmnc_list, const char* subset_list,
                         char* out, std::vector<std::string>* pieces = nullptr);

/// One scan of the mapping file in overlay mode.
/// @param path    on a match "/mnt/product/OP/" and the value's last piece
/// @param pieces  on a match its pieces, between ":", after what is there
/// @param mapping read up to the line that matches, or to its end
/// @return 1 on a match, else 0 (`path` and `pieces` are then untouched)
int find_matching_path(std::string& path, std::vector<std::string>& pieces, std::istream& mapping,
                       const std::string& mccmnc, const std::string& subset);

// What set-up finds out at its start. Each leaves what it found in the state of carrier set-up.

/// Reads "ro.vendor.qve.sbp.version"; the root becomes "/cust" for a version whose first character
/// is at most "3" ("10" included), when there is that directory. (The name is the system's.)
void qve_sbp_verion();

/// Settles how long set-up waits for the SIM: 5 seconds, on a MediaTek chipset 15 to 25.
void qve_sbp_set_timer();

/// Whether the chip vendor is "mtk".
void qve_check_mtk_chipset();

/// Whether the chipset is a slow one.
/// @return 1 when the platform is the slow "MT6755", else 0
int qve_check_low_chipset();

/// Whether "ro.vendor.qve.kelp" begins with "1".
void qve_check_kelp();

/// Which SIM profiles the region and the package call for.
void qve_check_nao_feature();

/// Publishes which SIM profiles are called for: "persist.vendor.qve.sim.profile" and
/// "ro.vendor.qve.sim.operator.use".
void qve_save_profile_type();

/// Settles the carrier by the network code's second table: at the first entry "10010" with a subset
/// of that table, SIM profiles are switched off and the carrier and country are set.
/// @param mccmnc_list, subset_list comma-separated and parallel; 2047 characters of each count. A
///        null one settles nothing, nor does an `mccmnc_list` of fewer than six
void qve_check_2nd_ntcode(const char* mccmnc_list, const char* subset_list);

/// Reads what earlier starts left, and stops the log on a "user" build.
/// @return 4 when "persist.vendor.qve.first-boot" is "1", else 0
int qve_check_fboot_status();

namespace fcx {

/// While one lives, the functions above read each file once for the thread that made it, and go by
/// what they have read: of each file 16 MiB. One that is made inside another's life is that one.
class PackageCache {
 public:
  PackageCache();
  ~PackageCache();
  PackageCache(const PackageCache&) = delete;
  PackageCache& operator=(const PackageCache&) = delete;

  /// The path of the first file that could not be read, or not be looked up; null when there was
  /// none. A file that is not there is no such file.
  const char* unreadable() const;

  struct Files;

 private:
  std::unique_ptr<Files> files_;
};

}  // namespace fcx

#pragma GCC visibility pop
