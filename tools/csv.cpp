#include "tools/csv.h"

#include <algorithm>

namespace cli {

std::string csv_line(const std::vector<std::string>& fields) {
  std::string line;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) line += ',';
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
      line += field;
      continue;
    }
    line += '"';
    for (const char c : field) line += c == '"' ? std::string("\"\"") : std::string(1, c);
    line += '"';
  }
  return line + "\r\n";
}

std::vector<std::string> first_fields(const std::string& csv) {
  std::vector<std::string> fields;
  for (size_t begin = 0; begin < csv.size();) {
    const size_t end = std::min(csv.find('\n', begin), csv.size());
    std::string line = csv.substr(begin, end - begin);
    begin = end + 1;
    line.erase(line.find_last_not_of(" \t\r") + 1);
    std::string field;
    bool is_quoted = false;
    for (size_t i = 0; i < line.size() && (is_quoted || line[i] != ','); ++i) {
      const bool is_pair = is_quoted && line.compare(i, 2, "\"\"") == 0;
      if (line[i] == '"' && !is_pair) {
        is_quoted = !is_quoted;
      } else {
        field += line[i];
        if (is_pair) ++i;
      }
    }
    if (!field.empty()) fields.push_back(field);
  }
  return fields;
}

}  // namespace cli
