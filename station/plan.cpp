// Plans: the fields of a plan, its steps and what they expect.
#include "station/plan.h"

#include <algorithm>
#include <vector>

#include "daemon/at_line.h"
#include "daemon/command_name.h"
#include "fcx/command_table.h"
#include "fcx/qvcmd.h"
#include "station/characters.h"
#include "station/fields.h"
#include "station/input_file.h"
#include "station/pattern.h"
#include "station/references.h"
#include "station/text.h"
#include "station/trees.h"
#include "station/variables.h"
#include "virtual_phone/core/error.h"

namespace station {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLargestPlan = size_t{1} << 20;
constexpr int64_t kMostRepeats = 1'000'000;
constexpr size_t kMostOfPatterns = 20'000;  // which are read in a blink

/// What a step of each kind can have beside its name and what makes it of that kind.
struct KindRow {
  Step::Kind kind;
  const char* field;
  std::vector<const char*> others;
  int64_t time_limit_ms;  ///< when none is given
};
constexpr int64_t kMinuteMs = 60'000;
const KindRow kKinds[] = {
    {Step::Kind::send,
     "send",
     {"raw", "argument", "argument_hex", "expect", "identity", "time_limit"},
     kMinuteMs},
    {Step::Kind::at, "at", {"expect", "identity", "time_limit"}, kMinuteMs},
    {Step::Kind::pause, "pause", {}, 0},
    {Step::Kind::boot, "boot", {"time_limit"}, 5 * kMinuteMs},
    {Step::Kind::group, "group", {"time_limit"}, 0},
};

std::vector<std::string> fields_of_steps() {
  std::vector<std::string> names = {"name"};
  for (const KindRow& row : kKinds) {
    names.emplace_back(row.field);
    for (const char* other : row.others) {
      if (std::find(names.begin(), names.end(), other) == names.end()) names.emplace_back(other);
    }
  }
  return names;
}

/// How many bytes a text has at least, whatever its variables say.
size_t least_size(const Text& text) {
  size_t size = 0;
  for (const Piece& piece : text) size += piece.is_variable ? 0 : piece.text.size();
  return size;
}

/// Whether anything but variables is so in a text.
template <typename Is>
bool has_piece(const Text& text, Is&& is) {
  return std::any_of(text.begin(), text.end(), [&](const Piece& piece) { return is(piece.text); });
}

class PlanReader {
 public:
  PlanReader(const fs::path& directory, Errors& errors)
      : directory_(directory), errors_(errors), references_(errors) {}

  void read(const Node& root, Plan& plan) {
    const Fields fields(root, "a plan",
                        {"plan", "description", "time_limit", "on_failure", "variables", "steps"},
                        errors_);
    fields.need("plan");
    plan.name = fields.label("plan").value_or("");
    plan.description = fields.text("description").value_or("");
    plan.time_limit_ms = fields.duration("time_limit").value_or(0);
    plan.on_failure = on_failure(fields);
    if (const Node* variables = fields.find("variables")) {
      plan.variables = read_variables(*variables, directory_, errors_);
    }
    read_steps(fields, 1, plan.steps);
    references_.check(plan.variables);
  }

 private:
  static OnFailure on_failure(const Fields& fields) {
    return fields.choice("on_failure", {"stop", "continue"}) == 1U ? OnFailure::go_on
                                                                   : OnFailure::stop;
  }

  /// @param times how often the groups around repeat them
  void read_steps(const Fields& fields, int64_t times, std::vector<Step>& steps) {
    const Node* list = fields.need("steps");
    if (list == nullptr) return;
    if (list->kind != Node::Kind::list || list->values.empty()) {
      return fields.tell("steps", "a list of steps, one at least");
    }
    for (const Node& each : list->values) {
      if (errors_.is_full()) return;
      const std::string around = errors_.step();
      read_step(each, times, steps.emplace_back());
      errors_.set_step(around);
    }
  }

