#include "fcx/mcc_lookup.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "carrier/calling_codes.h"
#include "carrier/properties.h"
#include "carrier/state.h"

namespace {

using fcx::CallingCode;

struct CodeTable {
  char first_digit;
  const CallingCode* begin;
  const CallingCode* end;
  size_t long_form;  ///< characters of a code that are compared first
  size_t short_form;
  const char* no_match;  ///< what is logged then
};

constexpr char kNoMatch[] = "[QVE][SBP] Not Matched MCC  !!!";

template <size_t Rows>
constexpr CodeTable table(char first_digit, const CallingCode (&rows)[Rows]) {
  return {first_digit, std::begin(rows), std::end(rows), 3, 2, kNoMatch};
}

template <size_t Rows>
constexpr CodeTable short_table(char first_digit, const CallingCode (&rows)[Rows]) {
  return {
      first_digit, std::begin(rows), std::end(rows), 2, 1, "[QVE][SBP] Not Matched MCC  !!! ---"};
}

/// Looks a code up in one of its forms, to which the caller's text is cut.
const char* search_form(const CodeTable& table, char* code, size_t form) {
  if (strlen(code) > form) code[form] = '\0';
  SBP_LOG("[QVE][SBP] searchMccinPre%cMap(%zu str compare) = %s", table.first_digit, form, code);
  const auto* row = std::find_if(table.begin, table.end, [&](const CallingCode& each) {
    return strcmp(each.code, code) == 0;
  });
  if (row == table.end) return nullptr;
  SBP_LOG("[QVE][SBP] Matched MCC = %s", row->mcc);
  return row->mcc;
}

const char* search(const CodeTable& table, char* code) {
  if (code == nullptr) return nullptr;
  for (const size_t form : {table.long_form, table.short_form}) {
    if (const char* mcc = search_form(table, code, form); mcc != nullptr) return mcc;
  }
  SBP_LOG("%s", table.no_match);
  return nullptr;
}

using Search = const char* (*)(char*);
constexpr Search kSearches[] = {
    searchMccinPre0Map, searchMccinPre1Map, searchMccinPre2Map, searchMccinPre3Map,
    searchMccinPre4Map, searchMccinPre5Map, searchMccinPre6Map, searchMccinPre7Map,
    searchMccinPre8Map, searchMccinPre9Map,
};

/// What a device that settles its carrier by the first SIM is built for, or null.
const char* mcc_of_build() {
  const auto target_operator = fcx::read_property(fcx::kTargetOperatorProperty);
  const auto country = fcx::read_property(fcx::kTargetCountryProperty);
  if (!fcx::carrier_state().has_fast_profile) return nullptr;
  if (target_operator.view() == "OPEN" && country.view() == "CA") {
    SBP_LOG("[QVE][SBP] OPEN_CA searchMccFromMap : MCC = 302 return");
    return "302";
  }
  if (country.view() == "US") {
    SBP_LOG("[QVE][SBP] US searchMccFromMap : MCC = 310 return");
    return "310";
  }
  return nullptr;
}

}  // namespace

const char* searchMccFromMap(char* code) {
  if (const char* mcc = mcc_of_build(); mcc != nullptr) return mcc;
  if (code == nullptr) return nullptr;
  SBP_LOG("[QVE][SBP] searchMccFromMap : ccid = %s", code);
  SBP_LOG("[QVE][SBP] prefix: %c", code[0]);
  if (code[0] >= '0' && code[0] <= '9') return kSearches[code[0] - '0'](code);
  SBP_LOG("[QVE][SBP] INVALID ICCID");
  return nullptr;
}

const char* searchMccinPre0Map(char* code) {
  SBP_LOG("[QVE][SBP] searchMccinPre0Map(USA) = %s, 310~316 ???;", code);
  return "310";
}

const char* searchMccinPre1Map(char* code) {
  SBP_LOG("[QVE][SBP] searchMccinPre1Map(KOR-TB) = %s", code);
  return "450";
}

const char* searchMccinPre2Map(char* code) { return search(table('2', fcx::kCodes2), code); }
const char* searchMccinPre3Map(char* code) { return search(table('3', fcx::kCodes3), code); }
const char* searchMccinPre4Map(char* code) { return search(table('4', fcx::kCodes4), code); }
const char* searchMccinPre5Map(char* code) { return search(table('5', fcx::kCodes5), code); }
const char* searchMccinPre6Map(char* code) { return search(table('6', fcx::kCodes6), code); }
const char* searchMccinPre7Map(char* code) { return search(short_table('7', fcx::kCodes7), code); }
const char* searchMccinPre8Map(char* code) { return search(table('8', fcx::kCodes8), code); }
const char* searchMccinPre9Map(char* code) { return search(table('9', fcx::kCodes9), code); }

const char* searchCountryByMcc(const char* mcc) {
  static constexpr char kUnknown[] = "XX";
  if (mcc == nullptr) return kUnknown;
  const auto* row =
      std::find_if(std::begin(fcx::kMccCountries), std::end(fcx::kMccCountries),
                   [&](const fcx::MccCountry& each) { return strcmp(each.mcc, mcc) == 0; });
  return row == std::end(fcx::kMccCountries) ? kUnknown : row->country;
}

int is_cota_ntcode() {
  return fcx::read_property(fcx::kTargetOperatorProperty).view() == "OPEN" &&
                 fcx::read_property(fcx::kTargetCountryProperty).view() == "EU" &&
                 fcx::package_state().network_code_count > 1
             ? 1
             : 0;
}

int qve_get_dualsim_appendix() {
  return fcx::read_property("ro.boot.vendor.qve.sim_num", "1").view().front() == '2' ? 1 : 0;
}
