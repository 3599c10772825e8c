// The device's version strings. A getter returns 0, or 1 when there is no such text, and writes the
// length of `out`; the text has no NUL after it unless said otherwise. One that fails leaves `out`
// and `out_len` as they were, unless said otherwise. A null pointer fails. Failures are logged with
// priority INFO.
//
// Example:
//
//   #include <cstdio>
//
//   char version[69];
//   int length = 0;
//   if (get_qve_factory_sw_version(1, version, &length) != 0) return;  // there is none
//   printf("%.*s\n", length, version);                                // no NUL comes with it
#pragma once

#include <cstddef>

#pragma GCC visibility push(default)

/// The factory software version, as MODEL-TYPE-NAME-MCC-MNC[-POSTFIX]-DATE and what follows it. Its
/// pieces are from "ro.vendor.qve.factoryversion", the modem (the type's code) and further
/// properties; with type 2 also from the customisation package and the network-code list.
/// @param type 1: as the software was built; 2: as the carrier's package and the network code make
///             it, which is also stored in factory item 14; that it could not is logged, and no
///             failure. With any other type 0 is returned without a text: `out` and `out_len` stay
/// @param out  69 bytes
int get_qve_factory_sw_version(int type, char* out, int* out_len);
/// As get_qve_factory_sw_version(), without the line that says that it was asked for.
int get_qve_factory_sw_version_sbp(int type, char* out, int* out_len);

/// The version of the software's fixed areas: four build identifiers of 11 characters with '-'
/// between them, and after a further '-' one character.
/// @param out     49 bytes. A line of a build-identifier file that is too short leaves zero bytes
/// @param out_len receives the length up to the first of them. 0 without an application-processor
///                identifier, with `out` as it was, and when the customisation's cannot be read,
///                with the fields before it and zero bytes in `out`
/// @return 0; 1 also with a text that has a default in it: "FFFFFFFFFFF" when there is no file of
///         the customisation, "FFFFFFFFFFF-F" when there is none of the carrier, or it cannot be
///         read
int get_qve_factory_sw_fixed_area_version(char* out, int* out_len);

/// The hardware revision from the kernel command line: "1.0", "0.a1", or the digit of an evaluation
/// board. 1 for a revision that is reserved.
/// @param out 5 bytes
int get_qve_hw_version(char* out, int* out_len);

/// The Android release, "ro.build.version.release".
/// @param out 92 bytes, with a NUL
int get_qve_android_sw_version(char* out, int* out_len);

/// The binary revision, "ro.vendor.qve.swversion_rev" when it has one or two characters, else "0".
/// @param out 3 bytes, with a NUL
/// @return 0, or 1 for a null pointer
int get_qve_bynary_revision(char* out, int* out_len);

// Pieces of the factory software version from files of KEY=VALUE lines. A slot has 70 bytes, text
// of at most 69 characters and a NUL.

/// Fills the slots that are still empty from a carrier's property file; only "ro.vendor.qve.opensw"
/// overwrites the MCC and the MNC.
/// @param mccmnc, subset what the network code's first entry says
/// @return 0; 1 for a null pointer, and when the file, or the mapping of groups, is there and
///         cannot be read: slots may have been filled then
int load_swv_components_from_file(char* file, char* mccmnc, char* subset, char* mcc, char* mnc,
                                  char* short_name, char* hidden, char* date, char* postfix);

/// How the property files of the package in directory `root` are arranged.
/// @return 2 with a mapping file of its own, 1 for the open package, else 0, also for null
int qve_parse_integration(char* root);

/// Finds the integration property file that belongs to a carrier's one.
/// @param out 2048 bytes; untouched when `prop_file` holds no '/'
/// @return whether it is another file than `prop_file`: 1 or 0; always 1 for a package with a
///         mapping file of its own; 0 for a null pointer, with nothing written
int qve_integration_properties(char* out, const char* prop_file, const char* root);

// The same with where each piece is from, for whoever asks why a version is as it is.

namespace fcx {

/// Where a piece of the factory software version is from. In one slot each comes before those below
/// it.
enum class VersionSource {
  none,          ///< the slot is empty
  file,          ///< a property file of the package
  network_code,  ///< the first entry of the network-code list
  group_file,    ///< the package's mapping of customisation groups
  modem,         ///< the modem's answer
  property,      ///< a system property
};

/// A piece of the factory software version.
struct VersionSlot {
  char text[70];         ///< with its NUL
  VersionSource source;  ///< where it is from
  const char* name;      ///< of the property, or of the file's key; else null
  int file;              ///< which of FactoryVersion::files, where it is from one
};

/// The factory software version, and what it is made of.
struct FactoryVersion {
  VersionSlot model;       ///< as "QV100AT"
  VersionSlot type;        ///< as "00"
  VersionSlot short_name;  ///< as "V10a"
  VersionSlot mcc;         ///< digits, or a word
  VersionSlot mnc;         ///< likewise
  VersionSlot postfix;     ///< left out when it is empty
  VersionSlot date;        ///< of the release
  VersionSlot arb;         ///< the anti-rollback version, left out when it is empty
  VersionSlot hidden;      ///< what comes after '+'
  bool is_factory;         ///< it ends in "-FACTORY", and has no hidden version
  char text[70];           ///< the version
  char files[5][2048];     ///< property files that filled slots, and the mapping of groups
};

/// The factory software version as get_qve_factory_sw_version_sbp() makes it; nothing is stored.
/// @param type 1 or 2
/// @return 0, or 1 when there is none; what was found by then is in `version`
[[nodiscard]] int read_factory_version(int type, FactoryVersion& version);

/// The build identifiers, in the order of their fields.
enum class Identifier { application, customisation, carrier };

/// Where a build identifier is.
struct IdentifierFile {
  const char* path;        ///< device path, owned by the library; null where it cannot be found out
  bool is_behind_service;  ///< only the file-handle service can read it
};

/// The file that this device keeps a build identifier in, whether or not it is there. Where the
/// carrier's is depends on the product, and on whether there is an operator image.
IdentifierFile identifier_file(Identifier identifier);

/// A field of the fixed-area version.
struct FixedAreaField {
  char text[14];     ///< with its NUL
  const char* path;  ///< the build-identifier file
  bool is_default;   ///< the file is not there, or could not be used
};

/// The fixed-area version, and what it is made of.
struct FixedAreaVersion {
  FixedAreaField application;    ///< of the application processor
  FixedAreaField modem;          ///< of the modem
  FixedAreaField customisation;  ///< of the customisation
  FixedAreaField carrier;        ///< of the carrier
  char text[50];                 ///< the version
};

/// The fixed-area version as get_qve_factory_sw_fixed_area_version() makes it.
/// @return as that; `version` has all zero from the first field on that there is none for
[[nodiscard]] int read_fixed_area_version(FixedAreaVersion& version, int& length);

}  // namespace fcx

#pragma GCC visibility pop