  void read_step(const Node& node, int64_t times, Step& step) {
    step.place = node.place;
    const Node* name = node.find("name");
    // Whatever is wrong with the step is told with its name.
    errors_.set_step(name == nullptr ? "" : text_in(*name).value_or(""));
    const Fields fields(node, "a step", fields_of_steps(), errors_);
    fields.need("name");
    step.name = fields.label("name").value_or("");
    const KindRow* row = kind_of(fields);
    if (row == nullptr) return;
    step.kind = row->kind;
    check_others(fields, *row);
    references_.begin(step);
    step.time_limit_ms = fields.duration("time_limit").value_or(row->time_limit_ms);
    switch (step.kind) {
      case Step::Kind::send:
        return read_send(fields, step);
      case Step::Kind::at:
        return read_at(fields, step);
      case Step::Kind::pause:
        step.pause_ms = fields.duration("pause").value_or(0);
        return;
      case Step::Kind::boot:
        return read_boot(fields, step);
      case Step::Kind::group:
        return read_group(*fields.find("group"), times, step);
    }
  }

  /// Of which kind a step is; null where that is not clear, which is told.
  const KindRow* kind_of(const Fields& fields) {
    const KindRow* found = nullptr;
    size_t count = 0;
    for (const KindRow& row : kKinds) {
      if (!fields.has(row.field)) continue;
      found = &row;
      ++count;
    }
    if (count == 1 || fields.node().kind != Node::Kind::map) return found;
    errors_.add(fields.node().place,
                "a step has one of send, at, pause, boot and group, not " + std::to_string(count));
    return nullptr;
  }

  /// Tells of fields that steps of another kind have.
  void check_others(const Fields& fields, const KindRow& row) {
    for (const KindRow& other : kKinds) {
      for (const char* name : other.others) {
        const bool is_its = std::any_of(row.others.begin(), row.others.end(), [&](const char* its) {
          return std::string_view(its) == name;
        });
        if (is_its || !fields.has(name) || is_told(other, name)) continue;
        fields.complain(name, in_quotes(name) + " does not go with " + in_quotes(row.field));
      }
    }
  }

  /// Whether a kind before that one has the field, too.
  static bool is_told(const KindRow& row, std::string_view name) {
    for (const KindRow& before : kKinds) {
      if (before.kind == row.kind) return false;
      if (std::find(before.others.begin(), before.others.end(), name) != before.others.end()) {
        return true;
      }
    }
    return false;
  }

  void read_send(const Fields& fields, Step& step) {
    const bool is_raw = fields.flag("raw").value_or(false);
    step.opcode = opcode(fields, is_raw);
    step.bytes = fields.bytes("argument_hex");
    if (fields.has("argument") && fields.has("argument_hex")) {
      fields.complain("argument_hex", "a command has one of \"argument\" and \"argument_hex\"");
    }
    if (std::optional<Text> argument = filled_in(fields, "argument")) {
      constexpr size_t kMost = QVCMD_DATA_SIZE - 1;
      if (least_size(*argument) > kMost) {
        fields.complain("argument", "a request holds at most " + std::to_string(kMost) +
                                        " bytes of text, not " +
                                        std::to_string(least_size(*argument)));
      }
      const auto has_nul = [](const std::string& part) { return part.find('\0') != part.npos; };
      if (has_piece(*argument, has_nul)) {
        fields.complain("argument", "a text ends before a NUL: bytes go into \"argument_hex\"");
      }
      step.text = std::move(*argument);
    }
    read_answer(fields, step);
  }

