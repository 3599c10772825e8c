#include "station/variables.h"

#include <algorithm>

#include "station/characters.h"
#include "station/csv.h"
#include "station/fields.h"
#include "station/input_file.h"
#include "station/text.h"

namespace station {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLargestCsv = size_t{16} << 20;
constexpr int64_t kMostUnits = 1'000'000'000;
constexpr const char* kValue = "a text of one line, not empty";

bool is_value(const std::string& text) { return !text.empty() && !has_controls(text); }

class VariableReader {
 public:
  VariableReader(const Node& node, const fs::path& directory, Errors& errors)
      : fields_(node, "a variable", {"list", "csv", "column", "counter", "pool", "value"}, errors),
        directory_(directory),
        errors_(errors) {}

  void read(Variable& variable) {
    std::vector<std::string> sources;
    for (const char* name : {"list", "csv", "counter", "pool", "value"}) {
      if (fields_.has(name)) sources.emplace_back(name);
    }
    if (fields_.node().kind != Node::Kind::map) return;
    if (sources.size() != 1) {
      errors_.add(fields_.node().place,
                  "a variable has one of list, csv, counter, pool and value, not " +
                      std::to_string(sources.size()));
      return;
    }
    const std::string& source = sources.front();
    if (fields_.has("column") && source != "csv") {
      fields_.complain("column", "\"column\" belongs to \"csv\"");
    }
    if (source == "list") return read_list(*fields_.find("list"), variable);
    if (source == "csv") return read_csv(variable);
    if (source == "counter") return read_counter(*fields_.find("counter"), variable);
    variable.from = source == "pool" ? Variable::From::pool : Variable::From::value;
    (source == "pool" ? variable.pool : variable.first) = value(fields_, source);
  }

 private:
  /// "" for what is none, which is told.
  static std::string value(const Fields& fields, const std::string& name) {
    const std::optional<std::string> found = fields.text(name);
    if (!found.has_value()) return "";
    if (!is_value(*found)) fields.tell(name, kValue);
    return *found;
  }

  void read_list(const Node& list, Variable& variable) {
    variable.from = Variable::From::list;
    if (list.kind != Node::Kind::list || list.values.empty()) {
      return fields_.tell("list", "a list of values, one at least");
    }
    for (const Node& each : list.values) {
      const std::optional<std::string> text = text_in(each);
      if (text.has_value() && is_value(*text)) {
        variable.values.push_back(*text);
      } else {
        errors_.add(each.place, std::string("a value is ") + kValue + ", not " + shown(each));
      }
    }
  }

  void read_csv(Variable& variable) {
    variable.from = Variable::From::list;
    const std::string name = value(fields_, "csv");
    if (!fields_.has("column")) fields_.complain("csv", "\"csv\" needs a \"column\" beside it");
    const std::string column = value(fields_, "column");
    if (!is_value(name) || !is_value(column)) return;
    const fs::path file = directory_ / name;
    std::string wrong;
    const std::optional<std::string> text = read_input_file(file, kLargestCsv, wrong);
    if (!text.has_value()) {
      return fields_.complain("csv", in_quotes(file.string()) + " cannot be read: " + wrong);
    }
    if (text->size() > kLargestCsv) {
      return fields_.complain("csv", in_quotes(file.string()) + " has more than 16 MiB");
    }
    CsvColumn read = read_csv_column(*text, column);
    if (!read.wrong.empty()) return errors_.add_in(file.string(), read.place, read.wrong);
    variable.values = std::move(read.values);
  }

  void read_counter(const Node& node, Variable& variable) {
    variable.from = Variable::From::counter;
    const Fields fields(node, "a counter", {"first", "count"}, errors_);
    fields.need("first");
    variable.first = value(fields, "first");
    const std::optional<int64_t> count = fields.whole("count", 1, kMostUnits);
    if (variable.first.empty()) return;
    if (!counted_on(variable.first, 0).has_value()) {
      return fields.tell("first", "a text that ends in digits, which count");
    }
    // So many can be counted, found by halves.
    uint64_t possible = 1;
    for (uint64_t more = kMostUnits; more > 0; more /= 2) {
      while (possible + more <= kMostUnits && counted_on(variable.first, possible + more - 1)) {
        possible += more;
      }
    }
    variable.count = count.has_value() ? static_cast<uint64_t>(*count) : possible;
    if (variable.count > possible) {
      fields.complain("count", "the digits at the end of " + in_quotes(variable.first) +
                                   " have room for " + std::to_string(possible) + " of these " +
                                   std::to_string(variable.count) + " values");
    }
  }

  Fields fields_;
  const fs::path& directory_;
  Errors& errors_;
};

}  // namespace

std::vector<Variable> read_variables(const Node& node, const fs::path& directory, Errors& errors) {
  std::vector<Variable> variables;
  if (node.kind != Node::Kind::map) {
    errors.add(node.place, "\"variables\" is a map of names and where their values are from, not " +
                               shown(node));
    return variables;
  }
  for (size_t i = 0; i < node.keys.size() && !errors.is_full(); ++i) {
    Variable& variable = variables.emplace_back();
    variable.name = node.keys[i].text;
    if (!is_variable_name(variable.name)) {
      errors.add(node.keys[i].place,
                 "a variable is called by 1 to 64 letters, digits and _, no digit first, not " +
                     in_quotes(variable.name));
    }
    VariableReader(node.values[i], directory, errors).read(variable);
  }
  return variables;
}

std::optional<uint64_t> units_of(const Plan& plan) {
  std::optional<uint64_t> units;
  for (const Variable& variable : plan.variables) {
    const bool is_list = variable.from == Variable::From::list;
    if (!is_list && variable.from != Variable::From::counter) continue;
    const uint64_t values = is_list ? variable.values.size() : variable.count;
    units = std::min(units.value_or(values), values);
  }
  return units;
}

std::optional<Values> values_for(const Plan& plan, uint64_t unit) {
  const std::optional<uint64_t> units = units_of(plan);
  if (units.has_value() && unit >= *units) return std::nullopt;
  Values values;
  for (const Variable& variable : plan.variables) {
    switch (variable.from) {
      case Variable::From::list:
        values[variable.name] = variable.values[static_cast<size_t>(unit)];
        break;
      case Variable::From::counter:
        values[variable.name] = counted_on(variable.first, unit).value_or("");
        break;
      case Variable::From::value:
        values[variable.name] = variable.first;
        break;
      case Variable::From::pool:
        break;
    }
  }
  return values;
}

}  // namespace station
