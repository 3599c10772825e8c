#include "tools/action_verbs.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "daemon/at_line.h"
#include "fcx/command_table.h"
#include "fcx/qvcmd.h"
#include "tools/command_name.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::Action;
using Kind = Action::Kind;

struct CommandWords {
  std::string command;
  std::optional<std::string> word;
  std::optional<std::string> text;
  std::optional<std::string> hex;
};

struct Argument {
  std::string bytes;
  bool is_text = false;
};

/// The argument that is sent, or UsageError when a request does not hold it.
Argument argument_of(const CommandWords& typed) {
  if (typed.word.has_value() + typed.text.has_value() + typed.hex.has_value() > 1) {
    throw UsageError("give a text, --text or --hex, and not two of them");
  }
  const std::optional<std::string>& word = typed.word;
  const bool is_hex = typed.hex.has_value() || (word.has_value() && is_hex_word(*word));
  Argument argument{typed.hex ? from_hex(*typed.hex) : word ? bytes_of(*word) : "", !is_hex};
  if (typed.text.has_value()) argument.bytes = *typed.text;
  if (is_hex && argument.bytes.empty()) throw UsageError("there are no bytes after --hex");
  const size_t most = argument.is_text ? QVCMD_DATA_SIZE - 1 : QVCMD_DATA_SIZE;
  if (argument.bytes.size() > most) {
    throw UsageError("the argument has " + std::to_string(argument.bytes.size()) +
                     " bytes, a request holds at most " + std::to_string(most));
  }
  return argument;
}

/// Refuses a text that the command cannot want. A wrong check digit goes through: the modem answers
/// that.
void check_content(int32_t opcode, const std::string& text) {
  constexpr size_t kImeiLength = 15;
  const fcx::Command* row = fcx::find_command(opcode);
  if (row == nullptr) return;
  const bool takes_none =
      row->argument == fcx::Argument::none || row->argument == fcx::Argument::selector;
  if (takes_none && !text.empty()) {
    throw UsageError(std::to_string(opcode) + " " + command_name(row->handler) +
                     " takes no text, not \"" + text + "\". --hex sends any bytes.");
  }
  if (row->content != fcx::Content::imei) return;
  const bool reads = text.empty() && row->argument == fcx::Argument::payload_or_none;
  const bool is_imei =
      text.size() == kImeiLength && text.find_first_not_of("0123456789") == std::string::npos;
  if (reads || is_imei) return;
  throw UsageError("an IMEI has 15 digits, not \"" + text +
                   "\". --hex sends any bytes, for the modem to refuse.");
}

/// A word as a shell reads it.
std::string shell_word(const std::string& word) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+./:,=%@";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

/// The argument of a command, as it is typed.
std::string argument_words(const std::string& bytes) {
  if (bytes.empty()) return "";
  if (!is_printable(bytes)) return " " + shown(bytes);
  if (is_hex_word(bytes)) return " --text " + shell_word(bytes);
  return (bytes.front() == '-' ? " -- " : " ") + shell_word(bytes);
}

}  // namespace

ReadAction takes_command(Verb& verb) {
  auto typed = std::make_shared<CommandWords>();
  verb.add_option("command", typed->command, "Opcode or name, as `fcx commands` lists them")
      .required()
      .completes(Names::command);
  verb.add_option("argument", typed->word, "The argument: a text, or hex:BYTES").type_name("TEXT");
  verb.add_option("--text", typed->text, "The argument as text, whatever it begins with");
  verb.add_option("--hex", typed->hex, "The argument as bytes, two digits each").type_name("BYTES");
  return [typed] {
    const int32_t opcode = opcode_of(typed->command);
    Argument argument = argument_of(*typed);
    if (argument.is_text) check_content(opcode, argument.bytes);
    return Action{Kind::command, opcode, std::move(argument.bytes)};
  };
}

ReadAction takes_at_line(Verb& verb) {
  auto typed = std::make_shared<std::string>();
  verb.add_option("line", *typed, "The line without its end").required();
  return [typed] {
    constexpr char kBlanks[] = " \t";
    const size_t begin = std::min(typed->find_first_not_of(kBlanks), typed->size());
    const std::string line = typed->substr(begin, typed->find_last_not_of(kBlanks) + 1 - begin);
    if (line.empty()) throw UsageError("the AT line is empty");
    if (const char* reason = factory_daemon::why_no_at_line(line)) {
      throw UsageError(std::string("this is no AT line: ") + reason);
    }
    return Action{Kind::at_line, 0, line};
  };
}

ReadAction takes_start(Verb& verb) {
  auto is_daemon_only = std::make_shared<bool>(false);
  verb.add_flag("--daemon", *is_daemon_only, "Start the daemon again, not the phone");
  return [is_daemon_only] {
    return Action{*is_daemon_only ? Kind::daemon_start : Kind::start, 0, ""};
  };
}

ReadAction takes_restart(Verb& verb) {
  auto reason = std::make_shared<std::string>("by hand");
  verb.add_option("reason", *reason, "Recorded with the event; \"by hand\" when not given")
      .may_be_empty();
  return [reason] { return Action{Kind::restart, 0, *reason}; };
}

void add_action_verbs(Verb& group, Invocation&, std::function<void(const Action&)> run) {
  struct Row {
    const char* name;
    const char* description;
    ReadAction (*takes)(Verb& verb);
  };
  constexpr Row kRows[] = {
      {"send", "One factory command, as `fcx send`", takes_command},
      {"at", "One AT line, as `fcx at`", takes_at_line},
      {"boot", "A start of the phone, as `fcx boot`", takes_start},
      {"reboot", "Switching the phone off and on, as `fcx reboot`", takes_restart},
  };
  for (const Row& row : kRows) {
    Verb& verb = add_command(group, row.name, row.description, "", {});
    verb.callback([read = row.takes(verb), run] { run(read()); });
  }
}

std::string typed_words(const Action& action) {
  switch (action.kind) {
    case Kind::command:
      return "send " + std::to_string(action.opcode) + argument_words(action.bytes);
    case Kind::at_line:
      return "at " + shell_word(action.bytes);
    case Kind::start:
      return "boot";
    case Kind::daemon_start:
      return "boot --daemon";
    case Kind::restart:
      break;
  }
  return "reboot " + shell_word(action.bytes);
}

}  // namespace cli