  int32_t opcode(const Fields& fields, bool is_raw) {
    const Node& node = *fields.find("send");
    const std::string word = text_in(node).value_or("");
    const bool has_digits =
        !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
    if (node.kind == Node::Kind::text && !has_digits) return opcode_called(fields, word);
    const std::optional<Decimal> number = has_digits ? Decimal::read(word) : number_in(node);
    const std::optional<int64_t> whole = number ? number->whole() : std::nullopt;
    if (!whole.has_value() || *whole != static_cast<int32_t>(*whole)) {
      fields.tell("send", "a command's name, or its number, of at most 32 bits");
      return 0;
    }
    const auto found = static_cast<int32_t>(*whole);
    if (!is_raw && fcx::find_command(found) == nullptr) {
      fields.complain("send", "no command has the opcode " + std::to_string(found) +
                                  "; with \"raw: true\" it is sent all the same");
    }
    return found;
  }

  int32_t opcode_called(const Fields& fields, const std::string& word) {
    const std::string name = factory_daemon::without_prefix(word);
    const factory_daemon::CommandRows rows = factory_daemon::rows_named(name);
    if (rows.empty()) {
      fields.complain("send", unknown_name("command", name, factory_daemon::all_command_names()));
      return 0;
    }
    if (rows.size() > 1) {
      std::string numbers;
      for (const fcx::Command* row : rows) {
        numbers += (numbers.empty() ? "" : ", ") + std::to_string(row->opcode);
      }
      fields.complain("send",
                      in_quotes(name) + " is the name of several commands: give one of " + numbers);
    }
    return rows.front()->opcode;
  }

  void read_at(const Fields& fields, Step& step) {
    if (std::optional<Text> line = filled_in(fields, "at")) {
      // A station's line is edited by them.
      const bool is_line = !line->empty() && !has_piece(*line, has_controls);
      if (!is_line || least_size(*line) > factory_daemon::kLongestAtLine) {
        fields.tell("at", "one line without control characters, of 1 to " +
                              std::to_string(factory_daemon::kLongestAtLine) + " bytes");
      }
      step.text = std::move(*line);
    }
    read_answer(fields, step);
  }

  void read_boot(const Fields& fields, Step& step) {
    const Node& node = *fields.find("boot");
    step.only_daemon = node.kind == Node::Kind::text && node.text == "daemon";
    const bool is_true = node.kind == Node::Kind::boolean && fields.flag("boot").value_or(false);
    if (!step.only_daemon && !is_true) fields.tell("boot", "true, or daemon for the daemon alone");
  }

  void read_group(const Node& node, int64_t times, Step& step) {
    const Fields fields(node, "a group", {"repeat", "on_failure", "steps"}, errors_);
    const int64_t repeat = fields.whole("repeat", 1, kMostRepeats).value_or(1);
    if (repeat * times > kMostRepeats) {
      fields.complain("repeat", "with those of the groups around it this repeats its steps " +
                                    std::to_string(repeat * times) + " times; at most " +
                                    std::to_string(kMostRepeats));
    }
    step.repeat = static_cast<uint32_t>(repeat);
    step.on_failure = on_failure(fields);
    read_steps(fields, std::min(repeat * times, kMostRepeats), step.steps);
  }

  std::optional<Text> filled_in(const Fields& fields, const std::string& name) {
    std::optional<Text> text = fields.filled_in(name);
    if (text.has_value()) references_.use_variables(*text, fields.place_of(name));
    return text;
  }

  void read_answer(const Fields& fields, Step& step) {
    const std::vector<std::string> identities(std::begin(kIdentities), std::end(kIdentities));
    if (const auto found = fields.choice("identity", identities)) {
      step.identity = identities[*found];
    }
    if (const Node* expect = fields.find("expect")) read_expect(*expect, step);
  }

