// A network code that somebody rewrites: the entry points of the factory daemon.
#include <cstring>

#include "carrier/package/state.h"
#include "carrier/properties.h"
#include "common/text.h"
#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"

namespace {

constexpr size_t kLongestCode = 2048;
constexpr size_t kBuyerLine = 128;
constexpr int kEraserLength = 12;
constexpr char kEmptyNetworkCode[] = "\"0\",\"FFF,FFF,FFFFFFFF,FFFFFFFF,FF\"";

using CodeText = fcx::TextBuffer<kLongestCode>;

/// The beginning by which a rewritten code is recognised: one entry, whose count has one digit or
/// two.
fcx::PropertyText delegated(std::string_view ntcode) {
  const bool is_one_digit = ntcode.size() > 2 && ntcode[2] == '"';
  return fcx::PropertyText(ntcode.substr(0, is_one_digit ? 34 : 35));
}

/// The next start is a first one when the code begins in another way than before.
void notice_change(const fcx::PropertyText& code) {
  const auto before = fcx::read_property(fcx::kDelegatedCodeProperty, kEmptyNetworkCode);
  if (before.empty() || code.empty() || before.view() == code.view()) return;
  // Not known as the last code before the change is noted: the next rewrite may note it then.
  if (fcx::set_property(fcx::kCodeChangedProperty, "1")) {
    fcx::publish(fcx::kDelegatedCodeProperty, code);
  }
}

}  // namespace

void sbpWriteNTCode(const char* ntcode, char* mcc_list) {
  if (ntcode == nullptr || mcc_list == nullptr) return;
  CodeText code(fcx::bounded_text(ntcode, kLongestCode));
  SBP_LOG("[QVE][SBP] re-written NTCODE: %s \n", code.c_str());
  const fcx::PropertyText beginning = delegated(code.view());
  SBP_LOG("[QVE][SBP] tavrin delegated NTCODE: %s \n", beginning.c_str());
  // Before it is stored: no power cut leaves a new code that the next start takes for the old one.
  notice_change(beginning);
  if (set_ntcode(code.c_str(), static_cast<int>(code.view().size())) != 0) {
    SBP_LOG("[QVE][SBP] the network code cannot be stored\n");
  }
  qve_get_mcc_list(code.data(), mcc_list);
  // Twice, on purpose.
  fcx::publish(fcx::kMccListProperty, mcc_list);
  fcx::publish(fcx::kMccListProperty, mcc_list);
}

int sbpWriteBuyer(FILE* file, int size, const char* key) {
  int result = size;
  if (file == nullptr || key == nullptr) return result;
  for (char line[kBuyerLine]; fgets(line, sizeof line, file) != nullptr;) {
    line[strcspn(line, "\n")] = '\0';
    char* equals = strchr(line, '=');
    if (equals == nullptr || std::string_view(line, static_cast<size_t>(equals - line)) != key) {
      continue;
    }
    const char* ntcode = equals + 1;
    const auto length = static_cast<uint8_t>(strlen(ntcode));  // modulo 256
    SBP_LOG("Set ntcode: %s ,size:%d\n", ntcode, length);
    if (set_ntcode(ntcode, length) != -1) return result;
    result = 1;
  }
  return result;
}

void sbpSetOtpe() {
  constexpr char kEraser[kEraserLength] = {};
  if (set_ntcode(kEraser, kEraserLength) != 0) {
    SBP_LOG("[QVE][SBP] the network code cannot be stored\n");
  }
}

void sbpSetDefaultMCCLists() {
  fcx::publish(fcx::kMccListProperty, "");
  fcx::publish(fcx::kMccMncListProperty, "");
}

void sbpSetDefaultNTcode() {
  fcx::publish(fcx::kCodeChangedProperty, "3");
  fcx::publish(fcx::kDelegatedCodeProperty, kEmptyNetworkCode);
}
