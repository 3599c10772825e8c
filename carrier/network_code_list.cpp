// The lists that a network code makes. Its text is fields between commas: in double quotes the
// number of entries, then for each entry, in double quotes together, MCC, MNC and three more.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "carrier/package/state.h"
#include "carrier/properties.h"
#include "common/text.h"
#include "fcx/mcc_lookup.h"

namespace {

constexpr int kMostMccs = 23;
constexpr int kMostMccMncs = 13;  // fewer, on purpose: six digits each must fit a property

/// Text in a caller's buffer of 2048 bytes; what does not fit is left out.
class List {
 public:
  explicit List(char* out) : out_(out) { clear(); }

  /// Adds an item, with a comma before all but the first.
  void add(std::string_view item) {
    if (!is_first_) append(",");
    is_first_ = false;
    append(item);
  }
  void clear() {
    length_ = 0;
    is_first_ = true;
    out_[0] = '\0';
  }
  bool empty() const { return length_ == 0; }
  /// An item that was empty leaves a comma behind.
  void drop_last_comma() {
    if (length_ > 0 && out_[length_ - 1] == ',') out_[--length_] = '\0';
  }

 private:
  static constexpr size_t kCapacity = 2047;

  void append(std::string_view text) {
    length_ += text.copy(out_ + length_, kCapacity - length_);
    out_[length_] = '\0';
  }

  char* out_;
  size_t length_ = 0;
  bool is_first_ = true;
};

/// The fields of a network code, cut off one by one.
class Fields {
 public:
  explicit Fields(char* ntcode) : next_(ntcode) {}

  /// The next field; null after the last.
  const char* take() {
    const char* field = strtok_r(next_, ",", &rest_);
    next_ = nullptr;
    return field;
  }

 private:
  char* next_;
  char* rest_ = nullptr;
};

struct Entry {
  std::string_view mcc;  ///< up to three characters
  std::string_view mnc;
  std::string_view subset;  ///< up to two
};

std::string_view text_of(const char* field) {
  return field == nullptr ? std::string_view() : std::string_view(field);
}

/// Takes one entry. @return false when it lacks its MCC or MNC
bool take_entry(Fields& fields, Entry& entry) {
  std::string_view mcc = text_of(fields.take());
  if (mcc.substr(0, 1) == "\"") mcc.remove_prefix(1);
  entry.mcc = mcc.substr(0, 3);
  entry.mnc = text_of(fields.take()).substr(0, 3);
  fields.take();
  fields.take();
  entry.subset = text_of(fields.take()).substr(0, 2);
  return !entry.mcc.empty() && !entry.mnc.empty();
}

/// NUL after the end.
char character(std::string_view text, size_t index) {
  return index < text.size() ? text[index] : '\0';
}

/// The number of entries that the first field tells.
int announced(std::string_view field, int most) {
  if (field.empty()) return 0;
  const bool is_one_digit = character(field, 2) == '"';
  return std::clamp(fcx::decimal_number(field.substr(1, is_one_digit ? 1 : 2)), 0, most);
}

enum class Outcome { complete, damaged };

/// Gives each entry that counts to `add`, with all-operator entries marked. The count of entries is
/// left in the state.
template <typename Add>
Outcome for_each_entry(char* ntcode, int most, Add add) {
  const bool has_regions = fcx::read_property(fcx::kTargetCountryProperty).view() != "KR";
  std::atomic<int>& count = fcx::package_state().network_code_count;
  Fields fields(ntcode);
  const int entries = announced(text_of(fields.take()), most);
  count = entries;
  for (int i = 0; i < entries; ++i) {
    Entry entry;
    if (!take_entry(fields, entry)) return Outcome::damaged;
    const bool is_all = character(entry.mcc, 0) == 'F';
    if (!is_all && has_regions && character(entry.mnc, 0) == 'F') {
      --count;  // of a whole region
    } else {
      add(entry, is_all);
    }
  }
  return Outcome::complete;
}

/// Five or six digits.
fcx::TextBuffer<6> mcc_mnc(const Entry& entry) {
  fcx::TextBuffer<6> text;
  size_t length = entry.mcc.copy(text.data(), 3);
  const size_t digits = character(entry.mnc, 2) == 'F' ? 2 : entry.mnc.size();
  entry.mnc.copy(text.data() + length, digits);
  return text;
}

}  // namespace

void qve_get_mcc_list(char* ntcode, char* out) {
  if (out == nullptr) return;
  List mccs(out);
  if (ntcode == nullptr) return;
  const Outcome outcome = for_each_entry(ntcode, kMostMccs, [&](const Entry& entry, bool is_all) {
    if (is_all) return mccs.add("FFF");
    SBP_LOG("[QVE][SBP] normal mcc: %.3s, mnc: %.3s\n", entry.mcc.data(), entry.mnc.data());
    mccs.add(entry.mcc);
  });
  if (outcome == Outcome::damaged) {
    mccs.clear();
    SBP_LOG("[QVE][SBP] qve_get_mcc_list: mcc or mnc is something wrong!!!");
  }
  if (mccs.empty()) return;
  SBP_LOG("[QVE][SBP] ntcode_count: %d, mcc-list: [%s]\n",
          fcx::package_state().network_code_count.load(), out);
}

void qve_parse_ntcode(char* ntcode, char* mccmnc, char* subset) {
  if (mccmnc == nullptr || subset == nullptr) return;
  List operators(mccmnc);
  List subsets(subset);
  if (ntcode == nullptr) return;
  const Outcome outcome =
      for_each_entry(ntcode, kMostMccMncs, [&](const Entry& entry, bool is_all) {
        operators.add(is_all ? "FFFFFF" : mcc_mnc(entry).view());
        subsets.add(entry.subset);
      });
  if (outcome == Outcome::damaged) {
    operators.clear();
    subsets.clear();
    SBP_LOG("[QVE][SBP] qve_parse_ntcode: mcc or mnc is something wrong!!!");
  }
  if (operators.empty()) return;
  subsets.drop_last_comma();
  SBP_LOG("[QVE][SBP] ntcode_count: %d, mccmnc-list: [%s], subset-list: [%s]\n",
          fcx::package_state().network_code_count.load(), mccmnc, subset);
}