  void read_expect(const Node& node, Step& step) {
    const Fields fields(
        node, "an expectation",
        {"result", "text", "pattern", "capture", "hex", "min", "max", "same_as", "save"}, errors_);
    Expectation& expect = step.expect;
    if (step.kind == Step::Kind::at) {
      expect.is_ok = fields.choice("result", {"OK", "ERROR"}).value_or(0) == 0;
    } else {
      expect.result =
          static_cast<int32_t>(fields.whole("result", INT32_MIN, INT32_MAX).value_or(QVCMD_OK));
    }
    if (fields.has("text") + fields.has("pattern") + fields.has("hex") > 1) {
      errors_.add(node.place, "an answer is expected by one of text, pattern and hex");
    }
    expect.text = filled_in(fields, "text");
    expect.bytes = fields.bytes("hex");
    read_pattern(fields, expect);
    expect.min = fields.number("min");
    expect.max = fields.number("max");
    if (expect.min && expect.max && expect.min->compare(*expect.max) > 0) {
      fields.complain(
          "max", "\"max\" is " + expect.max->text() + ", and \"min\" more: " + expect.min->text());
    }
    read_references(fields, expect);
  }

  void read_pattern(const Fields& fields, Expectation& expect) {
    constexpr int64_t kMostGroups = 300;
    const std::optional<int64_t> capture = fields.whole("capture", 0, kMostGroups);
    expect.pattern = filled_in(fields, "pattern");
    if (capture.has_value() && !fields.has("pattern")) {
      fields.complain("capture", "\"capture\" is the number of a group of \"pattern\"");
    }
    if (!expect.pattern.has_value()) return;
    if (size_of_patterns_ > kMostOfPatterns) {
      return fields.complain("pattern",
                             "with repeats written out the patterns of a plan have at "
                             "most " +
                                 std::to_string(kMostOfPatterns) + " characters");
    }
    // Whatever stands for a variable is ordinary characters.
    Values values;
    for (const Piece& piece : *expect.pattern) {
      if (piece.is_variable) values[piece.text] = "x";
    }
    std::string wrong;
    const auto pattern = Pattern::read(filled_pattern(*expect.pattern, values).value_or(""), wrong);
    if (!pattern.has_value()) return fields.complain("pattern", wrong);
    size_of_patterns_ += pattern->size();
    const size_t groups = pattern->groups();
    expect.capture = static_cast<size_t>(capture.value_or(groups > 0 ? 1 : 0));
    if (expect.capture > groups) {
      fields.complain("capture", "the pattern has " + std::to_string(groups) + " groups, not " +
                                     std::to_string(expect.capture));
    }
  }

  void read_references(const Fields& fields, Expectation& expect) {
    expect.same_as = fields.label("same_as");
    if (expect.same_as.has_value()) {
      references_.use_answer(*expect.same_as, fields.place_of("same_as"));
    }
    expect.save = fields.text("save");
    if (!expect.save.has_value()) return;
    if (!is_variable_name(*expect.save)) {
      fields.tell("save", "a variable's name: 1 to 64 letters, digits and _, no digit first");
    }
    references_.save(*expect.save, fields.place_of("save"));
  }

  const fs::path& directory_;
  Errors& errors_;
  References references_;
  size_t size_of_patterns_ = 0;
};

bool ends_in_json(const std::string& file) {
  constexpr std::string_view kJson = ".json";
  return file.size() >= kJson.size() &&
         file.compare(file.size() - kJson.size(), kJson.size(), kJson) == 0;
}

}  // namespace

PlanReading parse_plan(std::string_view text, const std::string& file, const fs::path& directory) {
  Errors errors(file);
  Plan plan;
  if (text.size() > kLargestPlan) {
    errors.add({}, "a plan has at most 1 MiB");
  } else if (const auto root = read_tree(text, ends_in_json(file), errors)) {
    PlanReader(directory, errors).read(*root, plan);
  }
  if (!errors.empty()) return {std::nullopt, errors.take()};
  return {std::move(plan), {}};
}

PlanReading read_plan(const std::string& file) {
  std::string wrong;
  const std::optional<std::string> text = read_input_file(file, kLargestPlan, wrong);
  if (!text.has_value()) {
    throw virtual_phone::Error("the plan " + file + " cannot be read: " + wrong);
  }
  return parse_plan(*text, file, fs::path(file).parent_path());
}

}  // namespace station
