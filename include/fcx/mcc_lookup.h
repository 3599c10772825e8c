// Mobile country codes: from the network code, from a SIM's calling code, and to a country.
//
// Example:
//
//   #include <cstdio>
//
//   char code[] = "441";  // of a SIM whose number begins with 89441
//   const char* mcc = searchMccFromMap(code);
//   if (mcc != nullptr) puts(searchCountryByMcc(mcc));  // GB
#pragma once

#include <string>
#include <string_view>

struct _xmlDoc;  // libxml2's document, xmlDoc

#pragma GCC visibility push(default)

/// The MCC of the international calling code that a SIM's number holds. A device that settles its
/// carrier by the first SIM has "302" when it is built for "OPEN" and "CA", and "310" when it is
/// built for "US", whatever the code.
/// @param code the three characters after "89", with their NUL: 4 bytes. Cut where it was looked
///             up in a shorter form, on purpose
/// @return an MCC; "" for a code that belongs to no country; null for a null code and one that is
///         not known. Owned by the library, never freed
const char* searchMccFromMap(char* code);

// The same for codes that begin with the digit that the name holds.

/// North America: always "310".
const char* searchMccinPre0Map(char* code);
/// A test bed in Korea: always "450".
const char* searchMccinPre1Map(char* code);
/// Looked up by three digits, then by two. Null for a null code, too.
const char* searchMccinPre2Map(char* code);
const char* searchMccinPre3Map(char* code);
const char* searchMccinPre4Map(char* code);
const char* searchMccinPre5Map(char* code);
const char* searchMccinPre6Map(char* code);
const char* searchMccinPre8Map(char* code);
const char* searchMccinPre9Map(char* code);
/// Looked up by two digits, then by one. Null for a null code, too.
const char* searchMccinPre7Map(char* code);

/// The country of an MCC.
/// @param mcc may be null
/// @return the two letters of the MCC's country, "XX" for any that the table does not hold. Owned
///         by the library
const char* searchCountryByMcc(const char* mcc);

/// The MCCs that a network code names, in its order, and how many of its entries count: 0 to 23. An
/// entry of all operators ("FFF") counts with "FFF"; outside "KR" one of a whole region counts for
/// nothing.
/// @param ntcode the list as get_ntcode() reads it, NUL-terminated; cut into pieces at its commas.
///               Null names nothing
/// @param out    2048 bytes: NUL-terminated MCCs with commas between them, cut at 2047 characters;
///               empty when an entry lacks its MCC or MNC. With null nothing is done
void qve_get_mcc_list(char* ntcode, char* out);

/// The MCCs with their MNCs that a network code names, and beside them the two characters of each
/// entry's subset, otherwise as qve_get_mcc_list(). At most 13
/// entries count here, on purpose. "FFFFFF" stands for all operators.
/// @param ntcode as for qve_get_mcc_list()
/// @param mccmnc 2048 bytes: five or six digits each, with commas between them, and a NUL
/// @param subset 2048 bytes: two characters each, likewise. Both are empty when an entry lacks its
///               MCC or MNC; when one of them is null the other is untouched
void qve_parse_ntcode(char* ntcode, char* mccmnc, char* subset);

/// Whether the device is open to more than one carrier.
/// @return 1 on a device for "OPEN" in "EU" whose network code has more than one entry, as the last
///         of the two functions above has counted them, else 0
int is_cota_ntcode();

/// Whether the phone has two SIM slots.
/// @return 1 on a phone with two SIM slots, else 0
int qve_get_dualsim_appendix();

/// Parses the newer of the package's carrier_code.xml and the one that was stored on the device,
/// and keeps its date in "persist.vendor.qve.carriercode.date". Dates of 10 characters are compared
/// as text; the package's file counts when they are equal, or either has none.
/// @param package_file device path of the package's
/// @return the document, to be freed with xmlFreeDoc(); null when neither has profiles, or when one
///         of them could not be read
_xmlDoc* get_latest_carrier_code_file(const char* package_file);

namespace fcx {

/// The date of a carrier_code.xml, read as set-up reads it.
/// @param text what the file holds
/// @return empty when it has none
std::string carrier_code_date(std::string_view text);

}  // namespace fcx

#pragma GCC visibility pop
