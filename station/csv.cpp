#include "station/csv.h"

#include <algorithm>

#include "station/characters.h"
#include "station/errors.h"

namespace station {
namespace {

class Rows {
 public:
  explicit Rows(std::string_view text) : rest_(without_byte_order_mark(text)) {}

  bool is_at_end() const { return rest_.empty(); }
  size_t line() const { return line_; }

  /// The fields of the next row. @return why it is none, or null
  const char* next(std::vector<std::string>& fields) {
    fields.clear();
    do {
      const char* wrong = read_field(fields.emplace_back());
      if (wrong != nullptr) return wrong;
    } while (take(","));
    if (!take("\r\n") && !take("\n") && !rest_.empty()) {
      return "after a field comes a comma or the end of the line";
    }
    ++line_;
    return nullptr;
  }

 private:
  bool take(std::string_view wanted) {
    if (rest_.substr(0, wanted.size()) != wanted) return false;
    rest_.remove_prefix(wanted.size());
    return true;
  }

  const char* read_field(std::string& field) {
    if (!take("\"")) {
      field = rest_.substr(0, rest_.find_first_of(",\r\n\""));
      rest_.remove_prefix(field.size());
      return nullptr;
    }
    for (;;) {
      const size_t quote = rest_.find('"');
      if (quote == std::string_view::npos) return "a field in quotes has no end";
      field += rest_.substr(0, quote);
      rest_.remove_prefix(quote + 1);
      if (!take("\"")) break;
      field += '"';
    }
    line_ += static_cast<size_t>(std::count(field.begin(), field.end(), '\n'));
    return nullptr;
  }

  std::string_view rest_;
  size_t line_ = 1;
};

CsvColumn nothing_since(size_t line, std::string wrong) {
  return {{}, std::move(wrong), {line, 1}};
}

}  // namespace

CsvColumn read_csv_column(std::string_view text, const std::string& name) {
  CsvColumn column;
  Rows rows(text);
  std::vector<std::string> names;
  if (const char* wrong = rows.next(names)) return nothing_since(1, wrong);
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return nothing_since(1, unknown_name("column", name, names));
  if (std::count(names.begin(), names.end(), name) > 1) {
    return nothing_since(1, "two columns are called " + in_quotes(name));
  }
  const auto place = static_cast<size_t>(found - names.begin());
  std::vector<std::string> fields;
  while (!rows.is_at_end()) {
    const size_t line = rows.line();
    if (const char* wrong = rows.next(fields)) return nothing_since(line, wrong);
    if (fields.size() != names.size()) {
      return nothing_since(line, "this row has " + std::to_string(fields.size()) +
                                     " fields, and the first line " + std::to_string(names.size()));
    }
    std::string& value = fields[place];
    if (value.empty()) return nothing_since(line, "the value of " + in_quotes(name) + " is empty");
    if (has_controls(value)) {
      return nothing_since(
          line, "the value of " + in_quotes(name) + " has a control character, or no UTF-8");
    }
    column.values.push_back(std::move(value));
  }
  if (column.values.empty()) return nothing_since(1, "no row follows the names of the columns");
  return column;
}

CsvColumn read_first_csv_column(std::string_view text) {
  CsvColumn column;
  Rows rows(text);
  std::vector<std::string> fields;
  while (!rows.is_at_end()) {
    const size_t line = rows.line();
    if (const char* wrong = rows.next(fields)) return nothing_since(line, wrong);
    const bool has_value = fields.front().find_first_not_of(" \t") != std::string::npos;
    if (has_value || fields.size() > 1) column.values.push_back(std::move(fields.front()));
  }
  return column;
}

std::string csv_row(const std::vector<std::string>& fields) {
  std::string row;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) row += ',';
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
      row += field;
      continue;
    }
    row += '"';
    for (const char c : field) row += c == '"' ? std::string("\"\"") : std::string(1, c);
    row += '"';
  }
  return row + "\r\n";
}

}  // namespace station
